#include "winportmon/tsmon/helper_status.h"

#include <cstdlib>
#include <cstring>
#include <iterator>

#include "common/global.h"
#include "common/log.h"

namespace tsmon {

// -- Status words -----------------------------------------------------------------------------------------------------

namespace {

// The helper's name for a problem, and its status bits. "Job Suspended" concerns the job alone.
struct StatusWord {
    const char* word;
    DWORD printer_bits;
    DWORD job_bits;
};

constexpr StatusWord StatusWords[] = {
    {"No Paper", PRINTER_STATUS_PAPER_OUT, JOB_STATUS_PAPEROUT},
    {"Low Toner", PRINTER_STATUS_TONER_LOW, JOB_STATUS_ERROR},
    {"No Toner", PRINTER_STATUS_NO_TONER, JOB_STATUS_ERROR},
    {"Door Open", PRINTER_STATUS_DOOR_OPEN, JOB_STATUS_ERROR},
    {"Jammed", PRINTER_STATUS_PAPER_JAM, JOB_STATUS_ERROR},
    {"Output Full", PRINTER_STATUS_OUTPUT_BIN_FULL, JOB_STATUS_ERROR},
    {"Offline", PRINTER_STATUS_ERROR, JOB_STATUS_ERROR},
    {"Low Paper", PRINTER_STATUS_ERROR, JOB_STATUS_ERROR},
    {"Service Requested", PRINTER_STATUS_ERROR, JOB_STATUS_ERROR},
    {"Input Tray Missing", PRINTER_STATUS_ERROR, JOB_STATUS_ERROR},
    {"Output Tray Missing", PRINTER_STATUS_ERROR, JOB_STATUS_ERROR},
    {"Marker Supply Missing", PRINTER_STATUS_ERROR, JOB_STATUS_ERROR},
    {"Output Near Full", PRINTER_STATUS_ERROR, JOB_STATUS_ERROR},
    {"Input Tray Empty", PRINTER_STATUS_ERROR, JOB_STATUS_ERROR},
    {"Overdue Prevent Maintenance", PRINTER_STATUS_ERROR, JOB_STATUS_ERROR},
    {"Job Suspended", 0, JOB_STATUS_ERROR},
};
static_assert(std::size(StatusWords) == 16);

// Shown instead of the general error.
constexpr DWORD kSpecificPrinterBits = PRINTER_STATUS_PAPER_JAM | PRINTER_STATUS_PAPER_OUT |
                                       PRINTER_STATUS_OUTPUT_BIN_FULL | PRINTER_STATUS_TONER_LOW |
                                       PRINTER_STATUS_NO_TONER | PRINTER_STATUS_DOOR_OPEN;
constexpr DWORD kSpecificJobBits = JOB_STATUS_PAPEROUT;

DWORD BitsOfText(DWORD StatusWord::*column, const char* text, DWORD general_bit, DWORD specific_bits) {
    DWORD bits = 0;
    for (const StatusWord& word : StatusWords) {
        if (strstr(text, word.word) != nullptr) bits |= word.*column;
    }
    return (bits & specific_bits) != 0 ? bits & ~general_bit : bits;
}

}  // namespace

DWORD PrinterStatusFromErrorText(const char* error_text) {
    return BitsOfText(&StatusWord::printer_bits, error_text, PRINTER_STATUS_ERROR, kSpecificPrinterBits);
}

DWORD JobStatusFromErrorText(const char* error_text) {
    return BitsOfText(&StatusWord::job_bits, error_text, JOB_STATUS_ERROR, kSpecificJobBits);
}

// -- Updates ---------------------------------------------------------------------------------------------------------

namespace {

constexpr int32_t kErrorPollSnmp = 0;  // ErrorPollMethod "snmp"

bool IsShownByProvider() {
    if (session_context.error_poll_method != kErrorPollSnmp) return false;
    log_debug(LOG_HERE, "Don't update windows error state as print provider is doing it");
    return true;
}

}  // namespace

BOOL UpdateJobStatusBits(HANDLE printer, DWORD job_id, DWORD old_bits, DWORD new_bits) {
    if (IsShownByProvider() || new_bits == old_bits) return TRUE;
    DWORD status = 0;
    if (!GetJobStatus(printer, job_id, &status)) return FALSE;
    return SetJobStatus(printer, job_id, (status & ~old_bits) | new_bits);
}

BOOL UpdatePrinterStatusBits(HANDLE printer, DWORD old_bits, DWORD new_bits) {
    if (IsShownByProvider() || new_bits == old_bits) return TRUE;
    DWORD status = 0;
    if (!GetPrinterStatus(printer, &status)) return FALSE;
    return SetPrinterStatus(printer, (status & ~old_bits) | new_bits);
}

// -- The job ---------------------------------------------------------------------------------------------------------

BOOL GetJobInfo2(HANDLE printer, DWORD job_id, JOB_INFO_2W** info) {
    *info = nullptr;
    DWORD size = 0;
    if (!GetJobW(printer, job_id, 2, nullptr, 0, &size) && GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
        log_debug_last_error(LOG_HERE, "TSM: Unable to get print job info. JobId: %lu", job_id);
        return FALSE;
    }
    auto* const record = static_cast<JOB_INFO_2W*>(malloc(size));
    if (record == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        log_error_last_error(LOG_HERE, "TSM: Unable to allocate memory for printer info.");
        return FALSE;
    }
    if (!GetJobW(printer, job_id, 2, reinterpret_cast<BYTE*>(record), size, &size)) {
        log_debug(LOG_HERE, "TSM: Unable to get print job info. Job might have already been deleted. Error: %d.",
                  GetLastError());
        free(record);
        return FALSE;
    }
    *info = record;
    return TRUE;
}

BOOL GetJobStatus(HANDLE printer, DWORD job_id, DWORD* status) {
    JOB_INFO_2W* info = nullptr;
    if (!GetJobInfo2(printer, job_id, &info)) {
        log_debug(LOG_HERE, "TSM: Cannot get job info to retrieve status. JobId: %lu", job_id);
        return FALSE;
    }
    log_dev(LOG_HERE, "TSM: GetJobStatus: JobId: %lu Job status: 0x%lx", job_id, info->Status);
    *status = info->Status;
    free(info);
    return TRUE;
}

BOOL SetJobStatus(HANDLE printer, DWORD job_id, DWORD status) {
    JOB_INFO_2W* info = nullptr;
    if (!GetJobInfo2(printer, job_id, &info)) {
        log_debug(LOG_HERE, "TSM: Cannot get job info. JobId: %lu", job_id);
        return FALSE;
    }
    log_dev(LOG_HERE, "TSM: setting job status on job, %ld, from: 0x%lx to 0x%lx", job_id, info->Status, status);
    info->Position = JOB_POSITION_UNSPECIFIED;
    info->Status = status;
    const BOOL set = SetJobW(printer, job_id, 2, reinterpret_cast<BYTE*>(info), 0);
    if (!set) log_error_last_error(LOG_HERE, "TSM: unable to set job status to 0x%lx", status);
    free(info);
    return set;
}

// -- The printer -----------------------------------------------------------------------------------------------------

BOOL GetPrinterStatus(HANDLE printer, DWORD* status) {
    DWORD size = 0;
    GetPrinterW(printer, 2, nullptr, 0, &size);
    auto* const info = static_cast<PRINTER_INFO_2W*>(malloc(size));
    if (info == nullptr) {
        log_error(LOG_HERE, "TSM: memory failure");
        return FALSE;
    }
    const BOOL read = GetPrinterW(printer, 2, reinterpret_cast<BYTE*>(info), size, &size);
    if (read) {
        *status = info->Status;
    } else {
        log_error_last_error(LOG_HERE, "TSM: Error getting printer information.");
    }
    free(info);
    log_dev(LOG_HERE, "TSM: getting printer status: 0x%lx", *status);
    return read;
}

BOOL SetPrinterStatus(HANDLE printer, DWORD status) {
    log_debug(LOG_HERE, "TSM: setting printer status to: 0x%lx", status);
    PRINTER_INFO_6 info = {};
    info.dwStatus = status;
    const BOOL set = SetPrinterW(printer, 6, reinterpret_cast<BYTE*>(&info), 0);
    if (set) {
        log_dev(LOG_HERE, "TSM: Successfully set printer status");
    } else {
        log_error_last_error(LOG_HERE, "TSM: Error setting printer information.");
    }
    return set;
}

}  // namespace tsmon
