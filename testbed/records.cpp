#include "testbed/records.h"

#include <filesystem>
#include <fstream>

#include "host/platform.h"

namespace testbed {
namespace {

namespace fs = std::filesystem;

using host::executable_folder;
using host::path_of;

bool write(const std::string& path, const std::string& contents) {
    std::ofstream file(path_of(path), std::ios::binary);
    file << contents;
    return static_cast<bool>(file.flush());
}

std::string of_job(const std::string& printer, DWORD job_id) {
    return "-" + printer + "-" + std::to_string(job_id) + ".dat";
}

// Its fields between first and last line.
std::string record_of(const std::string& fields) {
    return "# TS Serialize Data\r\n" + fields + "#END\r\n";
}

}  // namespace

const char helper_file_name[] = "ts-print-monitor.exe";

bool install_helper(const BaseFolder& folder) {
    std::error_code error;
    return fs::copy_file(path_of(executable_folder()) / helper_file_name, path_of(folder.base) / helper_file_name,
                         fs::copy_options::overwrite_existing, error);
}

bool set_helper_script(const BaseFolder& folder, const std::string& script) {
    return write(folder.base + "/ts-print-monitor.script", script);
}

std::string settings_record() {
    return record_of(
        "version=5\r\nenable_color_detection=Y\r\nfailure_mode=HOLD\r\nhardware_check_mode=SNMP\r\n"
        "is_virtual=N\r\nqueue-confidentiality-mode=HIDE_NONE\r\n");
}

std::string force_attributes_record() {
    return record_of(
        "version=1\r\nwatermark_text=DRAFT\r\nwatermark_font_size_points=12.5\r\nwatermark_gray_level=50\r\n"
        "watermark_position=1\r\nwatermark_position_override_from_edge_y_points=0\r\ndefault_to_a4=FALSE\r\n"
        "force_duplex=TRUE\r\nforce_grayscale=FALSE\r\nset_num_copies=2\r\ncompress_method=0\r\n"
        "inject_job_uid=FALSE\r\n");
}

std::string settings_record_path(const BaseFolder& folder, const std::string& printer) {
    return folder.spool("settings") + "/" + printer + ".dat";
}

bool write_settings_record(const BaseFolder& folder, const std::string& printer) {
    return write(settings_record_path(folder, printer), settings_record());
}

bool write_force_attributes_records(const BaseFolder& folder, const std::string& printer, DWORD job_id) {
    const std::string job = of_job(printer, job_id);
    return write(folder.spool("forceattr") + "/msf" + job, force_attributes_record()) &&
           write(folder.spool("forceattr") + "/job" + job, "meta-data");
}

std::string progress_record_path(const BaseFolder& folder, const std::string& printer, DWORD job_id) {
    return folder.spool("hpc") + "/job" + of_job(printer, job_id);
}

bool lay_out(const BaseFolder& folder, const std::string& printer, DWORD job_id, const DocumentPlan& plan) {
    return write(folder.base + "/" + printer + ".script", plan.script) &&
           (!plan.not_approved || write(folder.marker(job_id), "")) &&
           (!plan.progress || write(progress_record_path(folder, printer, job_id), "made by the service")) &&
           (!plan.checked || write_settings_record(folder, printer)) &&
           (!plan.forced || write_force_attributes_records(folder, printer, job_id));
}

void clear_away(const BaseFolder& folder, const std::string& printer, DWORD job_id, const DocumentPlan& plan) {
    std::error_code ignored;
    const auto remove = [&](const std::string& path) { fs::remove(path_of(path), ignored); };
    remove(folder.base + "/" + printer + ".script");
    if (plan.not_approved) remove(folder.marker(job_id));
    if (plan.progress) remove(progress_record_path(folder, printer, job_id));
    if (plan.checked) remove(settings_record_path(folder, printer));
    if (!plan.forced) return;
    for (const char* const kind : {"/msf", "/job"}) remove(folder.spool("forceattr") + kind + of_job(printer, job_id));
}

}  // namespace testbed
