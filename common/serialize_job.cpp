#include "common/serialize_job.h"

#include "common/log.h"
#include "common/serialize_names.h"
#include "common/util.h"

void serialize_job_filename(char* out, size_t size, const char* printer_name, const char* job_id) {
    if (util_snprintf(out, size, "job-%s-%s.dat", printer_name, job_id) >= static_cast<int>(size)) {
        log_error(LOG_HERE, "Serialize job filename has been truncated: %s", out);
    }
    util_sanitize_filename(out);
}

int serialize_job_delete(const char* directory, const char* printer_name, const char* job_id) {
    char name[kRecordNameSize];
    int result = 0;
    serialize_job_filename(name, sizeof name, printer_name, job_id);
    if (!serialize_delete_file(directory, name, &result)) {
        log_debug(LOG_HERE, "Unable to find job meta-data (printer_name = %s, JobId: %s) to delete", printer_name,
                  job_id);
    }
    return result;
}
