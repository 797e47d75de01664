// What the record files have in common: their names.
#pragma once

#include <cstddef>

constexpr size_t kRecordNameSize = 255;  // a record's file name, terminator included
constexpr size_t kRecordPathSize = 260;  // its full path, terminator included

// Makes a formatted name (`whole_length` is that of the whole text, as util_snprintf returns it) safe for the file
// system. True when the name had been cut, which the caller says in its own words.
bool serialize_finish_filename(char* name, size_t size, int whole_length);

// Joins a record's directory and name; true when there is such a file.
bool serialize_find_file(char (&path)[kRecordPathSize], const char* directory, const char* name);
