#include "common/notapproved_file.h"

#include "common/global.h"
#include "common/log.h"
#include "common/os.h"
#include "common/serialize_names.h"
#include "common/util.h"

void notapproved_file_path(char* out, size_t size, uint32_t job_id) {
    char name[kRecordNameSize];
    util_snprintf(name, sizeof name, "%lu.notapproved", job_id);
    os_cat_path(out, size, session_context.notapproved_jobs_spool_dir_path, name);
}

int notapproved_file_exists(uint32_t job_id) {
    if (session_context.notapproved_file_checking == 0) {
        log_debug(LOG_HERE, "Notapproved file checking turned off so just say the file does not exist");
        return 0;
    }
    char path[kRecordPathSize];
    notapproved_file_path(path, sizeof path, job_id);
    return util_is_string_empty(path) ? 0 : os_file_exists(path);
}

void notapproved_file_delete(uint32_t job_id) {
    if (session_context.notapproved_file_checking == 0) {
        log_debug(LOG_HERE, "Notapproved file checking turned off so don't do any deletion of notapproved file");
        return;
    }
    char path[kRecordPathSize];
    notapproved_file_path(path, sizeof path, job_id);
    log_debug(LOG_HERE, "Deleting the notapproved file: \"%s\"", path);
    if (!os_file_delete_with_retry(path)) {
        log_debug_last_error(LOG_HERE, "Unable to delete the notapproved file: \"%s\"", path);
    }
}
