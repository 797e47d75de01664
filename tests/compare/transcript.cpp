// Prints the same set of documents whatever the build, and writes down what became of them: what the spooler was told,
// the bytes at the printer, the log, the files left behind. What may differ between two runs (times, thread numbers,
// the printers' ports, the system's own texts and names) is put aside, so that the transcripts of two builds are equal.
//   transcript FOLDER FILE    with an empty folder, the same one for every build, as its path is logged
#include <algorithm>
#include <regex>
#include <thread>

#include "host/ports.h"
#include "testbed/print_server.h"
#include "testbed/records.h"
#include "tests/support/files.h"

namespace {

namespace fs = std::filesystem;
using host::Text;
using test::path_of;

std::ofstream transcript;
std::string root;  // UTF-8

// A log line without what may differ.
std::string normalised(std::string line) {
    static const std::pair<std::regex, const char*> rules[] = {
        {std::regex("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d,\\d{3} "), "<time> "},
        {std::regex(" \\[\\d+\\]\r$"), " [<thread>]\r"},
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
    Text port = {};  // empty: the printer's name
};

// A print server of its own for each scene.
class Scene : public testbed::PrintServer {
  public:
    explicit Scene(const std::string& name) : testbed::PrintServer(root + "/Установка Ж") {
        transcript << "\n==== " << name << '\n';
        std::error_code ignored;
        fs::remove_all(path_of(root), ignored);
        load_options.server_name = W("СЕРВЕР-Ж");
    }

    ~Scene() override {
        monitor.unload();
        note_printers();
        note_log();
        note_files();
    }

    // A file below the base folder.
    void write(const std::string& name, const std::string& text) {
        test::write_file(path_of(folder.base + "/" + name), text);
    }
    void add_printer(const Text& name) { printers.push_back(&testbed::PrintServer::add_printer(name)); }

    void print(const Page& page) {
        host::Document job = document(page.printer, host::generated_source(page.size, page.size), page.write_size);
        if (!page.port.empty()) job.port = page.port;
        job.name = W("Отчёт.pdf");
        job.user = W("Ирина Ж");
        job.job_id = page.job_id;
        const host::Outcome outcome = monitor.print_document(job);
        transcript << "job " << outcome.job_id << ": " << outcome.bytes << " bytes, " << outcome.restarts
                   << " restarts, error " << outcome.error << ", identity "
                   << (outcome.identity_kept ? "kept" : "lost");
        note_job(outcome.job);
    }

    void note(const std::string& text) { transcript << text << '\n'; }
    void note_job(const spooler_sim::Job& job) {
        transcript << ", commands";
        for (const DWORD command : job.commands) transcript << ' ' << command;
        transcript << ", status";
        for (const DWORD status : job.status_seen) transcript << ' ' << status;
        transcript << '\n';
    }
    void note_ports() {
        for (const host::PortConfig& port : host::listed_ports(monitor)) {
            note("listed: " + host::to_utf8(port.port_name) + " " + host::to_utf8(port.printer_address));
        }
    }

    std::vector<test_printer::TcpPrinter*> printers;

  private:
    void note_printers() {
        for (test_printer::TcpPrinter* const printer : printers) {
            printer->wait_for_ends(printer->connections());
            for (size_t i = 0; i < printer->connections(); ++i) {
                const test_printer::Connection connection = printer->connection(i);
                note("printed: " + std::to_string(connection.bytes) + " bytes, " +
                     test_printer::end_to_text(connection.end) + ", " + connection.sha256);
            }
        }
    }

    void note_log() {
        std::istringstream log(test::read_file(path_of(folder.log())));
        for (std::string line; std::getline(log, line);) {
            // Wine finds nothing wrong with ending a connection that was reset; Windows and the layer do.
            if (line.find("failed to shutdown socket with error: 10054") != std::string::npos) continue;
            note(normalised(line));
        }
    }

    void note_files() {
        std::vector<std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(path_of(folder.base))) {
            const std::string name = test::utf8_of(entry.path().lexically_relative(path_of(folder.base)));
            const bool left = name.starts_with("spool") || name.starts_with("ts-print-monitor.runs");
            if (left && entry.is_regular_file()) files.push_back("file " + name + ": " + test::read_file(entry.path()));
        }
        std::sort(files.begin(), files.end());
        for (const std::string& file : files) note(file);
    }
};

// -- The set ---------------------------------------------------------------------------------------------------------

// Step by step: how much of a document a printer takes before it is lost would else be a matter of time.
void lose_printer(Scene& scene, test_printer::TcpPrinter& printer) {
    const Text name = W("Принтер");
    test_printer::Behaviour broken;
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
    scene.note_job(job);
}

void configure_ports(Scene& scene, test_printer::TcpPrinter& printer) {
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
const LPCWSTR kName = W("Принтер");
const LPCWSTR kOdd = W("Принтер: \"Ж\"");
const Text kHalfPair = Text(W("half ")) + static_cast<WCHAR>(0xD83D) + W(" pair");
// By which the spooler knows a printer whose port is "Office".
const LPCWSTR kServerName = W("\\\\СЕРВЕР\\Office");

const struct {
    const char* name;
    std::string settings;
    std::vector<Text> printers;
    std::vector<Page> pages;
    std::vector<std::pair<std::string, std::string>> files = {};
    void (*before)(Scene& scene) = nullptr;                            // the monitor is loaded
    void (*after)(Scene& scene, test_printer::TcpPrinter& printer) = nullptr;  // the pages; with the first of the printers
} scenes[] = {
    {"names", kDebug + "IsPrintingBasedOnPortMonitor=on\n",
     {W("Office"), kOdd, W("Εκτυπωτής"), W("Принтер 1"), W("プリンタ"), W("a/b:c*?"), kHalfPair, W("\U0001F5A8 paper"), Text(64, W('Щ'))},
     {{W("Office"), 0, 4096}, {W("Εκτυπωτής")}, {W("пРИНТЕР 1")}, {W("プリンタ"), 5000, 4096}, {W("a/b:c*?")}, {kHalfPair},
      {W("\U0001F5A8 paper"), 50, 3}, {Text(64, W('Щ'))}, {kServerName, 1000, 65536, 0, W("Office")},
      {W("Призрак"), 1000, 65536, 0, W("Office")}, {W("Office"), 1000, 65536, 0, W("оффис")}, {W("Office"), 1000, 100, 42},
      {kOdd, 300, 100, 43}},
     {{"spool/notapprovedjobs/42.notapproved", ""}, {"spool/hpc/job-Принтер_ _Ж_-43.dat", "created by the service"}},
     [](Scene&) { spooler_sim::add_printer(kServerName); }},
    {"lost printer", kDebug + "HWCheckPortMonitorRunAsSystem=on\n", {kName}, {}, {}, nullptr, lose_printer},
    {"settings of all kinds",
     "# a comment\r\n; another\r\n  Debug = on\r\nHideJobNames=YES\r\nLogRotateCheckCount=0\nno equals sign\n=nothing\n"
     "PrintServerName=сервер-ж\nApplicationServer=приложение \nParseTimeout=-5\nParseTimeout=12x\nUnknown=1\n"
     "DirectPrintingMode=on\nIgnorePrinters=a*,Ж?\n",
     {kName}, {{kName}}, {{"env-version", "EnvVersion = 10\n"}}},
    {"configuration", kDebug, {W("Ж")}, {}, {}, nullptr, configure_ports},
    // From a folder whose name no single code page holds.
    {"helper", kDebug, {kName}, {{kName, 5000, 1000, 7}},
     {{"spool/settings/Принтер.dat", testbed::settings_record()},
      {"ts-print-monitor.script", "run 1: on startdoc WAIT \"Door Open\" for 50 ms then OK\n"}},
     [](Scene& scene) { testbed::install_helper(scene.folder); },
     [](Scene& scene, test_printer::TcpPrinter&) {  // the start would have swept these away
         testbed::write_force_attributes_records(scene.folder, "Принтер", 8);
         scene.print({kName, 1000, 300, 8});  // little enough for the helper to write it at once
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
        std::string why;
        if (!scene.set_up({}, why)) return 1;
        scene.write("print-provider.conf", row.settings);
        for (const auto& [name, text] : row.files) scene.write(name, text);
        for (const Text& name : row.printers) scene.add_printer(name);
        if (row.before != nullptr) row.before(scene);
        if (!scene.try_load(why)) return 1;
        for (const Page& page : row.pages) scene.print(page);
        if (row.after != nullptr) row.after(scene, *scene.printers.front());
    }
    return transcript.flush() ? 0 : 1;
}
