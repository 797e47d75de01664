// The settings that the Print Provider keeps for each printer, one record file per printer.
#pragma once

#include <cstddef>
#include <cstdint>

enum FailureMode : int32_t { FAILURE_PRINT_NEW_NO_REPLAY = 0, FAILURE_PRINT_NEW_WITH_REPLAY = 1, FAILURE_HOLD = 2 };
enum HardwareCheckMode : int32_t { HARDWARE_CHECK_SNMP = 0, HARDWARE_CHECK_DEVICE_API = 1, HARDWARE_CHECK_NONE = 2 };
enum QueueConfidentialityMode : int32_t { QUEUE_HIDE_NONE = 0, QUEUE_HIDE_NAME = 1 };

struct PrinterSettings {
    int32_t version;
    int32_t enable_color_detection;  // 0 or 1
    FailureMode failure_mode;
    HardwareCheckMode hardware_check_mode;                // since version 2, else HARDWARE_CHECK_NONE
    QueueConfidentialityMode queue_confidentiality_mode;  // since version 4, else QUEUE_HIDE_NONE
    int32_t is_virtual;                                   // 0 or 1; since version 3, else 0
};

// "<printer>.dat", made safe for the file system; `out` has `size` (255) bytes.
void serialize_settings_filename(char* out, size_t size, const char* printer_name);

// Returns 1 when the file exists and is complete; else 0, with the record partly filled.
int serialize_settings_readin(const char* directory, const char* printer_name, PrinterSettings* settings);
