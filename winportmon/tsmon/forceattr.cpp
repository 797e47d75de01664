#include "winportmon/tsmon/forceattr.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "common/global.h"
#include "common/log.h"
#include "common/os.h"
#include "common/serialize_job.h"
#include "common/serialize_msf.h"
#include "common/util.h"
#include "winportmon/tsmon/helper.h"
#include "winportmon/tsmon/helper_protocol.h"
#include "winportmon/tsmon/identity.h"
#include "winportmon/tsmon/util_writer.h"

namespace tsmon {
namespace {

constexpr const char* kInput = "input";
constexpr const char* kOutput = "output";
constexpr size_t kFileNameBufferSize = 261;  // allocated for a name
constexpr size_t kFileNameSize = 260;        // of it used, terminator included
constexpr DWORD kLeastPipeSize = 65535;
constexpr DWORD kLeastForwardSize = 1024;  // no forwarding buffer is as small as this

bool KeepsFiles() {
    return session_context.forceattr_debug != 0;
}

}  // namespace

uint32_t CheckForceAttrNeeded(PortEntry* port) {
    const char* const printer_name = port->printer_name_utf8;
    log_debug(LOG_HERE, "TSM: checking force attr");
    log_debug(LOG_HERE, "TSM: checking if force attr needed for JobId: \"%s\"", port->job_id_text);
    port->force_attr.active = 0;
    log_debug(LOG_HERE, "TSM: reading msf file for printer %s and JobId: %s", printer_name, port->job_id_text);
    MsfRecord record;
    if (printer_name != nullptr &&
        serialize_msf_readin(session_context.forceattr_spool_dir_path, printer_name, port->job_id_text, &record)) {
        port->force_attr.active = 1;
        log_debug(LOG_HERE, "TSM: detected force attributes on for printer %s and JobId: %d", printer_name,
                  port->job_id);
    } else {
        log_debug(LOG_HERE, "TSM: detected force attributes off for printer %s and JobId: %d", printer_name,
                  port->job_id);
    }
    return port->force_attr.active;
}

// -- Work files ------------------------------------------------------------------------------------------------------

namespace {

// Closes the stream, if there is one; false when that fails. Leaves the error, that of an earlier loss first.
bool CloseStream(WorkFile* file) {
    const bool closed = file->stream == nullptr || fclose(file->stream) == 0;
    file->stream = nullptr;
    if (file->loss != 0) SetLastError(file->loss);
    return closed;
}

}  // namespace

BOOL CreateForceAttrFiles(PortEntry* port) {
    log_debug(LOG_HERE, "TSM: create force attribute spool files");
    const SpoolerIdentity as_spooler(
        SpoolerIdentity::always,
        {.revert_failed = LOG_TEXT("TSM: unable to RevertToPrinterSelf. Try continuing without impersonation."),
         .impersonate_failed = LOG_TEXT("TSM: unable to ImpersonatePrinterClient")});
    ForceAttrState& state = port->force_attr;
    if (!CreateForceAttrFile(port, kInput, &state.input)) return FALSE;
    if (!KeepsFiles() || CreateForceAttrFile(port, kOutput, &state.output)) return TRUE;
    os_file_delete(state.input.name);
    CloseForceAttrFile(kInput, &state.input);
    return FALSE;
}

BOOL CreateForceAttrFile(PortEntry* port, const char* kind, WorkFile* file) {
    log_dev(LOG_HERE, "TSM: CreateForceAttrFile");
    *file = WorkFile{};
    file->name = static_cast<char*>(calloc(1, kFileNameBufferSize));
    if (file->name == nullptr) return FALSE;
    const char* const printer_name = port->printer_name_utf8;
    const int length = util_snprintf(file->name, kFileNameSize, "%s\\%s-%s-%d.dat",
                                     session_context.forceattr_spool_dir_path, kind, printer_name, port->job_id);
    // A cut name would be another file's, and one with a separator in it a file outside of the directory.
    if (length >= static_cast<int>(kFileNameSize)) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
    } else if (printer_name != nullptr && strpbrk(printer_name, "\\/:") != nullptr) {
        SetLastError(ERROR_INVALID_NAME);
    } else {
        file->stream = os_fopen(file->name, "wb");
    }
    if (file->stream == nullptr) {
        log_error_last_error(LOG_HERE, "TSM: unable to create force attributes %s file \"%s\"", kind, file->name);
        free(file->name);
        file->name = nullptr;
        return FALSE;
    }
    log_debug(LOG_HERE, "TSM: successfully created force attr %s file: %s", kind, file->name);
    return TRUE;
}

BOOL AppendFile(const char* kind, WorkFile* file, const void* data, DWORD length, DWORD* written) {
    if (file->stream == nullptr) return FALSE;
    *written = 0;
    if (file->loss == 0) {
        SetLastError(ERROR_SUCCESS);  // a loss may leave none
        *written = static_cast<DWORD>(fwrite(data, 1, length, file->stream));
        if (*written == length && ferror(file->stream) == 0) return TRUE;
        file->loss = util_last_error_or(ERROR_WRITE_FAULT);
    }
    SetLastError(file->loss);
    log_error_last_error(LOG_HERE, "TSM: unable to write entire buffer. Only wrote %d bytes to force attr %s file",
                         *written, kind);
    return FALSE;
}

BOOL DeleteForceAttrFiles(PortEntry* port) {
    if (KeepsFiles()) return TRUE;
    log_debug(LOG_HERE, "TSM: delete force attributes files");
    const SpoolerIdentity as_spooler(
        SpoolerIdentity::always,
        {.revert_failed = LOG_TEXT("TSM: DeleteForceAttrFiles unable to RevertToPrinterSelf."),
         .impersonate_failed = LOG_TEXT("TSM: DeleteForceAttrFiles unable to ImpersonatePrinterClient")});
    const ForceAttrState& state = port->force_attr;
    const char* const directory = session_context.forceattr_spool_dir_path;
    const char* const printer_name = port->printer_name_utf8;
    BOOL result = TRUE;
    if (state.input.name != nullptr && !os_file_delete(state.input.name)) {
        log_error_last_error(LOG_HERE, "TSM: Unable to delete force attr spool path: %s", state.input.name);
        result = FALSE;
    }
    if (state.output.name != nullptr && !os_file_delete(state.output.name)) {
        log_error_last_error(LOG_HERE, "TSM: Unable to delete force attr output path: %s", state.output.name);
        result = FALSE;
    }
    if (!serialize_job_delete(directory, printer_name, port->job_id_text)) {
        log_error_last_error(LOG_HERE, "TSM: Unable to delete force attr job file");
        result = FALSE;
    }
    if (!serialize_msf_delete(directory, printer_name, port->job_id_text)) {
        log_error_last_error(LOG_HERE, "TSM: Unable to delete force attr msf file");
        result = FALSE;
    }
    return result;
}

namespace {

void AbandonFile(const char* kind, WorkFile* file) {
    if (file->name == nullptr) return;
    char path[kFileNameSize];
    util_strncpy(path, file->name, sizeof path);
    CloseForceAttrFile(kind, file);
    if (!KeepsFiles() && !os_file_delete(path)) {
        log_error_last_error(LOG_HERE, "TSM: Unable to delete force attr spool path: %s", path);
    }
}

}  // namespace

void AbandonForceAttrFiles(PortEntry* port) {
    ForceAttrState& state = port->force_attr;
    if (state.input.name == nullptr && state.output.name == nullptr) return;
    const SpoolerIdentity as_spooler(SpoolerIdentity::always,
                                     {.impersonate_failed = LOG_TEXT("TSM: Unable to ImpersonatePrinterClient")});
    AbandonFile(kInput, &state.input);
    AbandonFile(kOutput, &state.output);
}

void CloseForceAttrFile(const char* kind, WorkFile* file) {
    if (!CloseStream(file)) log_error_last_error(LOG_HERE, "TSM: Unable to close force attr %s file", kind);
    free(file->name);
    file->name = nullptr;
}

void CloseForceAttrFiles(PortEntry* port) {
    ForceAttrState& state = port->force_attr;
    CloseForceAttrFile(kInput, &state.input);
    if (KeepsFiles()) CloseForceAttrFile(kOutput, &state.output);
}

// -- The conversation ------------------------------------------------------------------------------------------------

namespace {

constexpr HelperLines kLines = {
    .create_std_out = LOG_TEXT("TSM: Failed to create Stdout CreatePipe"),
    .keep_std_out = LOG_TEXT("TSM: Failed to set Stdout SetHandleInformation"),
    .create_std_in = LOG_TEXT("TSM: Failed to create Stdin CreatePipe"),
    .keep_std_in = LOG_TEXT("TSM: Failed to set Stdin SetHandleInformation"),
    .create_process = LOG_TEXT("TSM: Failed to create child process"),
    .close_std_out_rd = LOG_TEXT("TSM: forceattr StdOutRd CloseHandle failure"),
    .close_std_out_wr = LOG_TEXT("TSM: forceattr StdOutWr CloseHandle failure"),
    .close_std_in_rd = LOG_TEXT("TSM: forceattr StdInRd CloseHandle failure"),
    .close_std_in_wr = LOG_TEXT("TSM: forceattr StdInWr CloseHandle failure"),
    .close_process = LOG_TEXT("TSM: forceattr process CloseHandle failure"),
    .close_thread = LOG_TEXT("TSM: forceattr thread CloseHandle failure"),
    .omit_error_text = false,
};

bool Send(const HelperHandles& helper, const char* name, const char* value) {
    return SendHelperCommand(helper.std_out_rd, helper.std_in_wr, name, value) != FALSE;
}

// Tells the helper what to rewrite; false, with its line, when it does not take it.
bool RequestRewrite(PortEntry* port, const HelperHandles& helper) {
    const char* const printer_name = port->printer_name_utf8;
    const char* const input_name = port->force_attr.input.name;
    if (!Send(helper, "printername", printer_name)) {
        log_error(LOG_HERE, "TSM: Failed printername command in helper");
        return false;
    }
    // Completes the file on disk; nothing is written to it afterwards.
    if (!CloseStream(&port->force_attr.input) || port->force_attr.input.loss != 0) {
        log_error_last_error(LOG_HERE, "TSM: Unable to close force attr spool file");
        return false;
    }
    if (!Send(helper, "spoolfile", input_name)) {
        log_error(LOG_HERE, "TSM: Failed spoolfile command in helper: \"%s\"", input_name);
        return false;
    }
    if (!Send(helper, "jobid", port->job_id_text)) {
        log_error(LOG_HERE, "TSM: Failed jobid command in helper");
        return false;
    }
    if (!Send(helper, "forceattr", nullptr)) {
        log_error(LOG_HERE, "TSM: Failed forceattr command in helper");
        return false;
    }
    log_debug(LOG_HERE, "TSM: sent <%s, %s, %s, %s>", input_name, printer_name, port->job_id_text, "forceattr");
    return true;
}

BOOL RewriteAndForward(PortEntry* port, const HelperHandles& helper, DWORD pipe_size) {
    if (!RequestRewrite(port, helper)) return FALSE;
    const BOOL forwarded = RedirectDataToPrinter(port, helper.std_out_rd, pipe_size);
    if (!forwarded) log_error(LOG_HERE, "TSM: Failed to send on forceattr data");
    return forwarded;
}

}  // namespace

BOOL SendForceAttrData(PortEntry* port) {
    const DWORD pipe_size = std::max<DWORD>(port->initial_write_size, kLeastPipeSize);
    log_debug(LOG_HERE, "TSM: sending force attr data");
    if (port->force_attr.active == 0) {
        log_debug(LOG_HERE, "TSM: not using force attributes");
        return FALSE;
    }
    if (!CheckHelperCommandPath(port->monitor, FALSE)) {
        log_debug(LOG_HERE, "TSM: cannot find helper and so no force attributes");
        port->force_attr.active = 0;
        // The end of the document skips files that are not active; they stay on disk until the next start.
        CloseForceAttrFiles(port);
        return FALSE;
    }
    HelperHandles helper = {};
    BOOL result = FALSE;
    if (StartHelper(port->monitor, pipe_size, kLines, &helper)) result = RewriteAndForward(port, helper, pipe_size);
    CloseHelper(&helper, kLines);
    return result;
}

// -- Forwarding ------------------------------------------------------------------------------------------------------

namespace {

struct Forwarding {
    PortEntry* port;
    HANDLE read_end;
    char* buffer;
    DWORD size;
    uint64_t bytes_read = 0;
    uint64_t bytes_written = 0;
    uint64_t bytes_written_file = 0;
    uint64_t loop_counter = 0;
};

enum class Step { go_on, done, failed };

// The largest buffer that can be allocated; null, logged, when none can.
char* AllocateBuffer(DWORD* size) {
    const DWORD asked = *size;
    for (;;) {
        auto* const buffer = static_cast<char*>(calloc(1, *size));
        if (buffer != nullptr) return buffer;
        *size /= 2;
        if (*size <= kLeastForwardSize) {
            log_error(LOG_HERE, "TSM: Unable to allocate buffer to send data to printer. Orig size: %d, size: %d",
                      asked, *size);
            return nullptr;
        }
    }
}

// One blocking read; it ends when the helper closes its end.
Step ReadPiece(Forwarding* forwarding, DWORD* count) {
    log_debug(LOG_HERE, "TSM: About to read from pipe of size: %d", forwarding->size);
    *count = 0;
    const BOOL success = ReadFile(forwarding->read_end, forwarding->buffer, forwarding->size, count, nullptr);
    const DWORD error = GetLastError();
    forwarding->bytes_read += *count;
    log_debug(LOG_HERE,
              "TSM: read from pipe with result - dwRead = %d, success = %d, bytes_read = %I64d (loop_counter = %I64d)",
              *count, success, forwarding->bytes_read, forwarding->loop_counter);
    if (!success && error == ERROR_BROKEN_PIPE) {
        log_debug(LOG_HERE, "TSM: successfully read helper output, helper now exited and therefore broken pipe");
        return Step::done;
    }
    if (!success) {
        log_error_last_error(LOG_HERE, "TSM: read from helper failed");
        return Step::failed;
    }
    if (*count > 0) return Step::go_on;
    if (error == ERROR_HANDLE_EOF) {
        log_debug(LOG_HERE, "TSM: successfully read helper output");
        return Step::done;
    }
    log_error(LOG_HERE, "TSM: read from helper pipe returned early");
    return Step::failed;
}

void CopyPiece(Forwarding* forwarding, DWORD count) {
    DWORD written = 0;
    AppendFile(kOutput, &forwarding->port->force_attr.output, forwarding->buffer, count, &written);
    forwarding->bytes_written_file += written;
    log_debug(LOG_HERE, "TSM:  AppendFile: dwOutputWrites = %lu, bytes_written_file = %I64d (loop_counter = %I64d)",
              written, forwarding->bytes_written_file, forwarding->loop_counter);
}

// A send that takes a part of the piece is followed by another one for the rest.
Step SendPiece(Forwarding* forwarding, DWORD count) {
    for (DWORD sent = 0; sent < count;) {
        DWORD written = 0;
        BOOL restart_requested = FALSE;
        if (!TsmWriteToPrinter(forwarding->port, "forceattr", forwarding->buffer + sent, count - sent, &written,
                               &restart_requested)) {
            // A restarted job has not failed.
            return restart_requested ? Step::done : Step::failed;
        }
        sent += written;
        forwarding->bytes_written += written;
        log_debug(LOG_HERE, "TSM:  TsmWriteToPrinter: dwWrite = %lu, bytes_written = %I64d (loop_counter = %I64d)",
                  written, forwarding->bytes_written, forwarding->loop_counter);
    }
    ++forwarding->loop_counter;
    return Step::go_on;
}

Step ForwardPiece(Forwarding* forwarding) {
    DWORD count = 0;
    const Step read = ReadPiece(forwarding, &count);
    if (read != Step::go_on) return read;
    if (KeepsFiles()) CopyPiece(forwarding, count);
    return SendPiece(forwarding, count);
}

}  // namespace

BOOL RedirectDataToPrinter(PortEntry* port, HANDLE read_end, DWORD size) {
    Forwarding forwarding{port, read_end, AllocateBuffer(&size), size};
    Step step = forwarding.buffer != nullptr ? Step::go_on : Step::failed;
    while (step == Step::go_on) step = ForwardPiece(&forwarding);
    free(forwarding.buffer);
    log_debug(LOG_HERE,
              "TSM: Done RedirectDataToPrinter : bytes_read = %I64d, bytes_written = %I64d, bytes_written_file = %I64d "
              "(loop_counter = %I64d)",
              forwarding.bytes_read, forwarding.bytes_written, forwarding.bytes_written_file, forwarding.loop_counter);
    return step == Step::done ? TRUE : FALSE;
}

}  // namespace tsmon
