#include "winportmon/tsmon/tsmon_document.h"

#include <cstdlib>
#include <cstring>

#include "common/enc.h"
#include "common/global.h"
#include "common/log.h"
#include "common/notapproved_file.h"
#include "common/tessaron.h"
#include "winportmon/tsmon/forceattr.h"
#include "winportmon/tsmon/hwcheck.h"
#include "winportmon/tsmon/identity.h"
#include "winportmon/tsmon/tsmon_ports.h"
#include "winportmon/tsmon/util_connection.h"
#include "winportmon/tsmon/util_writer.h"

namespace tsmon {

// -- StartDocPort ----------------------------------------------------------------------------------------------------

namespace {

// Takes the document's own copy of the configuration, too.
void EnterDocument(PortEntry* port) {
    const MonitorLockGuard lock;
    CopyConfigForDocument(port);
    port->flags |= kPortInDocument;
}

void LeaveDocument(PortEntry* port) {
    const MonitorLockGuard lock;
    port->flags &= ~kPortInDocument;
}

void ResetDocument(PortEntry* port, const WCHAR* full_name, DWORD job_id, DWORD start_tick) {
    port->not_approved = 0;
    port->marked_for_deletion = 0;
    port->hw_check.active = 0;
    port->force_attr.active = 0;
    port->initial_write_size = 0;
    if (session_context.is_printing_based_on_port_monitor != 0) {
        HpcJobRecord& record = port->hpc_job_record;
        record.printer_name[0] = '\0';
        if (full_name != nullptr) enc_wide_to_utf8(record.printer_name, sizeof record.printer_name, full_name);
        record.job_id = job_id;
        record.write_count = 0;
    }
    port->write_stats = WriteStats{};
    port->write_stats.start_tick = start_tick;
    port->job_id = job_id;
    util_snprintf(port->job_id_text, sizeof port->job_id_text, "%d", job_id);
}

void LogStart(const WCHAR* full_name, DWORD job_id) {
    const HANDLE token = RevertForLogging();
    log_debug(LOG_HERE, "TSM Start Doc Port - pFullPrinterName: \"%S\", JobId: %d, Version: %s (%s)", full_name, job_id,
              TSM_VERSION, PRODUCT_NAME);
    ImpersonateForLogging(token);
}

void ClosePrinterHandle(PortEntry* port) {
    if (port->printer_handle != nullptr) ClosePrinter(port->printer_handle);
    port->printer_handle = nullptr;
}

void FreeNames(PortEntry* port) {
    if (port->printer_name != nullptr) GlobalFree(port->printer_name);
    if (port->server_name != nullptr) GlobalFree(port->server_name);
    free(port->printer_name_utf8);
    port->printer_name = nullptr;
    port->server_name = nullptr;
    port->printer_name_utf8 = nullptr;
}

// Leaves the last error of a failed open.
bool OpenPrinterOf(PortEntry* port, LPWSTR full_name) {
    PRINTER_DEFAULTSW defaults = {};
    defaults.DesiredAccess = PRINTER_ALL_ACCESS;
    if (OpenPrinterW(full_name, &port->printer_handle, &defaults)) return true;
    port->printer_handle = nullptr;
    log_failure_last_error(IsFirstFailure(port), LOG_HERE, "TSM Start Doc Port open printer failed");
    return false;
}

// The printer in the spooler, opened as the spooler itself.
bool OpenDocumentPrinter(PortEntry* port, LPWSTR full_name) {
    {
        const SpoolerIdentity as_spooler(
            SpoolerIdentity::unless_done,
            {.revert_failed = LOG_TEXT("TSM: Unable to RevertToPrinterSelf. Try OpenPrinter without impersonation."),
             .impersonate_failed = LOG_TEXT("TSM: Unable to ImpersonatePrinterClient"),
             .announcement = LOG_TEXT("TSM: reverting to printer self")});
        if (!OpenPrinterOf(port, full_name)) return false;
    }
    log_dev(LOG_HERE, "TSM: Opened Printer");
    return true;
}

bool IsNotApproved(const WCHAR* full_name, DWORD job_id) {
    if (session_context.notapproved_file_checking == 0) {
        log_debug(LOG_HERE, "TSM Start Doc Port - notapproved file checking is disabled");
        return false;
    }
    log_debug(LOG_HERE, "TSM Start Doc Port - checking if notapproved file exists for JobId: %d", job_id);
    log_debug(LOG_HERE, "TSM Start Doc Port - notapproved path: %s", session_context.notapproved_jobs_spool_dir_path);
    if (!notapproved_file_exists(job_id)) return false;
    log_info(
        LOG_HERE,
        "Tessaron TCP/IP Port has detected that job %d on printer \"%S\" has been resumed outside of %s's control. "
        "Printing of this job will be prevented.",
        job_id, full_name, PRODUCT_NAME);
    log_debug(LOG_HERE, "TSM Start Doc Port - abandon as JobId: %d has an associated notapproved file", job_id);
    return true;
}

bool ConnectDocument(PortEntry* port) {
    if (ConnectToPrinter(&port->document_config, &port->socket, session_context.debug_logging)) return true;
    const FieldText address(port->document_config.printer_address);
    log_failure(IsFirstFailure(port), LOG_HERE, "TSM Start Doc Port failed to connect to printer address: %S",
                address.text);
    return false;
}

// The job's data goes into a file when it is to be rewritten; otherwise, and when that cannot be, straight to the
// printer.
void PrepareForceAttr(PortEntry* port) {
    if (!CheckForceAttrNeeded(port) || CreateForceAttrFiles(port)) return;
    log_error(LOG_HERE,
              "Could not create temporary spool file. Cannot rewrite spool file to perform force attributes or "
              "watermarking.");
    port->force_attr.active = 0;
    DeleteForceAttrFiles(port);
    CloseForceAttrFiles(port);
}

// The result of a start. A refused document continues without a connection: its data is discarded, and EndDocPort
// reports it as printed.
enum class StartResult { printing, refused, failed };

StartResult CheckAndConnect(PortEntry* port) {
    uint32_t helper_failed = 0;
    const BOOL helper_runs = HwCheckStartDoc(port, &helper_failed);
    if (port->marked_for_deletion != 0) {
        log_debug(LOG_HERE, "TSM Start Doc Port - abandon as JobId: %d has been marked for deletion.", port->job_id);
        return StartResult::refused;
    }
    if (!ConnectDocument(port)) {
        if (helper_runs) {
            log_debug(LOG_HERE, "TSM: helper started but other failure and so end the helper");
            HwCheckEnd(port);
        }
        return StartResult::failed;
    }
    if (helper_failed != 0) {
        log_debug(LOG_HERE, "TSM: helper failed 1st time but port connected to printer, try helper one more time");
        HwCheckStartDoc(port, nullptr);
    }
    PrepareForceAttr(port);
    return StartResult::printing;
}

StartResult StartDocument(PortEntry* port, LPWSTR full_name) {
    if (!ExtractPrinterFields(port, full_name)) {
        log_failure_last_error(IsFirstFailure(port), LOG_HERE, "TSM Start Doc error in extracting printer fields");
        return StartResult::failed;
    }
    if (!OpenDocumentPrinter(port, full_name)) return StartResult::failed;
    if (IsNotApproved(full_name, port->job_id)) {
        port->not_approved = 1;
        return StartResult::refused;
    }
    return CheckAndConnect(port);
}

}  // namespace

BOOL WINAPI StartDocPort(HANDLE handle, LPWSTR printer_name, DWORD job_id, DWORD, LPBYTE) {
    auto* const port = static_cast<PortEntry*>(handle);
    const HANDLE token = RevertAsConfigured();
    const DWORD start_tick = GetTickCount();
    const bool already_started = IsInDocument(port);
    if (!already_started) ResetDocument(port, printer_name, job_id, start_tick);
    LogStart(printer_name, job_id);
    if (already_started) {
        // The document in progress is not affected: it can still be written and ended.
        log_debug(LOG_HERE, "TSM: already in startdoc and returning true");
        ImpersonateAsConfigured(token);
        return TRUE;
    }
    EnterDocument(port);
    port->printer_handle = nullptr;
    const StartResult result = StartDocument(port, printer_name);
    if (result == StartResult::failed) {
        LeaveDocument(port);
        ClosePrinterHandle(port);
    }
    if (result != StartResult::printing) FreeNames(port);
    port->write_stats.start_duration = GetTickCount() - start_tick;
    ImpersonateAsConfigured(token);
    return result != StartResult::failed ? TRUE : FALSE;
}

// -- Names -----------------------------------------------------------------------------------------------------------

namespace {

WCHAR* CopyText(const WCHAR* text, size_t length) {
    auto* const copy = static_cast<WCHAR*>(GlobalAlloc(GPTR, (length + 1) * sizeof(WCHAR)));
    if (copy != nullptr) memcpy(copy, text, length * sizeof(WCHAR));
    return copy;
}

size_t LengthOf(const WCHAR* text) {
    return util_wcsnlen(text, SIZE_MAX);
}

// The backslash between server and printer; null when there is none.
const WCHAR* FindSeparator(const WCHAR* server) {
    while (*server != 0 && *server != W('\\')) ++server;
    return *server != 0 ? server : nullptr;
}

bool CopyClusterNames(PortEntry* port, const WCHAR* full_name, const WCHAR* server, const WCHAR* separator) {
    port->server_name = CopyText(server, static_cast<size_t>(separator - server));
    if (port->server_name == nullptr) return false;
    port->printer_name = CopyText(separator + 1, LengthOf(separator + 1));
    if (port->printer_name == nullptr) {
        FreeNames(port);
        return false;
    }
    log_debug(LOG_HERE,
              "TSM Detected cluster printername - fullname = \"%S\", servername = \"%S\", printername = \"%S\"",
              full_name, port->server_name, port->printer_name);
    return true;
}

bool CopyNames(PortEntry* port, const WCHAR* full_name) {
    if (full_name[0] == W('\\') && full_name[1] == W('\\')) {
        const WCHAR* const server = full_name + 2;
        const WCHAR* const separator = FindSeparator(server);
        if (separator != nullptr) return CopyClusterNames(port, full_name, server, separator);
        log_debug(LOG_HERE, "TSM detected cluster prefix but not backslash before printer name");
    }
    log_debug(LOG_HERE, "TSM detected normal printer name: \"%S\"", full_name);
    port->printer_name = CopyText(full_name, LengthOf(full_name));
    return port->printer_name != nullptr;
}

}  // namespace

BOOL ExtractPrinterFields(PortEntry* port, const WCHAR* full_name) {
    FreeNames(port);
    if (full_name == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    if (!CopyNames(port, full_name)) return FALSE;
    enc_wide_to_utf8_alloc(&port->printer_name_utf8, port->printer_name);
    return TRUE;
}

// -- WritePort -------------------------------------------------------------------------------------------------------

namespace {

// The statistics' slot of this call; null from the 21st call on.
WriteSlot* CountWrite(WriteStats* stats, DWORD size) {
    WriteSlot* const slot = stats->write_count < kWriteSlots ? &stats->slots[stats->write_count] : nullptr;
    if (slot != nullptr) slot->bytes = size;
    ++stats->write_count;
    stats->total_bytes += size;
    return slot;
}

BOOL SpoolBuffer(PortEntry* port, const BYTE* data, DWORD size, DWORD* written) {
    const char* const name = port->force_attr.input.name;
    if (!AppendFile("input", &port->force_attr.input, data, size, written)) {
        log_error(LOG_HERE, "TSM Write Port: failed to send data to force attr file: \"%s\"", name);
        return FALSE;
    }
    log_debug(LOG_HERE, "TSM Write Port: given %u bytes and sent %u bytes to force attr file: \"%s\"", size, *written,
              name);
    return TRUE;
}

BOOL RouteBuffer(PortEntry* port, const BYTE* data, DWORD size, DWORD* written) {
    if (port->not_approved != 0) {
        log_debug(LOG_HERE, "TSM Write Port - abandon as JobId: %d has an associated notapproved file", port->job_id);
        *written = size;
        return TRUE;
    }
    if (port->marked_for_deletion != 0) {
        log_debug(LOG_HERE, "TSM Write Port - abandon as JobId: %d has been marked for deletion", port->job_id);
        *written = size;
        return TRUE;
    }
    if (port->initial_write_size == 0) {
        log_debug(LOG_HERE, "TSM Write Port: noting initial buf size of %d", size);
        port->initial_write_size = size;
    }
    if (port->force_attr.active != 0) return SpoolBuffer(port, data, size, written);
    BOOL restart_requested = FALSE;
    return TsmWriteToPrinter(port, "Write Port", data, size, written, &restart_requested);
}

}  // namespace

BOOL WINAPI WritePort(HANDLE handle, LPBYTE data, DWORD size, LPDWORD written) {
    auto* const port = static_cast<PortEntry*>(handle);
    const HANDLE token = RevertAsConfigured();
    const DWORD begin = GetTickCount();
    WriteSlot* const slot = CountWrite(&port->write_stats, size);
    const HANDLE logging_token = RevertForLogging();
    log_debug(LOG_HERE, "TSM Write Port: buf count = %d", size);
    ImpersonateForLogging(logging_token);

    const BOOL result = RouteBuffer(port, data, size, written);
    const DWORD error = result ? ERROR_SUCCESS : GetLastError();

    ImpersonateAsConfigured(token);
    const DWORD duration = GetTickCount() - begin;
    port->write_stats.total_write_duration += duration;
    if (slot != nullptr) {
        log_debug(LOG_HERE, "Duration = %d", duration);
        slot->duration = duration;
    }
    if (!result) SetLastError(error);
    return result;
}

BOOL WINAPI ReadPort(HANDLE, LPBYTE, DWORD, LPDWORD) {
    log_debug(LOG_HERE, "TSM Read Port");
    return FALSE;
}

// -- EndDocPort ------------------------------------------------------------------------------------------------------

namespace {

void EndNotApproved(const PortEntry* port) {
    log_debug(LOG_HERE, "TSM End Doc Port - abandon as JobId: %d has an associated notapproved file", port->job_id);
    const SpoolerIdentity as_spooler(
        SpoolerIdentity::unless_done,
        {.revert_failed =
             LOG_TEXT("TSM End Doc: unable to RevertToPrinterSelf. Try notapproved deletion without impersonation."),
         .impersonate_failed = LOG_TEXT("TSM End Doc: unable to ImpersonatePrinterClient")});
    notapproved_file_delete(port->job_id);
}

void LogStatistics(const PortEntry* port, DWORD end_tick) {
    if (session_context.debug_logging == 0) return;
    const DWORD now = GetTickCount();
    const WCHAR* const name = port->printer_name;
    const WriteStats& stats = port->write_stats;
    log_debug(LOG_HERE, "TSM EndDoc: printer: %S, jobid: %d, Start %d ms", name, port->job_id, stats.start_duration);
    log_debug(LOG_HERE, "TSM EndDoc: printer: %S, jobid: %d, Writes %d, total duration %d ms, total size %d bytes",
              name, port->job_id, stats.write_count, stats.total_write_duration, stats.total_bytes);
    for (uint32_t i = 0; i < stats.write_count && i < kWriteSlots; ++i) {
        log_debug(LOG_HERE, "TSM EndDoc: printer: %S, jobid: %d, write[%d/%d] = %d ms %d bytes", name, port->job_id,
                  i + 1, stats.write_count, stats.slots[i].duration, stats.slots[i].bytes);
    }
    log_debug(LOG_HERE, "TSM EndDoc: printer: %S, jobid: %d, End %d ms", name, port->job_id, now - end_tick);
    log_debug(LOG_HERE, "TSM EndDoc: printer: %S, jobid: %d, Total %d ms", name, port->job_id, now - stats.start_tick);
}

void ReleaseForceAttr(PortEntry* port) {
    if (port->force_attr.active == 0) return;
    DeleteForceAttrFiles(port);
    CloseForceAttrFiles(port);
}

// Only a helper that was tried a second time can drop a job whose connection is up already.
void EndDropped(PortEntry* port) {
    log_debug(LOG_HERE, "TSM End Doc Port - abandon as JobId: %d is marked for deletion.", port->job_id);
    if (port->socket != INVALID_SOCKET) CleanupSocket(&port->socket);
    ReleaseForceAttr(port);
    FreeNames(port);
}

BOOL SendRewritten(PortEntry* port) {
    if (SendForceAttrData(port)) {
        log_debug(LOG_HERE, "TSM: successfully sent force attr data");
        return TRUE;
    }
    log_error(LOG_HERE, "TSM: failed to send force attr data");
    return FALSE;
}

BOOL EndPrinted(PortEntry* port, DWORD end_tick) {
    const BOOL result = port->force_attr.active != 0 ? SendRewritten(port) : TRUE;
    if (port->socket != INVALID_SOCKET) CleanupSocket(&port->socket, result != FALSE);
    HwCheckEndDoc(port);
    ReleaseForceAttr(port);
    LogStatistics(port, end_tick);
    FreeNames(port);
    return result;
}

BOOL EndDocument(PortEntry* port, DWORD end_tick) {
    if (port->not_approved != 0) {
        EndNotApproved(port);
    } else if (port->marked_for_deletion != 0) {
        EndDropped(port);
    } else if (IsInDocument(port)) {
        return EndPrinted(port, end_tick);
    } else {
        log_debug(LOG_HERE, "TSM: in End Doc but startdoc flag not set and returning true");
    }
    return TRUE;
}

}  // namespace

BOOL WINAPI EndDocPort(HANDLE handle) {
    auto* const port = static_cast<PortEntry*>(handle);
    const HANDLE token = RevertAsConfigured();
    const DWORD end_tick = GetTickCount();
    const HANDLE logging_token = RevertForLogging();
    log_rotate(static_cast<uint32_t>(session_context.log_rotate_number), log_rotate_limit());
    log_debug(LOG_HERE, "TSM End Doc Port");
    ImpersonateForLogging(logging_token);

    const BOOL result = EndDocument(port, end_tick);
    log_debug(LOG_HERE, "TSM End Doc Port completed - return %d", result);
    port->flags &= ~kPortInDocument;
    if (result && port->printer_handle != nullptr) {
        SetJobW(port->printer_handle, port->job_id, 0, nullptr, JOB_CONTROL_SENT_TO_PRINTER);
    }
    ClosePrinterHandle(port);
    ImpersonateAsConfigured(token);
    return result;
}

void AbandonDocument(PortEntry* port) {
    if (port->socket != INVALID_SOCKET) CleanupSocket(&port->socket);
    HwCheckCloseHandles(port);
    AbandonForceAttrFiles(port);
    FreeNames(port);
    ClosePrinterHandle(port);
}

}  // namespace tsmon
