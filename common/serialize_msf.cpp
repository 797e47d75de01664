#include "common/serialize_msf.h"

#include "common/log.h"
#include "common/serialize.h"
#include "common/serialize_names.h"
#include "common/util.h"

namespace {

bool read_fields(SerializeStore* store, MsfRecord* record) {
    int32_t version = 0;  // every version has these fields
    return serialize_unpack_int(store, "version", &version) &&
           serialize_unpack_str(store, "watermark_text", record->watermark_text, sizeof record->watermark_text) &&
           serialize_unpack_double(store, "watermark_font_size_points", &record->watermark_font_size_points) &&
           serialize_unpack_int(store, "watermark_gray_level", &record->watermark_gray_level) &&
           serialize_unpack_int(store, "watermark_position", &record->watermark_position) &&
           serialize_unpack_double(store, "watermark_position_override_from_edge_y_points",
                                   &record->watermark_position_override_from_edge_y_points) &&
           serialize_unpack_boolean(store, "default_to_a4", &record->default_to_a4) &&
           serialize_unpack_boolean(store, "force_duplex", &record->force_duplex) &&
           serialize_unpack_boolean(store, "force_grayscale", &record->force_grayscale) &&
           serialize_unpack_int(store, "set_num_copies", &record->set_num_copies) &&
           serialize_unpack_int(store, "compress_method", &record->compress_method) &&
           serialize_unpack_boolean(store, "inject_job_uid", &record->inject_job_uid);
}

}  // namespace

void serialize_msf_filename(char* out, size_t size, const char* printer_name, const char* job_id) {
    if (util_snprintf(out, size, "msf-%s-%s.dat", printer_name, job_id) >= static_cast<int>(size)) {
        log_error(LOG_HERE, "Serialize msf filename has been truncated: %s", out);
    }
    util_sanitize_filename(out);
}

int serialize_msf_readin(const char* directory, const char* printer_name, const char* job_id, MsfRecord* record) {
    log_dev(LOG_HERE, "serialize_msf_readin: dir_path='%s',printer_name='%s',JobId: %s", directory, printer_name,
            job_id);
    char name[kRecordNameSize];
    char path[kRecordPathSize];
    serialize_msf_filename(name, sizeof name, printer_name, job_id);
    if (!serialize_find_file(path, directory, name)) {
        log_debug(LOG_HERE, "Unable to find msf (printer_name = %s, JobId: %s) for readin. path='%s'", printer_name,
                  job_id, path);
        return 0;
    }
    *record = MsfRecord{};
    SerializeStore* store = nullptr;
    if (!serialize_open(&store, path)) return 0;
    const bool read = read_fields(store, record);
    serialize_close(store);
    return read ? 1 : 0;
}

int serialize_msf_delete(const char* directory, const char* printer_name, const char* job_id) {
    char name[kRecordNameSize];
    int result = 0;
    serialize_msf_filename(name, sizeof name, printer_name, job_id);
    if (!serialize_delete_file(directory, name, &result)) {
        log_debug(LOG_HERE, "Unable to find msf (printer_name = %s, JobId: %s) to delete", printer_name, job_id);
    }
    return result;
}
