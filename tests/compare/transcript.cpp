// Prints the same set of documents whatever the build, and writes down what became of them: what the spooler was told,
// the bytes at the printer, the log, the files left behind. What may differ between two runs (times, thread numbers,
// the printers' ports, the system's own texts and names) is put aside, so that the transcripts of two builds are equal.
//   transcript FOLDER FILE    with an empty folder, the same one for every build, as its path is logged
#include <algorithm>
#include <cstdio>
#include <regex>
#include <thread>

#include "tests/support/files.h"
#include "tools/host/platform.h"
#include "tools/host/ports.h"
#include "tools/host/print_server.h"
#include "tools/host/records.h"

namespace {

namespace fs = std::filesystem;
using host::Text;
using test::path_of;

std::ofstream transcript;
std::string root;  // UTF-8

// What is no printable ASCII, and no part of UTF-8 text, as \xNN.
std::string shown(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        char number[8];
        std::snprintf(number, sizeof number, "\\x%02X", value);
        text += value < 0x20 || value == 0x7F ? std::string(number) : std::string(1, byte);
    }
    return text;
}

// A log line without what may differ.
std::string normalised(std::string line) {
    static const std::pair<std::regex, const char*> rules[] = {
        {std::regex("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d,\\d{3} "), "<time> "},
        {std::regex(" \\[\\d+\\]$"), " [<thread>]"},
        {std::regex("\\d+ ms"), "<n> ms"},
        {std::regex("Duration = \\d+"), "Duration = <n>"},
        {std::regex("current size is \\d+"), "current size is <n>"},
        {std::regex("counter is \\d+"), "counter is <n>"},
        {std::regex(" - [^-]* \\(Error: "), " - <text> (Error: "},
        {std::regex("= [0-9A-F]{16}\\b"), "= <address>"},
        {std::regex("addr = 0x\\w+ 0x\\w+ "), "addr = <port> "},
        {std::regex("(username = |computer name of: |server_name: |print_server_name: )\\S+"), "$1<name>"},
    };
    for (const auto& [pattern, text] : rules) line = std::regex_replace(line, pattern, text);
    return line;
}

struct Page {
    Text printer;
    std::uint64_t size = 1000;
    DWORD write_size = 65536;
    DWORD job_id = 0;
    Text port = W("=");  // the printer's name
};

// A print server of its own for each scene.
class Scene : public host::PrintServer {
  public:
    explicit Scene(const std::string& name) : host::PrintServer(root + "/Установка Ж") {
        transcript << "\n==== " << name << '\n';
        std::error_code ignored;
        fs::remove_all(path_of(root), ignored);
        for (const char* const below : {"activejobs", "forceattr", "hpc", "notapprovedjobs", "settings"}) {
            fs::create_directories(path_of(folder.spool(below)));
        }
        write("env-version", "envversion=15\n");
        host::store_install_path(host::windows_path(folder.install));
        load_options.server_name = W("СЕРВЕР-Ж");
    }

    ~Scene() override {
        monitor.unload();
        note_printers();
        note_logs();
        note_files();
    }

    // A file below the base folder.
    void write(const std::string& name, const std::string& text) {
        const fs::path path = path_of(folder.base + "/" + name);
        fs::create_directories(path.parent_path());
        test::write_file(path, text);
    }
    peer::TcpPrinter& add_printer(const Text& name) {
        printers_.push_back(&host::PrintServer::add_printer(name));
        return *printers_.back();
    }

    void load() {
        std::string why;
        transcript << "load: " << (try_load(why) ? "loaded" : why) << '\n';
    }

    void print(const Page& page) {
        host::Document job = document(page.printer, host::generated_source(page.size, page.size), page.write_size);
        if (page.port != W("=")) job.port = page.port;
        job.name = W("Отчёт.pdf");
        job.user = W("Ирина Ж");
        job.job_id = page.job_id;
        note_outcome(monitor.print_document(job));
    }

    void note(const std::string& text) { transcript << text << '\n'; }
    void note_ports() {
        std::vector<std::uint64_t> buffer(1000);
        for (const DWORD level : {1u, 2u, 3u}) {
            DWORD needed = 0;
            DWORD count = 0;
            auto* const bytes = reinterpret_cast<BYTE*>(buffer.data());
            const BOOL listed =
                monitor.table()->pfnEnumPorts(monitor.monitor(), nullptr, level, bytes, 8000, &needed, &count);
            note("level " + std::to_string(level) + ": " + std::to_string(listed) + " " + std::to_string(needed) + " " +
                 std::to_string(count));
            for (DWORD i = 0; listed && level == 1 && i < count; ++i) {
                note(host::to_utf8(reinterpret_cast<const PORT_INFO_1W*>(buffer.data())[i].pName));
            }
        }
    }
    static std::string numbers(const std::vector<DWORD>& values) {
        std::string text;
        for (const DWORD value : values) text += ' ' + std::to_string(value);
        return text;
    }

  private:
    void note_outcome(const host::Outcome& outcome) {
        // On Windows the host finds no marker in a folder whose name its code page does not hold; the log shows them
        // all.
        const bool ended = outcome.result != host::Result::failed && outcome.result != host::Result::not_started;
        transcript << "job " << outcome.job_id << ": " << (ended ? "ended" : outcome.words) << ", " << outcome.bytes
                   << " bytes, " << outcome.restarts << " restarts, error " << outcome.error << ", identity "
                   << (outcome.identity_kept ? "kept" : "lost") << ", commands" << numbers(outcome.job.commands)
                   << ", status" << numbers(outcome.job.status_seen) << '\n';
    }

    void note_printers() {
        size_t number = 0;
        for (peer::TcpPrinter* const printer : printers_) {
            ++number;
            printer->wait_for_ends(printer->connections());
            for (size_t i = 0; i < printer->connections(); ++i) {
                const peer::Connection connection = printer->connection(i);
                transcript << "printer " << number << ": " << connection.bytes << " bytes, "
                           << peer::end_in_words(connection.end) << ", " << connection.sha256 << '\n';
            }
        }
    }

    void note_log(const std::string& path) {
        std::istringstream log(test::read_file(path_of(path)));
        for (std::string line; std::getline(log, line);) {
            // Wine finds nothing wrong with ending a connection that was reset; Windows and the layer do.
            if (line.find("failed to shutdown socket with error: 10054") != std::string::npos) continue;
            const bool whole = !line.empty() && line.back() == '\r';
            if (whole) line.pop_back();
            transcript << normalised(line) << (whole ? "" : " without CR") << '\n';
        }
    }

    // The rotated ones come first.
    void note_logs() {
        for (int number = 9; number > 0; --number) {
            const std::string rotated = folder.log() + "." + std::to_string(number);
            if (!fs::exists(path_of(rotated))) continue;
            transcript << "log " << number << '\n';
            note_log(rotated);
        }
        transcript << "log\n";
        note_log(folder.log());
    }

    void note_files() {
        std::vector<std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(path_of(folder.install))) {
            const std::string name = test::utf8_of(entry.path().filename());
            if (!entry.is_regular_file() || name.starts_with("print-monitor.") || name == "ts-print-monitor.exe")
                continue;
            files.push_back("file " + test::utf8_of(entry.path().lexically_relative(path_of(folder.base))) + ": " +
                            shown(test::read_file(entry.path())));
        }
        std::sort(files.begin(), files.end());
        for (const std::string& file : files) transcript << file << '\n';
    }

    std::vector<peer::TcpPrinter*> printers_;
};

// -- The set ---------------------------------------------------------------------------------------------------------

// Step by step: how much of a document a printer takes before it is lost would else be a matter of time.
void lose_printer(Scene& scene, peer::TcpPrinter& printer) {
    const Text name = W("Принтер");
    peer::Behaviour broken;
    broken.reset_after = 1000;
    printer.behave_once(broken);
    spooler_sim::add_job(name, 5, W("doc"), W("Ирина"));
    const spooler_sim::ClientScope client(W("Ирина"));
    const std::string data(1000, 'x');
    HANDLE port = nullptr;
    DWORD written = 77;
    scene.monitor.open_port(name, port);
    scene.monitor.start_document(port, name, 5, W("doc"));
    const auto write = [&] {
        const bool sent = scene.monitor.write(port, data.data(), 1000, written);
        const bool timed_out = GetLastError() == ERROR_TIMEOUT;
        scene.note((sent ? "sent " : "refused ") + std::to_string(written) + (timed_out ? ", timed out" : ""));
    };
    write();
    printer.wait_for_ends(1);
    std::this_thread::sleep_for(std::chrono::seconds(1));  // the reset is on its way
    write();
    printer.refuse();
    write();
    printer.listen();
    write();
    scene.note(scene.monitor.end_document(port) ? "ended" : "failed");
    spooler_sim::Job job;
    spooler_sim::get_job(name, 5, job);
    scene.note(scene.numbers(job.commands) + ", status" + scene.numbers(job.status_seen));
}

void configure_ports(Scene& scene, peer::TcpPrinter& printer) {
    const auto send_config = [&](LPCWSTR command, const Text& name, const Text& address, DWORD port) {
        const host::PortConfig config = host::port_config(name, address, port);
        scene.note(host::to_utf8(Text(command) + W(" ") + name) + ": " +
                   std::to_string(host::send_config(scene.monitor, command, config)));
    };
    const auto send_name = [&](LPCWSTR command, const Text& name) {
        scene.note(host::to_utf8(Text(command)) + ": " + std::to_string(host::send_name(scene.monitor, command, name)));
    };
    spooler_sim::add_foreign_port(W("LPT1:"));
    for (const LPCWSTR name : {W("Принтер"), W("пРИНТЕР"), W("lpt1:"), W(""), W("a\\b")}) {
        send_config(W("TSAddPort"), name, W("127.0.0.1"), printer.port());
        send_name(W("TSPortExists"), name);
    }
    scene.note_ports();
    scene.print({W("Ж"), 1000, 65536, 0, W("Принтер")});
    send_config(W("TSConfigPort"), W("принтер"), W("адрес.invalid"), 9100);
    send_config(W("TSPortIsValid"), W("принтер"), W("адрес.invalid"), 9100);
    host::PortConfig config = {};
    const DWORD status = host::read_config(scene.monitor, W("Принтер"), config);
    scene.note("read: " + std::to_string(status) + " " + host::to_utf8(config.printer_address));
    send_name(W("TSDeletePort"), W("ПРИНТЕР"));
    scene.note_ports();
}

// clang-format off
const std::string kDebug = "Debug=on\n";
const std::string kByService = "created by the service";
const LPCWSTR kName = W("Принтер");
const LPCWSTR kOdd = W("Принтер: \"Ж\"");
const Text kHalfPair = Text(W("half ")) + static_cast<WCHAR>(0xD83D) + W(" pair");
const Page kRefused = {kName, 1000, 100, 42};
const std::pair<std::string, std::string> kMarker = {"spool/notapprovedjobs/42.notapproved", ""};

// Names by which the spooler knows a printer whose port is "Office".
Page at_office(const Text& printer) { return {printer, 1000, 65536, 0, W("Office")}; }
const LPCWSTR kServerNames[] = {W("\\\\СЕРВЕР\\Office"), W("\\\\СЕРВЕР\\"), W("\\\\СЕРВЕР"), W("")};

const struct {
    const char* name;
    std::string settings;
    std::vector<Text> printers;
    std::vector<Page> pages = {};
    std::vector<std::pair<std::string, std::string>> files = {};
    void (*before)(Scene& scene) = nullptr;                            // the monitor is loaded
    void (*after)(Scene& scene, peer::TcpPrinter& printer) = nullptr;  // the pages; with the first of the printers
} scenes[] = {
    {"sizes", kDebug, {kName},
     {{kName, 0, 4096}, {kName, 1, 1}, {kName, 50, 3}, {kName, 4097, 4096}, {kName, 3000001}, {kName, (5 << 20) + 3, 1 << 20}}},
    {"names", kDebug,
     {W("Office"), W("Εκτυπωτής"), W("Принтер 1"), W("プリンタ"), W("a/b:c*?"), kHalfPair, W("\U0001F5A8 paper"), Text(64, W('Щ'))},
     {{W("Office")}, {W("Εκτυπωτής")}, {W("пРИНТЕР 1")}, {W("プリンタ")}, {W("a/b:c*?")}, {kHalfPair}, {W("\U0001F5A8 paper")},
      {Text(64, W('Щ'))}, at_office(kServerNames[0]), at_office(kServerNames[1]), at_office(kServerNames[2]), at_office(kServerNames[3]),
      at_office(W("Призрак")), {W("Office"), 1000, 65536, 0, W("оффис")}},
     {}, [](Scene&) { for (const LPCWSTR name : kServerNames) spooler_sim::add_printer(name); }},
    {"not approved", kDebug, {kName}, {kRefused}, {kMarker}},
    {"not approved, without details", "Debug=off\n", {kName}, {kRefused}, {kMarker}},
    {"not approved, without checking", kDebug + "NotApprovedFileChecking=off\n", {kName}, {kRefused}, {kMarker}},
    {"lost printer", kDebug + "HWCheckPortMonitorRunAsSystem=on\n", {kName}, {}, {}, nullptr, lose_printer},
    {"unreachable", kDebug, {}, {{W("far"), 10, 10, 17}, {W("odd"), 10, 10, 17}, {W("shut"), 10, 10, 17}, {W("shut"), 10, 10, 17}}, {},
     [](Scene&) {
         for (const LPCWSTR name : {W("far"), W("odd"), W("shut")}) spooler_sim::add_printer(name);
         host::store_port(W("far"), W("нет.invalid"), 9100);
         host::store_port(W("odd"), W("127.0.0.1"), 70000);
         host::store_port(W("shut"), W("127.0.0.1"), 1);
     }},
    {"progress record", kDebug + "IsPrintingBasedOnPortMonitor=on\n", {W("P/1"), kOdd},
     {{W("P/1"), 300, 100, 7}, {kOdd, 300, 100, 8}, {kOdd, 300, 100, 9}},
     {{"spool/hpc/job-P_1-7.dat", kByService}, {"spool/hpc/job-Принтер_ _Ж_-8.dat", kByService}}},
    {"settings of all kinds",
     "# a comment\r\n; another\r\n  Debug = on\r\nHideJobNames=YES\r\nLogRotateCheckCount=0\nno equals sign\n=nothing\n"
     "PrintServerName=сервер-ж\nApplicationServer=приложение \nParseTimeout=-5\nParseTimeout=12x\nUnknown=1\n",
     {kName}, {{kName}}, {{"env-version", "EnvVersion = 15\n"}}},
    {"printing modes", "Debug=true\nDirectPrintingMode=on\nServerlessPrintingMode=on\nIgnorePrinters=a*,Ж?\n",
     {kName}, {{kName}}, {{"env-version", "envversion=10\n"}}},
    {"rotation", "DeveloperLogging=on\nDebug=on\nLogRotateNumber=2\nLogRotateSizeKBytes=0\n",
     {kName}, {{kName}}, {{"env-version", "rubbish\n"}}},
    {"left-over work files and ports that cannot be read", kDebug, {W("Ж"), W("a")}, {},
     {{"spool/forceattr/input-P-1.dat", "x"}, {"spool/forceattr/msf-Ж-1.dat", "x"}, {"spool/forceattr/any thing", "x"},
      {"spool/forceattr/kept/below", "x"}},
     [](Scene&) {
         HKEY key = nullptr;
         const Text path = Text(host::monitor_registry_path) + W("\\Ports\\пустой");
         RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
         RegCloseKey(key);
         host::store_port(Text(65, W('e')), W("127.0.0.1"), 9100);
     },
     [](Scene& scene, peer::TcpPrinter&) { scene.note_ports(); }},
    {"without settings", "", {kName}, {{kName}}},
    {"without an install path", "", {kName}, {{kName}}, {},
     [](Scene&) { RegDeleteKeyW(HKEY_LOCAL_MACHINE, W("SOFTWARE\\Wow6432Node\\ts-print-provider")); }},
    {"configuration", kDebug, {W("Ж")}, {}, {}, nullptr, configure_ports},
    // From a folder whose name no single code page holds.
    {"helper", kDebug, {W("Принтер Ж")}, {{W("Принтер Ж"), 5000, 1000, 7}},
     {{"spool/settings/Принтер Ж.dat",
       host::settings_record()},
      {"ts-print-monitor.script", "run 1: on startdoc WAIT \"Door Open\" for 50 ms then OK\n"}},
     [](Scene& scene) { host::install_helper(scene.folder); },
     [](Scene& scene, peer::TcpPrinter&) {  // the start would have swept these away
         host::write_force_attributes_records(scene.folder, "Принтер Ж", 8);
         scene.print({W("Принтер Ж"), 1000, 300, 8});  // little enough for the helper to write it at once
     }},
};
// clang-format on

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) return 2;
    root = arguments[1];
    transcript.open(arguments[2], std::ios::binary);
    for (const auto& row : scenes) {
        Scene scene(row.name);
        if (!row.settings.empty()) scene.write("print-provider.conf", row.settings);
        for (const auto& [name, text] : row.files) scene.write(name, text);
        peer::TcpPrinter* first = nullptr;
        for (const Text& name : row.printers) {
            peer::TcpPrinter& printer = scene.add_printer(name);
            if (first == nullptr) first = &printer;
        }
        if (row.before != nullptr) row.before(scene);
        scene.load();
        for (const Page& page : row.pages) scene.print(page);
        if (row.after != nullptr) row.after(scene, *first);
    }
    return transcript.flush() ? 0 : 1;
}
