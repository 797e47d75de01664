// Printer names through a whole document, on the course that the records around it ask for.
#include <filesystem>

#include "common/global.h"
#include "common/log.h"
#include "common/serialize_hpc_job.h"
#include "common/serialize_msf.h"
#include "common/serialize_settings.h"
#include "common/util.h"
#include "fuzz/support.h"
#include "tests/support/listener.h"
#include "winapi/linux/control.h"
#include "winapi/linux/handle.h"
#include "winapi/spooler_sim/spooler_sim.h"
#include "winportmon/tsmon/tsmon_document.h"
#include "winportmon/tsmon/tsmon_ports.h"

namespace {

namespace fs = std::filesystem;

using fuzz::Text;
using tsmon::PortEntry;

constexpr DWORD kJob = 7;
constexpr const char* kFolder = "C:\\spool";  // of all records
constexpr const char* kForced =
    "version=1\nwatermark_text=\nwatermark_font_size_points=1\nwatermark_gray_level=1\nwatermark_position=1\n"
    "watermark_position_override_from_edge_y_points=0\ndefault_to_a4=FALSE\nforce_duplex=TRUE\nforce_grayscale=FALSE\n"
    "set_num_copies=2\ncompress_method=0\ninject_job_uid=FALSE\n#END\n";
constexpr const char* kChecked =
    "version=2\nenable_color_detection=Y\nfailure_mode=HOLD\nhardware_check_mode=SNMP\n#END\n";

struct Plan {
    bool registered;    // the spooler knows a printer of that name
    bool listening;     // and it is there
    bool not_approved;  // the job is
    bool forced;        // attributes are to be forced on it
    bool checked;       // the hardware check is on; there is no helper program
    std::string data;
    Text name;
};

// Takes the settings, too.
Plan take_plan(fuzz::Input& input) {
    const uint8_t course = input.byte();
    const uint8_t settings = input.byte();
    memset(&session_context, 0, sizeof session_context);
    session_context.debug_logging = 1;
    session_context.notapproved_file_checking = 1;
    session_context.error_poll_method = 2;
    session_context.dev_logging = settings & 1;
    session_context.is_printing_based_on_port_monitor = settings >> 1 & 1;
    session_context.hwcheck_port_monitor_run_as_system = settings >> 2 & 1;
    for (char* const folder :
         {session_context.forceattr_spool_dir_path, session_context.hpc_spool_dir_path,
          session_context.notapproved_jobs_spool_dir_path, session_context.settings_spool_dir_path}) {
        strcpy(folder, kFolder);
    }
    Plan plan = {
        course % 8 != 0, (course & 8) != 0, (course & 0x30) == 0x30, (course & 0x40) != 0, course >= 0x80, {}, {}};
    plan.data = std::string(input.bytes(input.byte()));
    plan.name = input.wide(1024);
    if (plan.name.empty()) plan.name = W("Office");
    return plan;
}

// A record under its own name; not when the file system refuses the name.
void leave_record(const char* file_name, const char* contents) {
    const std::string path = winapi::native_path(winapi::to_utf16(kFolder + ("\\" + std::string(file_name))).c_str());
    const size_t size = fs::path(path).filename().string().size();
    if (size > 0 && size <= 255) fuzz::write_file(path, contents);
}

void leave_records(const Plan& plan, PortEntry* port) {
    REQUIRE(tsmon::ExtractPrinterFields(port, plan.name.c_str()));
    const std::string printer = winapi::to_utf8(port->printer_name);
    char file_name[255];
    serialize_msf_filename(file_name, sizeof file_name, printer.c_str(), "7");
    if (plan.forced) leave_record(file_name, kForced);
    serialize_settings_filename(file_name, sizeof file_name, printer.c_str());
    if (plan.checked) leave_record(file_name, kChecked);
    if (plan.not_approved) leave_record("7.notapproved", "");
    HpcJobRecord record = {"", kJob, 0};
    util_strncpy(record.printer_name, winapi::to_utf8(plan.name.c_str()).c_str(), sizeof record.printer_name);
    serialize_hpc_job_filename(file_name, sizeof file_name, &record);
    leave_record(file_name, "");
}

// Names lead to no file outside the folder of the records, and to no further folder.
void check_files() {
    for (const auto& entry : fs::recursive_directory_iterator(fuzz::scratch())) {
        const std::string place = entry.path().lexically_relative(fuzz::scratch());
        REQUIRE(entry.is_directory() ? place == "spool" : place == "log" || place.starts_with("spool/"));
    }
}

void print(PortEntry* port, const Plan& plan, test::Listener& printer) {
    std::vector<WCHAR> name(plan.name.begin(), plan.name.end());
    name.push_back(0);
    const spooler_sim::ClientScope client(W("user"));
    const bool started = tsmon::StartDocPort(port, name.data(), kJob, 1, nullptr);
    const bool connected = port->socket != INVALID_SOCKET;
    const bool rewritten = port->force_attr.active != 0;
    check_files();
    REQUIRE(!started || (plan.registered && (connected || plan.not_approved)));
    if (started) {
        std::vector<BYTE> data(plan.data.begin(), plan.data.end());
        DWORD written = 0;
        // A write of nothing counts as one that sent nothing.
        REQUIRE(data.empty() || tsmon::WritePort(port, data.data(), static_cast<DWORD>(data.size()), &written));
        REQUIRE(written == data.size());
        REQUIRE(tsmon::EndDocPort(port) || rewritten);  // there is no helper to rewrite it
    }
    if (started && connected) {
        test::Peer connection = printer.accept();
        REQUIRE(connection.read(plan.data.size() + 1) == (rewritten ? "" : plan.data));
        connection.reset();
    }
    REQUIRE(spooler_sim::current_client() == W("user"));
    REQUIRE(port->printer_handle == nullptr && port->socket == INVALID_SOCKET && port->flags == 0);
    REQUIRE(port->force_attr.input == nullptr && port->force_attr.input_name == nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static test::Listener printer;
    winapi::set_clock_speed(1e6);
    winapi::allow_dns(false);
    WSADATA sockets;
    static const int winsock = WSAStartup(0x0202, &sockets);
    REQUIRE(winsock == 0);
    log_init_lock();
    const fuzz::NothingLeftOver nothing;
    log_set_path("C:\\log");
    for (const char* const old : {"/spool", "/log"}) fs::remove_all(fuzz::scratch() + old);
    fuzz::Input input(data, size);
    const Plan plan = take_plan(input);
    spooler_sim::reset();
    if (plan.registered) spooler_sim::add_printer(plan.name);
    if (plan.registered) spooler_sim::add_job(plan.name, kJob, W("document"), W("user"));
    tsmon::MonitorContext context = {};
    tsmon::PortConfig config = {W("127.0.0.1"), W("Office"), plan.listening ? printer.port() : uint32_t{1}};
    PortEntry* const port = tsmon::CreatePortEntry(&context, &config);
    fs::create_directory(fuzz::scratch() + "/spool");
    leave_records(plan, port);
    print(port, plan, printer);
    check_files();
    tsmon::ExtractPrinterFields(port, nullptr);  // frees the names
    REQUIRE(tsmon::DeletePortEntry(&context, W("Office")));
    tsmon::FreePorts(&context);
    log_close();
    return 0;
}
