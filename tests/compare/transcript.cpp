// Prints the same set of documents whatever the build, each scene on a print server in a folder of its own, and leaves
// beside the log and the records what became of them: what the spooler was told, and the bytes at the printer.
//   transcript FOLDER    an empty one, the same for every build, as its path is logged
#include "host/sha256.h"
#include "testbed/print_server.h"
#include "testbed/records.h"
#include "tests/support/files.h"

namespace {

using host::Text;
using test::path_of;

struct Page {
    Text printer;
    std::uint64_t size = 1000;
    DWORD write_size = 65536;
    DWORD job_id = 0;
    Text port = {};  // empty: the printer's name
};

struct Scene : testbed::PrintServer {
    explicit Scene(const std::string& place) : testbed::PrintServer(place + "/Установка Ж") {
        load_options.server_name = W("СЕРВЕР-Ж");
    }

    // A file below the base folder.
    void write(const std::string& name, const std::string& text) {
        test::write_file(path_of(folder.base + "/" + name), text);
    }

    void print(const Page& page) {
        host::Document job = document(page.printer, host::generated_source(page.size, page.size), page.write_size);
        if (!page.port.empty()) job.port = page.port;
        job.name = W("Отчёт.pdf");
        job.user = W("Ирина Ж");
        job.job_id = page.job_id;
        const host::Outcome outcome = monitor.print_document(job);
        notes << "job " << outcome.job_id << ": " << outcome.bytes << " bytes, " << outcome.restarts
              << " restarts, error " << outcome.error << ", identity " << (outcome.identity_kept ? "kept" : "lost")
              << ", commands";
        for (const DWORD command : outcome.job.commands) notes << ' ' << command;
        notes << ", status";
        for (const DWORD status : outcome.job.status_seen) notes << ' ' << status;
        notes << '\n';
    }

    void note_printer(test_printer::TcpPrinter& printer) {
        printer.wait_for_ends(printer.connections());
        for (size_t i = 0; i < printer.connections(); ++i) {
            const test_printer::Connection connection = printer.connection(i);
            notes << "printed: " << connection.bytes << " bytes, " << test_printer::end_to_text(connection.end) << ", "
                  << host::sha256(connection.data) << '\n';
        }
    }

    std::ostringstream notes;
};

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
    void (*before)(Scene& scene) = nullptr;  // the monitor is loaded
    void (*after)(Scene& scene) = nullptr;   // the pages
} scenes[] = {
    {"names", kDebug + "IsPrintingBasedOnPortMonitor=on\n",
     {W("Office"), kOdd, W("Εκτυπωτής"), W("Принтер 1"), W("プリンタ"), W("a/b:c*?"), kHalfPair, W("\U0001F5A8 paper"), Text(64, W('Щ'))},
     {{W("Office"), 0, 4096}, {W("Εκτυπωτής")}, {W("пРИНТЕР 1")}, {W("プリンタ"), 5000, 4096}, {W("a/b:c*?")}, {kHalfPair},
      {W("\U0001F5A8 paper"), 50, 3}, {Text(64, W('Щ'))}, {kServerName, 1000, 65536, 0, W("Office")},
      {W("Призрак"), 1000, 65536, 0, W("Office")}, {W("Office"), 1000, 65536, 0, W("оффис")}, {W("Office"), 1000, 100, 42},
      {kOdd, 300, 100, 43}},
     {{"spool/notapprovedjobs/42.notapproved", ""}, {"spool/hpc/job-Принтер_ _Ж_-43.dat", "created by the service"}},
     [](Scene&) { spooler_sim::add_printer(kServerName); }},
    {"settings",
     "# a comment\r\n; another\r\n  Debug = on\r\nHideJobNames=YES\r\nLogRotateCheckCount=0\nno equals sign\n=nothing\n"
     "PrintServerName=сервер-ж\nApplicationServer=приложение \nParseTimeout=-5\nParseTimeout=12x\nUnknown=1\n"
     "DirectPrintingMode=on\nIgnorePrinters=a*,Ж?\n",
     {kName}, {{kName}}, {{"env-version", "EnvVersion = 10\n"}}},
    // From a folder whose name no single code page holds.
    {"helper", kDebug, {kName}, {{kName, 5000, 1000, 7}},
     {{"spool/settings/Принтер.dat", testbed::settings_record()},
      {"ts-print-monitor.script", "run 1: on startdoc WAIT \"Door Open\" for 50 ms then OK\n"}},
     [](Scene& scene) { testbed::install_helper(scene.folder); },
     [](Scene& scene) {  // the start would have swept these away
         testbed::write_force_attributes_records(scene.folder, "Принтер", 8);
         scene.print({kName, 1000, 300, 8});  // little enough for the helper to write it at once
     }},
};
// clang-format on

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) return 2;
    for (const auto& row : scenes) {
        const std::string place = std::string(arguments[1]) + "/" + row.name;
        Scene scene(place);
        std::string why;
        if (!scene.set_up({}, why)) return 1;
        scene.write("print-provider.conf", row.settings);
        for (const auto& [name, text] : row.files) scene.write(name, text);
        std::vector<test_printer::TcpPrinter*> printers;
        for (const Text& name : row.printers) printers.push_back(&scene.add_printer(name));
        if (row.before != nullptr) row.before(scene);
        if (!scene.try_load(why)) return 1;
        for (const Page& page : row.pages) scene.print(page);
        if (row.after != nullptr) row.after(scene);
        scene.monitor.unload();
        for (test_printer::TcpPrinter* const printer : printers) scene.note_printer(*printer);
        if (!test::write_file(path_of(place + "/notes"), scene.notes.str())) return 1;
    }
    return 0;
}
