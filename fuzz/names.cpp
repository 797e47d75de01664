// Printer names through a whole document, as the records around it demand. No helper program is there.
#include <filesystem>

#include "common/serialize_hpc_job.h"
#include "common/serialize_msf.h"
#include "common/serialize_settings.h"
#include "common/util.h"
#include "fuzz/support.h"
#include "host/platform.h"
#include "testbed/print_server.h"
#include "testbed/records.h"
#include "winapi/linux/control.h"
#include "winapi/linux/handle.h"

namespace {

namespace fs = std::filesystem;

using fuzz::Text;

constexpr DWORD kJob = 7;
constexpr const char* kRecords[] = {"forceattr", "hpc", "notapprovedjobs", "settings"};

// One for all inputs. A printer on loopback has a port, and so has one that is switched off.
struct Server : testbed::PrintServer {
    Server() : PrintServer(fuzz::scratch()), printer(add_printer(W("On"))) {
        std::string why;
        host::store_port(W("Off"), W("127.0.0.1"), 1);
        REQUIRE(set_up({"Debug=on", "IsPrintingBasedOnPortMonitor=on", "LogRotateSizeKBytes=64"}, why));
        REQUIRE(try_load(why));
    }
    test_printer::TcpPrinter& printer;
};

// A record under its own name; not when the file system refuses the name.
void leave_record(const Server& server, const char* kind, const char* file_name, const std::string& contents) {
    const Text folder = host::windows_path(server.folder.spool(kind));
    const fs::path path = winapi::native_path((folder + W("\\") + winapi::to_utf16(file_name)).c_str());
    const size_t size = path.filename().string().size();
    if (size > 0 && size <= 255) fuzz::write_file(path, contents);
}

void leave_records(const Server& server, const Text& full_name, const testbed::DocumentPlan& plan) {
    // Behind the server in front of it, if there is one.
    const size_t begin = full_name.starts_with(W("\\\\")) ? full_name.find(W('\\'), 2) + 1 : 0;
    const std::string printer = winapi::to_utf8(full_name.substr(begin).c_str());
    char file_name[255];
    serialize_msf_filename(file_name, sizeof file_name, printer.c_str(), "7");
    if (plan.forced) leave_record(server, "forceattr", file_name, testbed::force_attributes_record());
    serialize_settings_filename(file_name, sizeof file_name, printer.c_str());
    if (plan.checked) leave_record(server, "settings", file_name, testbed::settings_record());
    if (plan.not_approved) leave_record(server, "notapprovedjobs", "7.notapproved", "");
    HpcJobRecord record = {"", kJob, 0};
    util_strncpy(record.printer_name, winapi::to_utf8(full_name.c_str()).c_str(), sizeof record.printer_name);
    serialize_hpc_job_filename(file_name, sizeof file_name, &record);
    leave_record(server, "hpc", file_name, "");
}

// Names lead to no file outside the folders of the records, and to no further folder.
void check_files(const Server& server) {
    for (const auto& entry : fs::recursive_directory_iterator(fuzz::scratch())) {
        const fs::path place = entry.path().lexically_relative(server.folder.base);
        const bool is_record = place.parent_path().parent_path() == "spool";
        const bool is_known = place == "env-version" || place.string().starts_with("print-");
        REQUIRE(entry.is_directory() ? !is_record : is_record || is_known);
    }
}

void print(Server& server, const host::Document& document, const std::string& data, bool can_print) {
    server.printer.forget_ended();
    size_t next = server.printer.connections();
    const host::Outcome outcome = server.monitor.print_document(document);
    REQUIRE(outcome.identity_kept);
    if (outcome.result != host::Result::printed) return;
    REQUIRE(can_print);
    // Behind what restarts, and earlier documents, may have brought.
    do REQUIRE(server.printer.wait_for_end_of(next));
    while (server.printer.connection(next++).data != data);
}

}  // namespace

// The log stays open, and its stream is reachable only through memory of the sanitizer, which is not searched.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:make_stream";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    winapi::set_clock_speed(1e6);
    winapi::allow_dns(false);
    static Server server;
    const fuzz::NothingLeftOver nothing;
    for (const char* const kind : kRecords) {
        for (const auto& old : fs::directory_iterator(server.folder.spool(kind))) fs::remove_all(old);
    }
    fuzz::Input input(data, size);
    const uint8_t choice = input.byte();
    const bool is_registered = choice % 8 != 0;
    const bool is_on = (choice & 8) != 0;
    input.byte();
    const std::string document_data(input.bytes(input.byte()));
    Text name = input.wide(1024);
    if (name.empty()) name = W("Office");

    if (is_registered) spooler_sim::add_printer(name);
    leave_records(server, name,
                  {.not_approved = (choice & 0x30) == 0x30, .checked = choice >= 0x80, .forced = (choice & 0x40) != 0});
    host::Document document = testbed::PrintServer::document(name, host::memory_source(document_data));
    document.port = is_on ? W("On") : W("Off");
    document.job_id = kJob;
    print(server, document, document_data, is_registered && is_on);
    check_files(server);
    spooler_sim::remove_printer(name);
    return 0;
}
