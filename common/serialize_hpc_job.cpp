#include "common/serialize_hpc_job.h"

#include "common/log.h"
#include "common/os.h"
#include "common/serialize.h"
#include "common/serialize_names.h"
#include "common/util.h"

namespace {

constexpr int32_t kVersion = 1;

}  // namespace

void serialize_hpc_job_filename(char* out, size_t size, const HpcJobRecord* record) {
    const int length = util_snprintf(out, size, "job-%s-%d.dat", record->printer_name, record->job_id);
    if (length >= static_cast<int>(size)) log_error(LOG_HERE, "HPC serialize job filename is truncated: %s", out);
    util_sanitize_filename(out);
}

int serialize_hpc_job_write(const char* directory, const HpcJobRecord* record) {
    os_mkdir(directory);
    char name[kRecordNameSize];
    char path[kRecordPathSize];
    serialize_hpc_job_filename(name, sizeof name, record);
    os_cat_path(path, sizeof path, directory, name);
    log_debug(LOG_HERE, "Writing persisted HPC job meta-data: %s", path);
    SerializeStore* store = nullptr;
    if (!serialize_create(&store, path)) return 0;
    const int written = serialize_pack_int(store, "version", kVersion) &&
                        serialize_pack_int(store, "write_port", static_cast<int32_t>(record->write_count));
    serialize_close(store);
    return written;
}
