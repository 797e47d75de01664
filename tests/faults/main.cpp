// The fault sweep: runs each scenario once for every call that can fail, failing that call, once and from then on, and
// cutting it short where it transfers bytes. After each run nothing may be left over, no false success may be reported,
// and the next document has to print.
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <set>

#include "host/command_line/options.h"
#include "host/platform.h"
#include "tests/faults/world.h"
#include "winapi/linux/control.h"
#include "winapi/linux/fault.h"

// Of the sanitizers; not there in other builds.
extern "C" __attribute__((weak)) int __lsan_do_recoverable_leak_check();
extern "C" __attribute__((weak)) void __sanitizer_set_death_callback(void (*callback)());

namespace faults {
namespace {

using winapi::fault::Mode;

constexpr unsigned kHangSeconds = 60;
constexpr double kClockSpeed = 100;

struct Trial {
    const Scenario* scenario;
    std::uint64_t call;
    Mode mode;
};

constexpr const char* kModeNames[] = {"once", "on", "short"};

struct Options {
    std::string scenario;  // only this one
    std::uint64_t call = 0;
    std::string mode = kModeNames[0];  // "none": each scenario once, with nothing that fails
    std::uint64_t sample = 0;          // only so many calls, evenly spread ...
    std::uint64_t seed = 1;            // ... from one that this chooses
};

constexpr char kUsage[] = R"(usage: faults [--scenario NAME] [--call K [--mode once|on|short]]
              [--mode none] [--sample N [--seed S]]
Without an option every call of the scenarios is made to fail, one after the other.
)";

// Of the trial under way, for the message about one that fails, hangs or crashes.
char repeat_command[256];

void say_at_the_end(const char* what) {
    for (const char* text : {what, static_cast<const char*>(repeat_command), "\n"}) {
        if (::write(STDERR_FILENO, text, strlen(text)) < 0) return;
    }
}

void report_death() {
    say_at_the_end("\ncrashes: ");
}

void report_hang(int) {
    say_at_the_end("\nhangs: ");
    _exit(3);
}

// What is wrong after one trial, empty when all holds. `calls` is the number of calls that can fail.
std::string run_trial(World& world, const Trial& trial, std::uint64_t& calls) {
    snprintf(repeat_command, sizeof repeat_command, "faults --scenario %s --call %llu --mode %s", trial.scenario->name,
             static_cast<unsigned long long>(trial.call), kModeNames[static_cast<int>(trial.mode)]);
    alarm(kHangSeconds);
    trial.scenario->prepare(world);
    if (!world.error().empty()) return "cannot be prepared: " + world.error();
    const bool loaded = world.monitor.loaded();
    world.mode = trial.mode;
    world.take_stock();
    winapi::fault::arm(trial.call, trial.mode);
    std::string wrong = trial.scenario->run(world);
    calls = winapi::fault::disarm();
    world.arrived();

    const std::string left_over = world.left_over();
    if (wrong.empty() && !left_over.empty()) wrong = "left over: " + left_over;
    if (!loaded && !world.load() && wrong.empty()) wrong = "does not start any more: " + world.error();
    world.printer().behave(test_printer::Behaviour());
    testbed::clear_away(world.folder, "Office", kJob, kFullPlan);
    const host::Outcome next = world.print(page());
    // A connection of the run before, which nobody waited for, may still come in first.
    const bool prints = next.result == host::Result::printed && testbed::wait_until([&world] {
                            const std::vector<std::string> arrived = world.arrived();
                            return !arrived.empty() && arrived.back() == page();
                        });
    if (wrong.empty() && !prints) wrong = "the next document does not print: " + next.message;
    world.monitor.unload();
    alarm(0);
    return wrong;
}

class Sweep {
  public:
    Sweep(World& world, const Options& options) : world_(world), options_(options) {}

    // Whether all held.
    bool run() {
        if (options_.sample != 0) stride_ = std::max<std::uint64_t>(1, count_calls() / options_.sample);
        for (const Scenario& scenario : scenarios()) {
            if (is_wanted(scenario)) run_scenario(scenario);
        }
        const bool is_whole = calls_ != 0 && options_.scenario.empty() && stride_ == 1;
        if (is_whole) look_for_points_never_hit();
        printf("%llu calls that can fail\n%zu passed, %zu failed\n", static_cast<unsigned long long>(calls_),
               trials_ - wrong_, wrong_);
        return wrong_ == 0 && trials_ != 0;
    }

  private:
    bool is_wanted(const Scenario& scenario) const {
        return options_.scenario.empty() || options_.scenario == scenario.name;
    }

    // Of all scenarios, with nothing that fails.
    std::uint64_t count_calls() {
        std::uint64_t all = 0;
        for (const Scenario& scenario : scenarios()) {
            if (!is_wanted(scenario)) continue;
            run_one({&scenario, 0, Mode::once});
            all += counted_;
        }
        return all;
    }

    void run_scenario(const Scenario& scenario) {
        const auto* const mode = std::find(std::begin(kModeNames), std::end(kModeNames), options_.mode);
        if (mode == std::end(kModeNames)) {
            run_one({&scenario, 0, Mode::once});
        } else if (options_.call != 0) {
            run_one({&scenario, options_.call, static_cast<Mode>(mode - std::begin(kModeNames))});
        } else {
            sweep(scenario);
        }
        printf("%s\n", scenario.name);
        fflush(stdout);
        if (__lsan_do_recoverable_leak_check == nullptr || __lsan_do_recoverable_leak_check() == 0) return;
        ++wrong_;
        ++trials_;
        printf("%s: memory was lost\n", scenario.name);
    }

    // Calls in turn, until there are no more.
    void sweep(const Scenario& scenario) {
        const std::uint64_t stride = scenario.is_sampled_whole ? 1 : stride_;
        for (std::uint64_t call = 1 + options_.seed % stride; run_one({&scenario, call, Mode::once}); call += stride) {
            ++calls_;
            const std::string function = winapi::fault::failed_function();
            run_one({&scenario, call, Mode::from_then_on});
            if (transfers(function)) run_one({&scenario, call, Mode::short_count});
        }
    }

    // False when there are fewer calls.
    bool run_one(const Trial& trial) {
        const std::string wrong = run_trial(world_, trial, counted_);
        const std::string function = winapi::fault::failed_function();
        ++trials_;
        if (!wrong.empty()) {
            ++wrong_;
            printf("%s fails: %s\n  repeat with: %s\n", function.c_str(), wrong.c_str(), repeat_command);
            fflush(stdout);
        }
        return !function.empty();
    }

    static bool transfers(const std::string& function) {
        static const std::set<std::string> names = {"send", "ReadFile", "WriteFile", "fread", "fwrite", "_write"};
        return names.contains(function);
    }

    // Functions of the layer that no scenario reaches would only seem to be swept.
    void look_for_points_never_hit() {
        // For hosts, tests and the check of a printer; the monitor does not call them. select comes after a send that
        // would block, which the monitor's sockets do not (tests/unit/linux/layer_test.cpp).
        static const std::set<std::string> others = {
            "GetExitCodeProcess", "WaitForSingleObject", "getsockopt", "ioctlsocket", "realloc", "select"};
        for (const winapi::fault::Point* point : winapi::fault::points()) {
            if (point->failures() != 0 || others.contains(point->function())) continue;
            ++wrong_;
            ++trials_;
            printf("never made to fail: %s\n", point->function());
        }
    }

    World& world_;
    const Options& options_;
    std::uint64_t stride_ = 1;   // of the calls that are tried
    std::uint64_t counted_ = 0;  // calls that can fail, of the trial before
    size_t trials_ = 0;
    size_t wrong_ = 0;
    std::uint64_t calls_ = 0;
};

int run(const Options& options) {
    World world;
    if (!world.error().empty()) {
        fprintf(stderr, "%s\n", world.error().c_str());
        return 2;
    }
    winapi::set_clock_speed(kClockSpeed);
    winapi::set_debugger([](const char*) {});  // where the monitor reports errors while it has no log
    return Sweep(world, options).run() ? 0 : 1;
}

}  // namespace
}  // namespace faults

int main(int count, char** arguments) {
    faults::Options options;
    const command_line::Program program = {"faults",
                                           faults::kUsage,
                                           {command_line::text("--scenario", "NAME", options.scenario),
                                            command_line::number("--call", 1, UINT64_MAX, options.call),
                                            command_line::text("--mode", "MODE", options.mode),
                                            command_line::number("--sample", 1, UINT32_MAX, options.sample),
                                            command_line::number("--seed", 0, UINT32_MAX, options.seed)}};
    int status = 0;
    if (!command_line::operands_of(program, host::program_arguments(count, arguments), status)) return status;
    std::signal(SIGALRM, faults::report_hang);
    if (__sanitizer_set_death_callback != nullptr) __sanitizer_set_death_callback(faults::report_death);
    return faults::run(options);
}
