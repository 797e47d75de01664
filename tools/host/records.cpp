#include "tools/host/records.h"

#include <filesystem>
#include <fstream>

#include "tools/host/platform.h"

namespace host {
namespace {

namespace fs = std::filesystem;

bool write(const std::string& path, const std::string& contents) {
    std::ofstream file(path_of(path), std::ios::binary);
    file << contents;
    return static_cast<bool>(file.flush());
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

std::string record_of(const std::string& fields) {
    return "# TS Serialize Data\r\n" + fields + "#END\r\n";
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
    const std::string of_job = "-" + printer + "-" + std::to_string(job_id) + ".dat";
    return write(folder.spool("forceattr") + "/msf" + of_job, force_attributes_record()) &&
           write(folder.spool("forceattr") + "/job" + of_job, "meta-data");
}

}  // namespace host
