#include "winportmon/tsmon/util_writer.h"

#include "common/global.h"
#include "common/log.h"
#include "common/serialize_names.h"
#include "winportmon/tsmon/identity.h"
#include "winportmon/tsmon/tsmon_ports.h"
#include "winportmon/tsmon/util_connection.h"

namespace tsmon {
namespace {

// The restart counts as requested whatever the spooler answers; a refusal is an error once for each job.
void RequestRestart(PortEntry* port, const char* caller, BOOL* restart_requested) {
    *restart_requested = TRUE;
    if (SetJobW(port->printer_handle, port->job_id, 0, nullptr, JOB_CONTROL_RESTART)) return;
    log_failure_last_error(port->refused_restart_job != port->job_id, LOG_HERE,
                           "TSM %s: the spooler refused to restart job %d", caller, port->job_id);
    port->refused_restart_job = port->job_id;
}

BOOL WriteOverConnection(PortEntry* port, const char* caller, const void* data, DWORD length, DWORD* written,
                         BOOL* restart_requested) {
    if (!SendToSocket(port->socket, data, length, written)) {
        if (port->force_attr.active != 0) {
            log_debug(LOG_HERE, "TSM %s: Doing force attributes, so signal job to restart.", caller);
            RequestRestart(port, caller, restart_requested);
        }
        CleanupSocket(&port->socket);
        log_failure(IsFirstFailure(port), LOG_HERE, "TSM %s: failed to send data to printer, close connection", caller);
        return FALSE;
    }
    if (*written == 0) {
        log_error(LOG_HERE, "TSM %s: send successful but wrote 0 bytes", caller);
        SetLastError(ERROR_TIMEOUT);
        return FALSE;
    }
    log_debug(LOG_HERE, "TSM %s: given %u bytes and sent %u bytes", caller, length, *written);
    if (session_context.is_printing_based_on_port_monitor != 0) {
        ++port->hpc_job_record.write_count;
        WriteHpcJobFile(caller, &port->hpc_job_record);
    }
    return TRUE;
}

// After a lost connection: if the printer accepts connections again, has the job restarted on a new one.
void ProbePrinter(PortEntry* port, const char* caller, BOOL* restart_requested) {
    if (!IsInDocument(port)) {  // a buffer without a document goes by the port's own configuration
        const MonitorLockGuard lock;
        CopyConfigForDocument(port);
    }
    if (!ConnectToPrinter(&port->document_config, &port->socket, session_context.debug_logging)) {
        log_debug(LOG_HERE, "TSM: %s: failed to reconnect", caller);
        return;
    }
    log_debug(LOG_HERE, "TSM: %s: invalid socket but reestablished connection and requested restart", caller);
    RequestRestart(port, caller, restart_requested);
    CleanupSocket(&port->socket);
}

void RewriteIfPresent(const char* caller, const HpcJobRecord* record) {
    const char* const directory = session_context.hpc_spool_dir_path;
    char name[kRecordNameSize];
    char path[kRecordPathSize];
    serialize_hpc_job_filename(name, sizeof name, record);
    if (!serialize_find_file(path, directory, name)) {
        log_debug(LOG_HERE,
                  "TSM %s - will not write hpc file as no longer exists for job %d (probably deleted by provider)",
                  caller, record->job_id);
    } else if (serialize_hpc_job_write(directory, record)) {
        log_debug(LOG_HERE, "TSM %s - wrote out hpc serialize file for job %d", caller, record->job_id);
    } else {
        log_debug(LOG_HERE, "TSM %s - failed to write out hpc serialize file for job %d", caller, record->job_id);
    }
}

}  // namespace

BOOL TsmWriteToPrinter(PortEntry* port, const char* caller, const void* data, DWORD length, DWORD* written,
                       BOOL* restart_requested) {
    *restart_requested = FALSE;
    log_debug(LOG_HERE, "TSM: %s: write data to printer of size %d", caller, length);
    if (port->socket != INVALID_SOCKET) {
        return WriteOverConnection(port, caller, data, length, written, restart_requested);
    }
    ProbePrinter(port, caller, restart_requested);
    return FALSE;
}

void WriteHpcJobFile(const char* caller, const HpcJobRecord* record) {
    const SpoolerIdentity as_spooler(
        SpoolerIdentity::unless_done,
        {.revert_failed = LOG_TEXT("TSM: Unable to RevertToPrinterSelf for hpc spool file"),
         .impersonate_failed = LOG_TEXT("TSM: Unable to ImpersonatePrinterClient")});
    RewriteIfPresent(caller, record);
}

}  // namespace tsmon
