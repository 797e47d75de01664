// The progress record of a job: how many sends to the printer succeeded. The Print Provider creates the file, the
// monitor rewrites it while it exists.
#pragma once

#include <cstddef>
#include <cstdint>

struct HpcJobRecord {
    char printer_name[1024];  // UTF-8
    uint32_t job_id;
    uint32_t write_count;
};

// "job-<printer>-<job id>.dat", made safe for the file system; `out` has `size` (255) bytes.
void serialize_hpc_job_filename(char* out, size_t size, const HpcJobRecord* record);

// Replaces the file's contents; creates the directory when it is missing. Returns 1 when both fields were written.
int serialize_hpc_job_write(const char* directory, const HpcJobRecord* record);
