// Makes the small print server of examples/: a base directory with the log of one morning, and its ports. Real
// documents go to real printers, at addresses of this machine; afterwards the lines get the times of that morning.
#include <cmath>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <future>
#include <optional>
#include <sstream>

#include "host/command_line/options.h"
#include "host/platform.h"
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

const char usage[] = R"(examples - makes the sample print server of examples/

usage: examples DIR

Writes DIR/server, a base directory with its log, and DIR/ports.txt, the server's ports. Takes ten seconds. The
printers listen on TCP port 9100 of 127.0.0.11 and the following addresses.

  --version       the version
  -h, --help, /?  this text

Exit status: 0 done, 1 it could not be made, 2 wrong command line.
)";

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

// Here a printer can only refuse; one that is switched off looks otherwise in a log of Windows.
constexpr const char* refused =
    "No connection could be made because the target machine actively refused it. (Error: 10061)";
constexpr const char* timed_out =
    "A connection attempt failed because the connected party did not properly respond after a period of time, or "
    "established connection failed because connected host has failed to respond. (Error: 10060)";

bool replace(std::string& text, const std::string& before, const std::string& after) {
    const size_t at = text.find(before);
    if (at != std::string::npos) text.replace(at, before.size(), after);
    return at != std::string::npos;
}

TcpPrinter::Options options_of(const char* address) {
    TcpPrinter::Options options;
    options.address = address;
    options.port = 9100;
    return options;
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
        if (!set_up({"# The settings of a sample print server.", "Debug=on", "HWCheckPortMonitorRunAsSystem=on"},
                    why)) {
            return false;
        }
        why = "the helper program or the ports are missing";
        bool good = testbed::install_helper(folder) && host::store_install_path(W("C:\\Print Provider"));
        for (const Port& port : ports) {
            good = host::store_port(to_text(port.name), to_text(port.address), port.number) && good;
            spooler_sim::add_printer(to_text(port.name));
        }
        begin(0s);
        return good && try_load(why);
    }

    // What is logged from now on happened so long after the last line before, and its clock ran `speed` times as fast.
    void begin(milliseconds pause, double speed = 1, bool is_off = false) {
        winapi::set_clock_speed(speed);
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        scenes_.push_back({read_file(folder.log()).size(), duration_cast<milliseconds>(now), pause, speed, is_off});
    }

    void print(const char* printer, std::uint64_t size, const DocumentPlan& plan = {}, DWORD write_size = 65536,
               unsigned most_restarts = 3) {
        host::Document made = document(to_text(printer), host::generated_source(size, size), write_size);
        made.job_id = monitor.next_job_id();
        made.most_restarts = made.most_retries = most_restarts;
        testbed::lay_out(folder, printer, made.job_id, plan);
        monitor.print_document(made);
        testbed::clear_away(folder, printer, made.job_id, plan);
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
            if (scene->is_off && replace(line, refused, timed_out)) start += 21s;  // as long as Windows tries
            const std::chrono::duration<double, std::milli> real = parse_time(line) - scene->real_start;
            now = std::max(now, start + std::chrono::round<milliseconds>(real * scene->speed));
            text += time_to_text(now) + line.substr(line.find(' ', line.find(',')));
            text += '\n';
        }
        return text;
    }

    // Null once it has been switched off.
    std::optional<TcpPrinter> accounts{options_of("127.0.0.11")};
    std::optional<TcpPrinter> front_desk{options_of("127.0.0.12")};
    std::optional<TcpPrinter> lab{options_of("127.0.0.13")};

  private:
    struct Scene {
        size_t begin;  // in the log
        milliseconds real_start;
        milliseconds pause;
        double speed;
        bool is_off;
    };

    explicit Morning(const std::string& parent) : PrintServer(parent + "/Print Provider") {
        winapi::map_drive('C', parent);
    }

    std::vector<Scene> scenes_;
};

// What happens on that morning; three documents are under way when its log is taken.
std::string spend(Morning& morning) {
    const std::string helper = morning.folder.base + "/" + testbed::helper_file_name;
    const std::string helper_away = helper + ".away";
    Behaviour broken;
    broken.reset_after = 100'000;
    Behaviour warming_up;  // takes nothing for 70 s of a clock that is a hundred times as fast
    warming_up.receive_buffer = 65536;
    warming_up.stall_after = 10'000;
    warming_up.stall_for = 700ms;
    Behaviour stalled = warming_up;
    stalled.stall_for = 1h;
    Behaviour slow;
    slow.receive_buffer = 65536;
    slow.bytes_per_second = 700'000;
    constexpr DWORD large_write = 1 << 20;

    morning.begin(4min);
    morning.print("Front desk", 3'200);
    morning.begin(7min + 12s);
    morning.print("Accounts", 310'000);
    morning.begin(95s);
    morning.print("Warehouse", 48'000);
    morning.begin(11min);
    morning.print("Plotter", 260'000);
    morning.begin(3min + 40s);
    morning.print("Front desk", 12'500, {.not_approved = true});
    morning.begin(9min + 3s, 1, true);
    morning.print("Reception", 5'400);
    morning.begin(26s, 50);
    morning.print("Front desk", 21'000,
                  {.checked = true, .script = "on startdoc WAIT \"Door Open\" for 1900 ms then OK"});
    morning.begin(14min);
    morning.accounts->behave_once(broken);
    morning.print("Accounts", 12 << 20, {}, large_write);
    morning.begin(5min);
    morning.print("Front desk", 2'000'000, {.checked = true, .script = "on startdoc DELETE"}, large_write);
    morning.begin(8min + 19s, 100);
    morning.lab->behave_once(warming_up);
    morning.print("Lab", 6 << 20, {}, large_write);
    morning.begin(21min);
    fs::rename(path_of(helper), path_of(helper_away));
    morning.print("Front desk", 9'800, {.checked = true});
    fs::rename(path_of(helper_away), path_of(helper));
    morning.begin(32min);
    morning.print("Front desk", 64'000);

    morning.begin(17min, 10);
    morning.lab->behave(stalled);
    morning.accounts->behave(slow);
    const auto start = [&](const char* printer, std::chrono::milliseconds then, const DocumentPlan& plan = {}) {
        auto printing = std::async(
            std::launch::async, [&morning, printer, plan] { morning.print(printer, 32 << 20, plan, large_write, 0); });
        std::this_thread::sleep_for(then);
        return printing;
    };
    const auto hangs = start("Lab", 4200ms);
    const auto held = start("Front desk", 1500ms,
                            {.checked = true, .script = "on startdoc WAIT \"Paper Out\" until refilled then OK"});
    const auto prints = start("Accounts", 900ms);
    const std::string log = morning.log();
    morning.accounts.reset();
    morning.lab.reset();
    std::ofstream(path_of(morning.folder.base + "/refilled")).flush();
    return log;
}

bool write(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file << text;
    return static_cast<bool>(file.flush());
}

// As tsport export writes them.
std::string ports_file() {
    const auto row = [](const std::string& name, const std::string& address, const std::string& port) {
        return host::padded(name, 12) + "  " + host::padded(address, 15) + "  " + port + "\n";
    };
    std::string text = row("# name", "address", "port");
    for (const Port& port : ports)
        text += row('"' + std::string(port.name) + '"', port.address, std::to_string(port.number));
    return text;
}

bool make(const fs::path& folder) {
    Morning morning;
    std::string why;
    if (!morning.start(why)) {
        std::fprintf(stderr, "examples: %s\n", why.c_str());
        return false;
    }
    const fs::path base = folder / "server";
    const testbed::BaseFolder made = {host::utf8_of(folder), host::utf8_of(base)};
    fs::remove_all(base);
    bool good = write(path_of(made.log()), spend(morning)) && write(folder / "ports.txt", ports_file());
    morning.monitor.unload();
    for (const char* const name : {kSettingsFileName, kEnvVersionFileName}) {
        good = write(base / name, read_file(morning.folder.base + "/" + name)) && good;
    }
    // Two jobs that have still to come.
    for (const char* const name : {"forceattr", "hpc", "notapprovedjobs", "settings"}) {
        fs::create_directories(path_of(made.spool(name)));
    }
    const char* const printer = "Front desk";
    return good && write(made.marker(40), "") && testbed::write_settings_record(made, printer) &&
           testbed::write_force_attributes_records(made, printer, 41) &&
           write(path_of(testbed::progress_record_path(made, printer, 41)), "made by the Print Provider\r\n");
}

}  // namespace

int main(int count, char** arguments) {
    const command_line::Program program = {"examples", usage, {}};
    int status = 0;
    const auto operands = command_line::operands_of(program, host::program_arguments(count, arguments), status);
    if (!operands) return status;
    if (operands->size() != 1) return command_line::wrong_line(program, "it takes one folder");
    return make(path_of(operands->front())) ? 0 : 1;
}
