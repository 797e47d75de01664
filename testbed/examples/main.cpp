// Makes the small print server of examples/, in the folder that is its operand: a base directory with the log of one
// morning, and the ports. Real documents go to printers at 127.0.0.11 and following, TCP port 9100; afterwards the
// lines get the times of that morning.
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <future>
#include <optional>
#include <sstream>

#include "testbed/print_server.h"
#include "testbed/records.h"
#include "winapi/linux/control.h"

namespace {

namespace fs = std::filesystem;
using host::path_of;
using host::to_text;
using std::chrono::milliseconds;
using test_printer::Behaviour;
using test_printer::TcpPrinter;
using testbed::DocumentPlan;
using namespace std::chrono_literals;

struct Port {
    const char* name;
    const char* address;
    DWORD number;
};
// Nothing listens at Reception's address, nor on Warehouse's TCP port.
constexpr Port ports[] = {
    {"Accounts", "127.0.0.11", 9100},     {"Front desk", "127.0.0.12", 9100}, {"Lab", "127.0.0.13", 9100},
    {"Plotter", "plotter.invalid", 9100}, {"Reception", "127.0.0.15", 9100},  {"Warehouse", "127.0.0.16", 9101},
};

// Here a printer can only refuse; one that is switched off looks otherwise in a log of Windows.
const std::string refused =
    "No connection could be made because the target machine actively refused it. (Error: 10061)";
const std::string timed_out =
    "A connection attempt failed because the connected party did not properly respond after a period of time, or "
    "established connection failed because connected host has failed to respond. (Error: 10060)";

// A document, so long after the one before, while the clock runs so many times as fast.
struct Scene {
    milliseconds pause;
    const char* printer;
    std::uint64_t size;
    DocumentPlan plan = {};
    double speed = 1;
    bool is_off = false;  // the printer

    size_t begin = 0;  // in the log, and by this machine's clock
    milliseconds real_start = 0ms;
};

milliseconds parse_time(const std::string& line) {
    tm time = {};
    const char* const rest = strptime(line.c_str(), "%Y-%m-%d %H:%M:%S,", &time);
    return rest == nullptr ? 0ms : milliseconds(timegm(&time) * 1000 + std::atoi(rest));
}

std::string time_to_text(milliseconds time) {
    const std::time_t seconds = time / 1s;
    char text[64];
    const size_t size = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", std::gmtime(&seconds));
    std::snprintf(text + size, sizeof text - size, ",%03d", static_cast<int>(time % 1s / 1ms));
    return text;
}

std::string read_file(const std::string& path) {
    std::ifstream file(path_of(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class Morning : public testbed::PrintServer {
  public:
    Morning() : Morning(host::make_temporary_folder()) {}
    ~Morning() override {
        monitor.unload();
        fs::remove_all(path_of(folder.install).parent_path());
    }

    bool start(std::string& why) {
        for (const auto* const printer : {&accounts, &front_desk, &lab}) {
            if (why = (*printer)->error(); !why.empty()) return false;
        }
        if (!set_up({"# The settings of a sample print server.", "Debug=on", "HWCheckPortMonitorRunAsSystem=on"}, why))
            return false;
        why = "the helper program or the ports are missing";
        bool good = testbed::install_helper(folder) && host::store_install_path(W("C:\\Print Provider"));
        for (const Port& port : ports) {
            good = host::store_port(to_text(port.name), to_text(port.address), port.number) && good;
            spooler_sim::add_printer(to_text(port.name));
        }
        begin({0s, "", 0});
        return good && try_load(why);
    }

    // What is logged from now on belongs to that scene.
    void begin(Scene scene) {
        winapi::set_clock_speed(scene.speed);
        scene.begin = read_file(folder.log()).size();
        scene.real_start = duration_cast<milliseconds>(std::chrono::system_clock::now().time_since_epoch());
        scenes_.push_back(scene);
    }
    void print(const char* printer, std::uint64_t size, const DocumentPlan& plan) {
        const DWORD write_size = size > 1'000'000 ? 1 << 20 : 65536;
        host::Document made = document(to_text(printer), host::generated_source(size, size), write_size);
        made.job_id = monitor.next_job_id();
        testbed::lay_out(folder, printer, made.job_id, plan);
        monitor.print_document(made);
        testbed::clear_away(folder, printer, made.job_id, plan);
    }
    void play(const Scene& scene) {
        begin(scene);
        print(scene.printer, scene.size, scene.plan);
    }

    // The log so far, with the times of the morning.
    std::string log() const {
        std::istringstream lines(read_file(folder.log()));
        std::string text;
        const Scene* scene = scenes_.data();
        milliseconds now = parse_time("2025-03-03 08:02:11,000");
        milliseconds start = now;
        size_t read = 0;
        for (std::string line; std::getline(lines, line); read += line.size() + 1) {
            if (scene != &scenes_.back() && read >= scene[1].begin) start = now + (++scene)->pause;
            const std::chrono::duration<double, std::milli> real = parse_time(line) - scene->real_start;
            std::string rest = line.substr(line.find(' ', line.find(',')));
            if (const size_t at = rest.find(refused); scene->is_off && at != std::string::npos) {
                rest.replace(at, refused.size(), timed_out);
                start += 21s;  // as long as Windows tries
            }
            now = std::max(now, start + std::chrono::round<milliseconds>(real * scene->speed));
            text += time_to_text(now) + rest + "\n";
        }
        return text;
    }

    // Null once they are switched off.
    std::optional<TcpPrinter> accounts{TcpPrinter::Options{.address = "127.0.0.11", .port = 9100}};
    std::optional<TcpPrinter> front_desk{TcpPrinter::Options{.address = "127.0.0.12", .port = 9100}};
    std::optional<TcpPrinter> lab{TcpPrinter::Options{.address = "127.0.0.13", .port = 9100}};

  private:
    explicit Morning(const std::string& parent) : PrintServer(parent + "/Print Provider") {
        winapi::map_drive('C', parent);
    }

    std::vector<Scene> scenes_;
};

// What happens on that morning; three documents are under way when its log is taken.
std::string spend(Morning& morning) {
    const fs::path helper = path_of(morning.folder.base) / testbed::helper_file_name;
    const fs::path elsewhere = path_of(morning.folder.install) / testbed::helper_file_name;
    // Takes nothing for 70 s of a clock that is a hundred times as fast.
    const Behaviour warming_up = {.receive_buffer = 65536, .stall_after = 10'000, .stall_for = 700ms};
    Behaviour stalled = warming_up;
    stalled.stall_for = 1h;

    morning.play({4min, "Front desk", 3'200});
    morning.play({7min + 12s, "Accounts", 310'000});
    morning.play({95s, "Warehouse", 48'000});
    morning.play({11min, "Plotter", 260'000});
    morning.play({3min + 40s, "Front desk", 12'500, {.not_approved = true}});
    morning.play({9min + 3s, "Reception", 5'400, {}, 1, true});
    const char* const open_door = "on startdoc WAIT \"Door Open\" for 1900 ms then OK";
    morning.play({26s, "Front desk", 21'000, {.checked = true, .script = open_door}, 50});
    morning.accounts->behave_once({.reset_after = 100'000});
    morning.play({14min, "Accounts", 12 << 20});
    morning.play({5min, "Front desk", 2'000'000, {.checked = true, .script = "on startdoc DELETE"}});
    morning.lab->behave_once(warming_up);
    morning.play({8min + 19s, "Lab", 6 << 20, {}, 100});
    fs::rename(helper, elsewhere);
    morning.play({21min, "Front desk", 9'800, {.checked = true}});
    fs::rename(elsewhere, helper);
    morning.play({32min, "Front desk", 64'000});

    morning.begin({17min, "", 0, {}, 10});
    morning.lab->behave(stalled);
    morning.accounts->behave(stalled);
    const auto start = [&morning](const char* printer, milliseconds then, const DocumentPlan& plan = {}) {
        auto printing =
            std::async(std::launch::async, [&morning, printer, plan] { morning.print(printer, 32 << 20, plan); });
        std::this_thread::sleep_for(then);
        return printing;
    };
    const char* const no_paper = "on startdoc WAIT \"Paper Out\" until refilled then OK";
    const auto hangs = start("Lab", 4200ms);
    const auto is_held = start("Front desk", 1500ms, {.checked = true, .script = no_paper});
    const auto is_sent = start("Accounts", 300ms);
    const std::string log = morning.log();
    morning.accounts.reset();
    morning.lab.reset();
    std::ofstream(path_of(morning.folder.base) / "refilled").flush();
    return log;
}

bool make(const fs::path& folder) {
    Morning morning;
    std::string why;
    if (!morning.start(why)) {
        std::fprintf(stderr, "examples: %s\n", why.c_str());
        return false;
    }
    const fs::path base = folder / "server";
    fs::remove_all(base);
    fs::create_directories(base);
    std::ofstream log(base / kLogFileName, std::ios::binary);
    log << spend(morning);
    morning.monitor.unload();
    // What the Print Provider leaves for a job that has still to come.
    testbed::lay_out(morning.folder, "Front desk", 40,
                     {.not_approved = true, .progress = true, .checked = true, .forced = true});
    for (const char* const name : {kSettingsFileName, kEnvVersionFileName, "spool"}) {
        fs::copy(path_of(morning.folder.base) / name, base / name, fs::copy_options::recursive);
    }
    std::ofstream list(folder / "ports.txt");
    for (const Port& port : ports) {
        list << host::padded('"' + std::string(port.name) + '"', 12) << "  " << host::padded(port.address, 15) << "  "
             << port.number << "\n";
    }
    return log.flush() && list.flush();
}

}  // namespace

int main(int count, char** arguments) {
    return count == 2 && make(arguments[1]) ? 0 : 1;
}
