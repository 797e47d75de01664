#include "common/serialize_names.h"

#include "common/os.h"
#include "common/util.h"

bool serialize_find_file(char (&path)[kRecordPathSize], const char* directory, const char* name) {
    path[0] = '\0';
    os_cat_path(path, sizeof path, directory, name);
    return !util_is_string_empty(path) && os_file_exists(path);
}

bool serialize_delete_file(const char* directory, const char* name, int* result) {
    char path[kRecordPathSize];
    *result = 0;
    if (!serialize_find_file(path, directory, name)) return false;
    *result = os_file_delete(path);
    return true;
}
