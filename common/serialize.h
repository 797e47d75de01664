// The key-value record files shared with the Print Provider: a magic comment line, one "key=value" line per field in a
// fixed order, "#END". Strictly sequential: a reader names each key it expects, and any other is an error.
//
// All operations return 1 for success and 0 for failure, which they log. A failed field leaves the store open; the
// caller closes it on every path. A store belongs to one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

struct SerializeStore {
    const char* path;  // the caller's; it outlives the store
    FILE* stream;
    int32_t writing;  // 1: made by serialize_create
};

// Creates or truncates the file and writes the magic line; opens the file for reading. 0 leaves *store null.
int serialize_create(SerializeStore** store, const char* path);
int serialize_open(SerializeStore** store, const char* path);

int serialize_pack_int(SerializeStore* store, const char* key, int32_t value);

// A value of more than size - 1 bytes is refused and leaves the buffer untouched.
int serialize_unpack_str(SerializeStore* store, const char* key, char* value, size_t size);
// A value without digits is logged, gives 0 and succeeds.
int serialize_unpack_int(SerializeStore* store, const char* key, int32_t* value);
int serialize_unpack_double(SerializeStore* store, const char* key, double* value);
// Exactly "TRUE" (1) or "FALSE" (0).
int serialize_unpack_boolean(SerializeStore* store, const char* key, int32_t* value);

// Writes the terminator, or finds it, skipping unread lines; the result is that of this step. Closes the file and
// frees the store in any case.
int serialize_close(SerializeStore* store);
