#include "winportmon/tsmon/helper_protocol.h"

#include <cstring>

#include "common/log.h"
#include "common/util.h"
#include "winportmon/tsmon/helper_status.h"

namespace tsmon {
namespace {

constexpr size_t kLineSize = 4096;  // of a command and of an answer, terminator included
constexpr int kUnreadableRetries = 12;
constexpr DWORD kRetryPauseMs = 250;

bool BeginsWith(const char* answer, const char* word) {
    return strncmp(answer, word, strlen(word)) == 0;
}

// One write: a helper that received part of a line would wait for the rest while the monitor waits for its answer.
bool WriteText(HANDLE write_end, const char* text) {
    const auto length = static_cast<DWORD>(strlen(text));
    DWORD written = 0;
    if (!WriteFile(write_end, text, length, &written, nullptr)) return false;
    if (written == length) return true;
    SetLastError(ERROR_WRITE_FAULT);
    return false;
}

bool WriteCommand(HANDLE write_end, const char* name, const char* value) {
    char line[kLineSize];
    const int length = value != nullptr ? util_snprintf(line, sizeof line, "%s=%s\n", name, value)
                                        : util_snprintf(line, sizeof line, "%s\n", name);
    if (length >= static_cast<int>(sizeof line)) {
        log_error(LOG_HERE, "TSM: command to helper is too long for name \"%s\"", name);
        return false;
    }
    log_debug(LOG_HERE, "TSM: write to helper: %s%s%s", name, value != nullptr ? "=" : "",
              value != nullptr ? value : "");
    if (WriteText(write_end, line)) return true;
    log_error_last_error(LOG_HERE, "TSM: unable to write to helper for name \"%s\"", name);
    return false;
}

// One read, whatever it returns; 0, logged, when the helper is gone.
DWORD ReadAnswer(HANDLE read_end, char (&buffer)[kLineSize]) {
    DWORD count = 0;
    if (ReadFile(read_end, buffer, sizeof buffer - 1, &count, nullptr) && count > 0) return count;
    log_error_last_error(LOG_HERE, "TSM: error in ReadFile");
    return 0;
}

}  // namespace

BOOL SendHelperCommand(HANDLE read_end, HANDLE write_end, const char* name, const char* value) {
    if (!WriteCommand(write_end, name, value)) return FALSE;
    log_debug(LOG_HERE, "TSM: read from helper");
    char answer[kLineSize];
    const DWORD count = ReadAnswer(read_end, answer);
    if (count == 0) return FALSE;
    answer[count] = '\0';
    if (BeginsWith(answer, "OK")) {
        log_debug(LOG_HERE, "TSM: received OK from helper");
        return TRUE;
    }
    if (BeginsWith(answer, "ERROR")) {
        log_debug(LOG_HERE, "TSM: received ERROR from helper");
    } else {
        log_debug(LOG_HERE, "TSM: did NOT receive valid response from helper: %s", answer);
    }
    return FALSE;
}

// -- The full exchange -----------------------------------------------------------------------------------------------

namespace {

// One exchange: the bits its "WAIT" answers have set so far, and the answer being looked at.
struct Exchange {
    PortEntry* port;
    DWORD job_bits = 0;
    DWORD printer_bits = 0;
    int retries = kUnreadableRetries;
    char answer[kLineSize] = "";
    DWORD count = 0;
};

enum class Next { read_on, succeed, fail };

// The rest of the buffer is X, so that the log shows where an unreadable answer ended.
bool ReadNext(Exchange* exchange) {
    memset(exchange->answer, 'X', sizeof exchange->answer - 1);
    exchange->answer[sizeof exchange->answer - 1] = '\0';
    exchange->count = ReadAnswer(exchange->port->hw_check.std_out_rd, exchange->answer);
    return exchange->count > 0;
}

void ShowBits(Exchange* exchange, DWORD job_bits, DWORD printer_bits) {
    PortEntry* const port = exchange->port;
    if (UpdateJobStatusBits(port->printer_handle, port->job_id, exchange->job_bits, job_bits)) {
        exchange->job_bits = job_bits;
    }
    if (UpdatePrinterStatusBits(port->printer_handle, exchange->printer_bits, printer_bits)) {
        exchange->printer_bits = printer_bits;
    }
}

void RemoveBits(Exchange* exchange) {
    ShowBits(exchange, 0, 0);
}

// The text between the first two double quotes behind "ERROR="; false when there is none.
bool ExtractErrorText(const char* answer, char (&text)[kLineSize]) {
    const char* const mark = strstr(answer, "ERROR=");
    const char* const begin = mark != nullptr ? strchr(mark, '"') : nullptr;
    const char* const end = begin != nullptr ? strchr(begin + 1, '"') : nullptr;
    if (end == nullptr) return false;
    const auto length = static_cast<size_t>(end - begin - 1);
    memcpy(text, begin + 1, length);
    text[length] = '\0';
    return true;
}

bool IsJobBeingDeleted(const PortEntry* port) {
    DWORD status = 0;
    if (!GetJobStatus(port->printer_handle, port->job_id, &status)) {
        log_error_last_error(LOG_HERE, "TSM: unable to get job status for job %d", port->job_id);
        return false;
    }
    return (status & (JOB_STATUS_DELETING | JOB_STATUS_DELETED)) != 0;
}

Next AbandonDeletedJob(Exchange* exchange) {
    log_debug(LOG_HERE, "TSM: abandon waiting for response for job because job is deleting/deleted");
    if (!WriteText(exchange->port->hw_check.std_in_wr, "STOP\n")) {
        log_error_last_error(LOG_HERE, "TSM: unable to write STOP response to WAIT from the helper");
    }
    RemoveBits(exchange);
    return Next::fail;
}

Next HandleWait(Exchange* exchange) {
    log_debug(LOG_HERE, "TSM: received WAIT from helper");
    char error_text[kLineSize] = "";
    if (ExtractErrorText(exchange->answer, error_text)) {
        log_debug(LOG_HERE, "TSM: extracted wait error string = \"%s\"", error_text);
    }
    ShowBits(exchange, JobStatusFromErrorText(error_text), PrinterStatusFromErrorText(error_text));
    if (IsJobBeingDeleted(exchange->port)) return AbandonDeletedJob(exchange);
    if (WriteText(exchange->port->hw_check.std_in_wr, "OK\n")) return Next::read_on;
    log_error_last_error(LOG_HERE, "TSM: unable to write OK response to WAIT from the helper");
    return Next::fail;
}

// An unknown answer may be the first part of a known one.
Next HandleUnreadable(Exchange* exchange) {
    log_debug(LOG_HERE, "TSM: did NOT receive valid response from helper (nbytes = %d): \"%s\"", exchange->count,
              exchange->answer);
    if (exchange->answer[exchange->count - 1] == '\n' || exchange->retries == 0) {
        log_debug(LOG_HERE, "TSM: give up due to bad response string");
        return Next::fail;
    }
    --exchange->retries;
    Sleep(kRetryPauseMs);
    log_debug(LOG_HERE, "TSM: try reading again");
    return Next::read_on;
}

Next HandleAnswer(Exchange* exchange, uint32_t* delete_job) {
    const char* const answer = exchange->answer;
    if (BeginsWith(answer, "OK")) {
        log_debug(LOG_HERE, "TSM: received OK from helper");
        RemoveBits(exchange);
        return Next::succeed;
    }
    if (BeginsWith(answer, "DELETE")) {
        log_debug(LOG_HERE, "TSM: received DELETE from helper");
        if (delete_job != nullptr) *delete_job = 1;
        RemoveBits(exchange);
        return Next::succeed;
    }
    if (BeginsWith(answer, "WAIT")) return HandleWait(exchange);
    if (BeginsWith(answer, "ERROR")) {
        log_debug(LOG_HERE, "TSM: received ERROR from helper");
        return Next::fail;
    }
    return HandleUnreadable(exchange);
}

}  // namespace

BOOL SendHelperCommandAndWait(PortEntry* port, const char* name, const char* value, uint32_t* delete_job) {
    if (delete_job != nullptr) *delete_job = 0;
    if (!WriteCommand(port->hw_check.std_in_wr, name, value)) return FALSE;
    log_debug(LOG_HERE, "TSM: read from helper");
    Exchange exchange{port};
    for (;;) {
        if (!ReadNext(&exchange)) return FALSE;
        const Next next = HandleAnswer(&exchange, delete_job);
        if (next != Next::read_on) return next == Next::succeed ? TRUE : FALSE;
    }
}

}  // namespace tsmon
