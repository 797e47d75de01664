// The marker of a job that the Print Provider has not approved: a file whose existence is the message. With the setting
// NotApprovedFileChecking off there are no markers.
#pragma once

#include <cstddef>
#include <cstdint>

// The marker's full path, into `out` of `size` (260) bytes.
void notapproved_file_path(char* out, size_t size, uint32_t job_id);

// 1 when the job has a marker.
int notapproved_file_exists(uint32_t job_id);

// Deletes the marker; waits up to five minutes while another process has it open. A failure is logged.
void notapproved_file_delete(uint32_t job_id);
