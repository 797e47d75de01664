// The msf record: the attributes that the Print Provider wants forced on a job, left in the force-attributes spool
// directory before the job reaches its port.
#pragma once

#include <cstddef>
#include <cstdint>

struct MsfRecord {
    char watermark_text[256];
    double watermark_font_size_points;
    int32_t watermark_gray_level;
    int32_t watermark_position;
    double watermark_position_override_from_edge_y_points;
    int32_t default_to_a4;
    int32_t force_duplex;
    int32_t force_grayscale;
    int32_t set_num_copies;
    int32_t compress_method;
    int32_t inject_job_uid;
};

// "msf-<printer>-<job id>.dat", made safe for the file system; `out` has `size` (255) bytes.
void serialize_msf_filename(char* out, size_t size, const char* printer_name, const char* job_id);

// Returns 1 when the file exists and every field was read; else 0.
int serialize_msf_readin(const char* directory, const char* printer_name, const char* job_id, MsfRecord* record);

// Non-zero when the file was there and was deleted.
int serialize_msf_delete(const char* directory, const char* printer_name, const char* job_id);
