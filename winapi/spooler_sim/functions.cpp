#include "winapi/spooler_sim/functions.h"

#include <cstring>

#include "winapi/spooler_sim/channel.h"
#include "winapi/spooler_sim/state.h"

namespace spooler_sim {
namespace {

DWORD job_of(HANDLE handle, DWORD id, JobRecord*& job) {
    PrinterRecord* printer = nullptr;
    if (const DWORD error = printer_of(handle, printer)) return error;
    job = find_job(printer->name, id);
    return job == nullptr ? ERROR_INVALID_PARAMETER : 0;
}

void fill_job(const Job& job, BYTE* buffer, DWORD size) {
    auto* const info = reinterpret_cast<JOB_INFO_2W*>(buffer);
    std::memset(info, 0, sizeof *info);
    TextPacker texts(buffer, size);
    info->JobId = job.id;
    info->pPrinterName = texts.place(job.printer);
    info->pUserName = texts.place(job.user);
    info->pDocument = texts.place(job.document);
    info->Status = job.status;
    info->Priority = 1;
    info->Position = 1;
}

// Applies a command to a job's status word; false for an unknown command.
bool status_after(DWORD command, DWORD& status) {
    switch (command) {
        case 0:
            return true;
        case JOB_CONTROL_PAUSE:
            status |= JOB_STATUS_PAUSED;
            return true;
        case JOB_CONTROL_RESUME:
            status &= ~DWORD{JOB_STATUS_PAUSED};
            return true;
        case JOB_CONTROL_CANCEL:
        case JOB_CONTROL_DELETE:
            status |= JOB_STATUS_DELETING;
            return true;
        case JOB_CONTROL_RESTART:
            status = (status & ~DWORD{JOB_STATUS_PRINTED}) | JOB_STATUS_RESTART;
            return true;
        case JOB_CONTROL_SENT_TO_PRINTER:
            status = (status & ~DWORD{JOB_STATUS_PRINTING}) | JOB_STATUS_PRINTED;
            return true;
        default:
            return false;
    }
}

}  // namespace

DWORD open_printer(LPCWSTR name, HANDLE* printer, ACCESS_MASK access) {
    if (printer == nullptr) return ERROR_INVALID_PARAMETER;
    if (name == nullptr) return ERROR_INVALID_PRINTER_NAME;
    if (Text(name).find(W(",Xcv")) != Text::npos) return open_channel(name, access, printer);
    const std::lock_guard lock(state().mutex);
    const PrinterRecord* const registered = find_registered(name);
    if (registered == nullptr) return ERROR_INVALID_PRINTER_NAME;
    if ((access & PRINTER_ACCESS_ADMINISTER) != 0 && !state().administrator) return ERROR_ACCESS_DENIED;
    *printer = new_handle();
    state().open_printers[*printer] = {registered->name, access};
    return 0;
}

DWORD close_printer(HANDLE printer) {
    if (close_channel(printer)) return 0;
    const std::lock_guard lock(state().mutex);
    return state().open_printers.erase(printer) == 1 ? 0 : ERROR_INVALID_HANDLE;
}

DWORD get_job(HANDLE printer, DWORD id, DWORD level, BYTE* buffer, DWORD size, DWORD* needed) {
    if (needed == nullptr) return ERROR_INVALID_PARAMETER;
    if (level != 2) return ERROR_INVALID_LEVEL;
    if (buffer == nullptr && size != 0) return ERROR_INVALID_PARAMETER;
    const std::lock_guard lock(state().mutex);
    JobRecord* record = nullptr;
    if (const DWORD error = job_of(printer, id, record)) return error;
    const Job& job = record->job;
    *needed = static_cast<DWORD>(sizeof(JOB_INFO_2W)) + packed_size(job.printer) + packed_size(job.user) +
              packed_size(job.document);
    if (size < *needed) return ERROR_INSUFFICIENT_BUFFER;
    fill_job(job, buffer, size);
    return 0;
}

DWORD set_job(HANDLE printer, DWORD id, DWORD level, const BYTE* record, DWORD command) {
    if (level != 0 && level != 2) return ERROR_INVALID_LEVEL;
    if ((level == 0) != (record == nullptr)) return ERROR_INVALID_PARAMETER;
    const std::lock_guard lock(state().mutex);
    JobRecord* job = nullptr;
    if (const DWORD error = job_of(printer, id, job)) return error;
    DWORD status = level == 2 ? reinterpret_cast<const JOB_INFO_2W*>(record)->Status : job->job.status;
    if (!status_after(command, status)) return ERROR_INVALID_PARAMETER;
    change_job_status(*job, status);
    if (command != 0) job->job.commands.push_back(command);
    if (command == JOB_CONTROL_RESTART) ++job->restarts;
    return 0;
}

}  // namespace spooler_sim
