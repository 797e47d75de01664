// File names of the records.
#pragma once

#include <cstddef>

constexpr size_t kRecordNameSize = 255;  // a record's file name, terminator included
constexpr size_t kRecordPathSize = 260;  // its full path, terminator included

// Joins a record's directory and name; true when there is such a file.
bool serialize_find_file(char (&path)[kRecordPathSize], const char* directory, const char* name);
// Deletes such a file: *result is that of os_file_delete. False, and 0, when there is none.
bool serialize_delete_file(const char* directory, const char* name, int* result);
