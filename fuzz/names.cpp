// Printer names through a whole document, on the course that the records around it ask for.
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <vector>

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
constexpr const char* kLog = "print-monitor.log";
constexpr const char* kFolders[] = {"forceattr", "hpc", "notapprovedjobs", "settings"};

struct Plan {
    bool registered;    // the spooler knows a printer of that name
    bool listening;     // and it is there
    bool not_approved;  // the job is
    bool forced;        // attributes are to be forced on it
    bool checked;       // the hardware check is on; there is no helper program
    Text name;
    std::string data;
};

Plan take_plan(fuzz::Input& input) {
    Plan plan;
    const uint8_t course = input.byte();
    plan.registered = course % 8 != 0;
    plan.listening = (course & 8) != 0;
    plan.not_approved = (course & 0x30) == 0x30;
    plan.forced = (course & 0x40) != 0;
    plan.checked = (course & 0x80) != 0;
    const uint8_t settings = input.byte();
    session_context.dev_logging = settings & 1;
    session_context.is_printing_based_on_port_monitor = settings >> 1 & 1;
    session_context.hwcheck_port_monitor_run_as_system = settings >> 2 & 1;
    plan.data = std::string(input.bytes(input.byte()));
    plan.name = input.wide(1024);
    return plan;
}

void prepare_folders() {
    for (const char* const name : kFolders) fs::create_directories(fuzz::scratch() + "/spool/" + name);
    const auto name_folder = [](auto& field, const char* folder) {
        util_snprintf(field, sizeof field, "C:\\spool\\%s", folder);
    };
    memset(&session_context, 0, sizeof session_context);
    session_context.debug_logging = 1;
    session_context.notapproved_file_checking = 1;
    session_context.error_poll_method = 2;
    name_folder(session_context.forceattr_spool_dir_path, "forceattr");
    name_folder(session_context.hpc_spool_dir_path, "hpc");
    name_folder(session_context.notapproved_jobs_spool_dir_path, "notapprovedjobs");
    name_folder(session_context.settings_spool_dir_path, "settings");
}

// A record under its own name; not when the file system refuses the name.
void leave_record(const char* folder, const char* file_name, const char* contents) {
    const Text path = winapi::to_utf16(std::string("C:\\spool\\") + folder + "\\" + file_name);
    const std::string native = winapi::native_path(path.c_str());
    const size_t name = native.rfind('/') + 1;
    if (native.size() > name && native.size() - name <= 255) fuzz::write_file(native, contents);
}

// The names of the printer in the port, taken apart as ExtractPrinterFields does.
std::string printer_part(const Text& name) {
    if (!name.starts_with(W("\\\\"))) return winapi::to_utf8(name.c_str());
    const size_t separator = name.find(W('\\'), 2);
    return winapi::to_utf8(separator != Text::npos ? name.c_str() + separator + 1 : name.c_str());
}

void leave_records(const Plan& plan) {
    const std::string printer = printer_part(plan.name);
    char file_name[255];
    if (plan.forced) {
        serialize_msf_filename(file_name, sizeof file_name, printer.c_str(), "7");
        leave_record("forceattr", file_name,
                     "version=1\nwatermark_text=\nwatermark_font_size_points=1\nwatermark_gray_level=1\n"
                     "watermark_position=1\nwatermark_position_override_from_edge_y_points=0\ndefault_to_a4=FALSE\n"
                     "force_duplex=TRUE\nforce_grayscale=FALSE\nset_num_copies=2\ncompress_method=0\n"
                     "inject_job_uid=FALSE\n#END\n");
    }
    if (plan.checked) {
        serialize_settings_filename(file_name, sizeof file_name, printer.c_str());
        leave_record("settings", file_name,
                     "version=2\nenable_color_detection=Y\nfailure_mode=HOLD\nhardware_check_mode=SNMP\n#END\n");
    }
    if (plan.not_approved) leave_record("notapprovedjobs", "7.notapproved", "");
    HpcJobRecord record = {"", kJob, 0};
    util_strncpy(record.printer_name, winapi::to_utf8(plan.name.c_str()).c_str(), sizeof record.printer_name);
    serialize_hpc_job_filename(file_name, sizeof file_name, &record);
    leave_record("hpc", file_name, "");
}

// Nothing but the log and the spool folders, and in these no folder and no file of another kind.
void check_files() {
    for (const auto& entry : fs::recursive_directory_iterator(fuzz::scratch())) {
        const fs::path place = entry.path().lexically_relative(fuzz::scratch());
        const std::string file = place.filename().string();
        const std::string folder = place.parent_path().string();
        if (entry.is_directory()) {
            REQUIRE(folder.empty() ? file == "spool" : folder == "spool");
        } else if (folder == "spool/forceattr") {
            REQUIRE(file.starts_with("input-") || file.starts_with("msf-"));
        } else {
            REQUIRE(folder.empty() ? file == kLog : folder.starts_with("spool/"));
        }
    }
}

void print(PortEntry* port, const Plan& plan, test::Listener& printer) {
    const fuzz::ExactBuffer name(plan.name.c_str(), (plan.name.size() + 1) * sizeof(WCHAR));
    const spooler_sim::ClientScope client(W("user"));
    const BOOL started = tsmon::StartDocPort(port, reinterpret_cast<LPWSTR>(name.get()), kJob, 1, nullptr);
    check_files();
    REQUIRE(started == (plan.registered && (plan.not_approved || plan.listening) ? TRUE : FALSE));
    if (started) {
        const auto size = static_cast<DWORD>(plan.data.size());
        const fuzz::ExactBuffer data(plan.data.data(), size);
        DWORD written = 0;
        // A write of nothing counts as one that sent nothing.
        if (size != 0) REQUIRE(tsmon::WritePort(port, data.get(), size, &written));
        REQUIRE(written == size);
        const bool rewritten = port->force_attr.active != 0;
        REQUIRE(tsmon::EndDocPort(port) == (rewritten ? FALSE : TRUE));  // there is no helper to rewrite it
        if (!plan.not_approved) {
            test::Peer connection = printer.accept();
            REQUIRE(connection.read(size + 1) == (rewritten ? "" : plan.data));
            connection.reset();
        }
    }
    REQUIRE(spooler_sim::current_client() == W("user"));
    REQUIRE(port->printer_handle == nullptr && port->socket == INVALID_SOCKET && port->flags == 0);
    REQUIRE(!started || (port->printer_name == nullptr && port->server_name == nullptr));
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
    log_set_path("C:\\print-monitor.log");
    prepare_folders();
    fuzz::Input input(data, size);
    const Plan plan = take_plan(input);
    spooler_sim::reset();
    const fuzz::NothingLeftOver nothing;
    if (plan.registered && !plan.name.empty()) {
        spooler_sim::add_printer(plan.name);
        spooler_sim::add_job(plan.name, kJob, W("document"), W("user"));
    }
    leave_records(plan);

    tsmon::MonitorContext context = {};
    tsmon::PortConfig config = {W("127.0.0.1"), W("Office"), plan.listening ? printer.port() : uint32_t{1}};
    PortEntry* const port = tsmon::CreatePortEntry(&context, &config);
    if (!plan.name.empty()) print(port, plan, printer);
    check_files();
    tsmon::ExtractPrinterFields(port, nullptr);  // lets go of the names
    REQUIRE(tsmon::DeletePortEntry(&context, W("Office")));
    tsmon::FreePorts(&context);
    log_close();
    fs::remove_all(fuzz::scratch() + "/spool");
    fs::remove(fuzz::scratch() + "/" + kLog);
    return 0;
}
