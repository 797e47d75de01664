// The job meta-data record that the Print Provider keeps beside the msf record. The monitor only deletes it.
#pragma once

#include <cstddef>

// "job-<printer>-<job id>.dat", made safe for the file system; `out` has `size` (255) bytes.
void serialize_job_filename(char* out, size_t size, const char* printer_name, const char* job_id);

// Non-zero when the file was there and was deleted.
int serialize_job_delete(const char* directory, const char* printer_name, const char* job_id);
