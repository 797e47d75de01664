// Prints the same set of documents whatever the build, and writes down what became of them: what the spooler was told,
// the bytes at the printer, the log, the files left behind. What may differ between two runs (times, thread numbers,
// the printers' ports, the system's own texts and names) is put aside, so that the transcripts of two builds are equal.
//   transcript FOLDER FILE    with an empty folder, the same one for every build, as its path is logged
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <list>
#include <regex>
#include <sstream>
#include <thread>

#include "tests/support/platform.h"
#include "tools/host/monitor_host.h"
#include "tools/host/platform.h"
#include "tools/host/xcv.h"
#include "tools/peer/tcp_printer.h"
#include "winportmon/tsmon/tsmon.h"

namespace {

namespace fs = std::filesystem;
using host::Text;
using Lines = std::vector<std::string>;

std::ofstream transcript;
std::string root;  // UTF-8

fs::path path_of(const std::string& utf8) {
    return fs::path(std::u8string(utf8.begin(), utf8.end()));
}

std::string contents(const fs::path& path) {
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

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

// A print server of its own for each scene.
class Scene {
  public:
    explicit Scene(const std::string& name) {
        transcript << "\n==== " << name << '\n';
        spooler_sim::reset();
        test::clear_registry();
        std::error_code ignored;
        fs::remove_all(path_of(root), ignored);
        folder_.install = root + "/Установка Ж";
        folder_.base = folder_.install + "/providers/print/win";
        for (const char* const below : {"activejobs", "forceattr", "hpc", "notapprovedjobs", "settings"}) {
            fs::create_directories(path_of(folder_.spool(below)));
        }
        write("env-version", "envversion=15\n");
        host::store_install_path(host::windows_path(folder_.install));
    }

    ~Scene() {
        monitor.unload();
        note_printers();
        note_logs();
        note_files();
    }
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    // A file below the base folder.
    void write(const std::string& name, const std::string& text) {
        fs::create_directories(path_of(folder_.base + "/" + name).parent_path());
        std::ofstream(path_of(folder_.base + "/" + name), std::ios::binary) << text;
    }
    void copy_helper() {
        const fs::path program = "ts-print-monitor.exe";
        fs::copy_file(path_of(host::executable_folder()) / program, path_of(folder_.base) / program);
    }
    void configure(const std::string& settings) { write("print-provider.conf", settings); }

    peer::TcpPrinter& add_printer(const Text& name) {
        peer::TcpPrinter& printer = printers_.emplace_back();
        spooler_sim::add_printer(name);
        host::store_port(name, W("127.0.0.1"), printer.port());
        return printer;
    }

    void load() {
        host::MonitorHost::Options options;
        options.library = host::executable_folder() + "/" + host::monitor_file_name();
        options.folder = folder_;
        options.server_name = W("СЕРВЕР-Ж");
        std::string why;
        transcript << "load: " << (monitor.load(options, why) ? "loaded" : why) << '\n';
    }

    host::Outcome print(const Text& port, const Text& printer, std::uint64_t size, DWORD write_size = 65536,
                        DWORD job_id = 0) {
        host::Document document;
        document.port = port;
        document.printer = printer;
        document.name = W("Отчёт.pdf");
        document.user = W("Ирина Ж");
        document.source = host::generated_source(size, size);
        document.write_size = write_size;
        document.job_id = job_id;
        document.retry_pause_ms = 1;
        const host::Outcome outcome = monitor.print_document(document);
        note_outcome(outcome);
        return outcome;
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
    void note_job(const Text& printer, DWORD id) {
        spooler_sim::Job job;
        note(spooler_sim::get_job(printer, id, job)
                 ? "job:" + numbers(job.commands) + " status" + numbers(job.status_seen)
                 : "no such job");
    }

    host::MonitorHost monitor;

  private:
    static std::string numbers(const std::vector<DWORD>& values) {
        std::string text;
        for (const DWORD value : values) text += ' ' + std::to_string(value);
        return text;
    }

    void note_outcome(const host::Outcome& outcome) {
        transcript << "job " << outcome.job_id << ": " << outcome.words << ", " << outcome.bytes << " bytes, "
                   << outcome.restarts << " restarts, error " << outcome.error << ", identity "
                   << (outcome.identity_kept ? "kept" : "lost") << ", commands" << numbers(outcome.job.commands)
                   << ", status" << numbers(outcome.job.status_seen) << '\n';
    }

    void note_printers() {
        size_t number = 0;
        for (peer::TcpPrinter& printer : printers_) {
            ++number;
            printer.wait_for_ends(printer.connections());
            for (size_t i = 0; i < printer.connections(); ++i) {
                const peer::Connection connection = printer.connection(i);
                transcript << "printer " << number << ": " << connection.bytes << " bytes, "
                           << peer::end_in_words(connection.end) << ", " << connection.sha256 << '\n';
            }
        }
    }

    void note_log(const std::string& path) {
        std::istringstream log(contents(path_of(path)));
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
            const std::string rotated = folder_.log() + "." + std::to_string(number);
            if (!fs::exists(path_of(rotated))) continue;
            transcript << "log " << number << '\n';
            note_log(rotated);
        }
        transcript << "log\n";
        note_log(folder_.log());
    }

    void note_files() {
        Lines files;
        for (const auto& entry : fs::recursive_directory_iterator(path_of(folder_.install))) {
            if (!entry.is_regular_file() || entry.path().stem() == "print-monitor" ||
                entry.path().stem() == "print-monitor.log" || entry.path().filename() == "ts-print-monitor.exe") {
                continue;
            }
            const std::u8string name = entry.path().lexically_relative(path_of(folder_.base)).generic_u8string();
            files.push_back("file " + std::string(name.begin(), name.end()) + ": " + shown(contents(entry.path())));
        }
        std::sort(files.begin(), files.end());
        for (const std::string& file : files) transcript << file << '\n';
    }

    host::BaseFolder folder_;
    std::list<peer::TcpPrinter> printers_;
};

// -- The set ---------------------------------------------------------------------------------------------------------

void sizes_and_names() {
    Scene scene("sizes and names");
    scene.configure("Debug=on\n");
    const Text names[] = {W("Office"),           W("Εκτυπωτής"),
                          W("Принтер 1"),        W("プリンタ"),
                          W("a/b:c*?"),          Text(W("half ")) + static_cast<WCHAR>(0xD83D) + W(" pair"),
                          W("\U0001F5A8 paper"), Text(64, W('Щ'))};
    for (const Text& name : names) scene.add_printer(name);
    scene.load();
    for (const auto& [size, write_size] : std::initializer_list<std::pair<std::uint64_t, DWORD>>{
             {0, 4096}, {1, 1}, {50, 3}, {4097, 4096}, {3000001, 65536}, {(5 << 20) + 3, 1 << 20}}) {
        scene.print(names[0], names[0], size, write_size);
    }
    for (const Text& name : names) scene.print(name, name, 1000);
    for (const Text& name : {Text(W("\\\\СЕРВЕР\\Office")), Text(W("\\\\СЕРВЕР\\")), Text(W("\\\\СЕРВЕР")), Text()}) {
        spooler_sim::add_printer(name);
        scene.print(names[0], name, 1000);
    }
    scene.print(names[0], W("Призрак"), 1000);
    scene.print(W("оффис"), names[0], 1000);
    scene.print(W("пРИНТЕР 1"), W("пРИНТЕР 1"), 1000);
}

// Step by step, as the marker is this program's and not the host's.
void not_approved() {
    for (const char* const settings : {"Debug=on\n", "Debug=off\n", "Debug=on\nNotApprovedFileChecking=off\n"}) {
        Scene scene("not approved");
        scene.configure(settings);
        const Text name = W("Принтер");
        scene.add_printer(name);
        scene.load();
        scene.write("spool/notapprovedjobs/42.notapproved", "");
        spooler_sim::add_job(name, 42, W("doc"), W("Ирина"));
        const spooler_sim::ClientScope client(W("Ирина"));
        HANDLE port = nullptr;
        DWORD written = 0;
        bool well = scene.monitor.open_port(name, port) && scene.monitor.start_document(port, name, 42, W("doc"));
        well = well && scene.monitor.write(port, "page", 4, written);
        well = scene.monitor.end_document(port) && well;
        scene.monitor.close_port(port);
        scene.note(well ? "ended" : "failed");
        scene.note_job(name, 42);
    }
}

void lost_printer() {
    Scene scene("lost printer");
    scene.configure("Debug=on\nHWCheckPortMonitorRunAsSystem=on\n");
    const Text name = W("Принтер");
    peer::TcpPrinter& printer = scene.add_printer(name);
    peer::Behaviour broken;
    broken.reset_after = 1000;
    printer.behave_once(broken);
    scene.load();
    spooler_sim::add_job(name, 5, W("doc"), W("Ирина"));
    const spooler_sim::ClientScope client(W("Ирина"));
    const std::string data(1000, 'x');
    HANDLE port = nullptr;
    DWORD written = 77;
    scene.monitor.open_port(name, port);
    scene.monitor.start_document(port, name, 5, W("doc"));
    const auto write = [&] {
        const bool sent = scene.monitor.write(port, data.data(), 1000, written);
        const DWORD error = GetLastError();
        scene.note(std::string("write: ") + (sent ? "sent " : "refused, ") + std::to_string(written) +
                   (error == ERROR_TIMEOUT ? ", timed out" : ""));
    };
    write();
    printer.wait_for_ends(1);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));  // the reset is on its way
    write();
    printer.refuse();
    write();
    printer.listen();
    write();
    scene.note(scene.monitor.end_document(port) ? "ended" : "failed");
    scene.note_job(name, 5);
}

void unreachable() {
    for (const char* const settings : {"Debug=on\n", ""}) {
        Scene scene("unreachable");
        scene.configure(settings);
        scene.add_printer(W("refused")).refuse();
        for (const Text name : {W("far"), W("odd")}) spooler_sim::add_printer(name);
        host::store_port(W("far"), W("нет.invalid"), 9100);
        host::store_port(W("odd"), W("127.0.0.1"), 70000);
        scene.load();
        for (const Text name : {W("refused"), W("refused"), W("far"), W("odd")}) scene.print(name, name, 10, 10, 17);
    }
}

void progress_record() {
    Scene scene("progress record");
    scene.configure("Debug=on\nIsPrintingBasedOnPortMonitor=on\n");
    const Text names[] = {W("P/1"), W("Принтер: \"Ж\"")};
    for (const Text& name : names) scene.add_printer(name);
    scene.write("spool/hpc/job-P_1-7.dat", "created by the service");
    scene.write("spool/hpc/job-Принтер_ _Ж_-8.dat", "created by the service");
    scene.load();
    scene.print(names[0], names[0], 300, 100, 7);
    scene.print(names[1], names[1], 300, 100, 8);
    scene.print(names[1], names[1], 300, 100, 9);
}

void settings() {
    const std::pair<const char*, const char*> files[] = {
        {"# a comment\r\n; another\r\n  Debug = on\r\nHideJobNames=YES\r\nLogRotateCheckCount=0\nno equals "
         "sign\n=nothing\n"
         "PrintServerName=сервер-ж\nApplicationServer=приложение \nParseTimeout=-5\nParseTimeout=12x\nUnknown=1\n",
         "EnvVersion = 15\n"},
        {"Debug=true\nDirectPrintingMode=on\nServerlessPrintingMode=on\nIgnorePrinters=a*,Ж?\n", "envversion=10\n"},
        {"DeveloperLogging=on\nDebug=on\nLogRotateNumber=2\nLogRotateSizeKBytes=0\n", "rubbish\n"},
    };
    for (const auto& [conf, version] : files) {
        Scene scene("settings");
        scene.configure(conf);
        scene.write("env-version", version);
        scene.add_printer(W("Принтер"));
        scene.load();
        scene.print(W("Принтер"), W("Принтер"), 100);
    }
}

void start() {
    {
        Scene scene("left-over work files and ports that cannot be read");
        scene.configure("Debug=on\n");
        for (const char* const name : {"input-P-1.dat", "msf-Ж-1.dat", "any thing", "kept/below"}) {
            scene.write(std::string("spool/forceattr/") + name, "x");
        }
        scene.add_printer(W("Ж"));
        scene.add_printer(W("a"));
        HKEY key = nullptr;
        const Text path = Text(host::monitor_registry_path) + W("\\Ports\\пустой");
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
        RegCloseKey(key);
        host::store_port(Text(65, W('e')), W("127.0.0.1"), 9100);
        scene.load();
        scene.note_ports();
    }
    {
        Scene scene("without settings");
        scene.add_printer(W("Принтер"));
        scene.load();
        scene.print(W("Принтер"), W("Принтер"), 100);
    }
    {
        Scene scene("without an install path");
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, W("SOFTWARE\\Wow6432Node\\ts-print-provider"));
        scene.add_printer(W("Принтер"));
        scene.load();
        scene.print(W("Принтер"), W("Принтер"), 100);
    }
    {
        Scene scene("with a helper");
        scene.configure("Debug=on\n");
        scene.write("ts-print-monitor.exe", "");
        scene.load();
    }
}

tsmon::PortConfig port_config(const Text& name, const Text& address, DWORD port) {
    tsmon::PortConfig config = {};
    name.copy(config.port_name, tsmon::kPortNameSize);
    address.copy(config.printer_address, tsmon::kPrinterAddressSize);
    config.port_number = port;
    return config;
}

void configuration() {
    Scene scene("configuration");
    scene.configure("Debug=on\n");
    peer::TcpPrinter& printer = scene.add_printer(W("Ж"));
    spooler_sim::add_foreign_port(W("LPT1:"));
    scene.load();
    const host::Xcv xcv(scene.monitor, W("Принтер"), SERVER_ACCESS_ADMINISTER);
    for (const Text name : {W("Принтер"), W("пРИНТЕР"), W("lpt1:"), W(""), W("a\\b")}) {
        const tsmon::PortConfig config = port_config(name, W("127.0.0.1"), printer.port());
        scene.note("add " + host::to_utf8(name) + ": " +
                   std::to_string(xcv.send(W("TSAddPort"), &config, sizeof config)));
        const DWORD size = static_cast<DWORD>((name.size() + 1) * sizeof(WCHAR));
        DWORD exists = 0;
        DWORD needed = 0;
        scene.note("exists: " +
                   std::to_string(xcv.send(W("TSPortExists"), name.c_str(), size, &exists, sizeof exists, &needed)));
    }
    scene.note_ports();
    scene.print(W("Принтер"), W("Ж"), 100);
    const tsmon::PortConfig changed = port_config(W("принтер"), W("адрес.invalid"), 9100);
    scene.note("change: " + std::to_string(xcv.send(W("TSConfigPort"), &changed, sizeof changed)));
    scene.note("check: " + std::to_string(xcv.send(W("TSPortIsValid"), &changed, sizeof changed)));
    tsmon::PortConfig read = {};
    const DWORD status = xcv.send(W("TSGetConfigInfo"), nullptr, 0, &read, sizeof read);
    scene.note("read: " + std::to_string(status) + " " + host::to_utf8(read.printer_address));
    scene.note("delete: " + std::to_string(xcv.send(W("TSDeletePort"), W("ПРИНТЕР"), 16)));
    scene.note_ports();
}

// The sample helper, from a folder whose name no single code page holds.
void helper() {
    Scene scene("helper");
    scene.configure("Debug=on\n");
    const Text name = W("Принтер Ж");
    scene.add_printer(name);
    scene.copy_helper();
    scene.write("spool/settings/Принтер Ж.dat",
                "# TS Serialize Data\r\nversion=5\r\nenable_color_detection=Y\r\nfailure_mode=HOLD\r\n"
                "hardware_check_mode=SNMP\r\nis_virtual=N\r\nqueue-confidentiality-mode=HIDE_NONE\r\n#END\r\n");
    scene.write("ts-print-monitor.script", "run 1: on startdoc WAIT \"Door Open\" for 50 ms then OK\n");
    scene.load();
    scene.print(name, name, 5000, 1000, 7);
    scene.write("spool/forceattr/msf-Принтер Ж-8.dat",
                "# TS Serialize Data\r\nversion=1\r\nwatermark_text=\xD0\x96\r\nwatermark_font_size_points=12.5\r\n"
                "watermark_gray_level=50\r\nwatermark_position=1\r\n"
                "watermark_position_override_from_edge_y_points=0\r\ndefault_to_a4=FALSE\r\nforce_duplex=TRUE\r\n"
                "force_grayscale=FALSE\r\nset_num_copies=2\r\ncompress_method=0\r\ninject_job_uid=FALSE\r\n#END\r\n");
    scene.write("spool/forceattr/job-Принтер Ж-8.dat", "meta-data");
    scene.print(name, name, 1000, 300, 8);  // little enough for the helper to write it at once
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) return 2;
    root = arguments[1];
    transcript.open(arguments[2], std::ios::binary);
    for (void (*scene)() : {sizes_and_names, not_approved, lost_printer, unreachable, progress_record, settings, start,
                            configuration, helper}) {
        scene();
    }
    return transcript.flush() ? 0 : 1;
}
