// The monitor's shared records: the instance, the library's lock, a port's configuration and the port itself, which is
// also the handle that the spooler holds and carries the document being printed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "common/lock.h"
#include "common/serialize_hpc_job.h"
#include "common/util.h"
#include "winapi/winapi.h"
#include "winportmon/contract/port_config.h"

// The one export. Returns the operation table and stores the monitor handle, a MonitorContext; null, and the handle
// untouched, when the monitor cannot start. The MONITORINIT record outlives the monitor.
extern "C" LPMONITOR2 WINAPI InitializePrintMonitor2(MONITORINIT* init, HANDLE* monitor);

namespace tsmon {

using contract::FieldText;
using contract::kPortNameSize;
using contract::kPrinterAddressSize;
using contract::PortConfig;

struct PortEntry;

// -- The instance ----------------------------------------------------------------------------------------------------

// One per call of InitializePrintMonitor2; from the global heap, freed by Shutdown.
struct MonitorContext {
    char signature[4];  // "TSM"
    MONITORINIT* init;  // the spooler's: registry callbacks and server name
    WCHAR helper_command_path[MAX_PATH];
    PortEntry* ports;      // in the order of loading and creation; guarded by MonitorLock
    PortEntry* last_port;  // tail of the list, for appending; same lock
    PortEntry* retired;    // ports that were deleted while they were held open; guarded by HandleLock
    MonitorContext* next;  // in the list of live instances; guarded by HandleLock
    uint32_t number;       // no other instance of this process has it
};

// The live instance of that number; null when it has been shut down. Takes HandleLock.
MonitorContext* FindInstance(uint32_t number);

// The library's lock. Guards the port list and the ports' configurations, the in-document flag as StartDocPort changes
// it, the open configuration handles, and the helper's path and launch. Created when the library is loaded, deleted
// when it is unloaded.
extern OptionalLock MonitorLock;

class MonitorLockGuard : LockGuard {
  public:
    MonitorLockGuard() : LockGuard(MonitorLock) {}
};

// One at a time: starts and stops of an instance, and the commands that change ports, each with its registry writes.
// Taken before MonitorLock, so that documents do not wait while a port is stored. Lives as long as MonitorLock.
extern OptionalLock ChangeLock;

// Guards which instances, port records and configuration handles are alive, how often each port is held open, and the
// retired ones. Held for a few instructions, and no other lock is taken under it: closing a port never waits for a
// helper's launch or the registry. Lives as long as MonitorLock.
extern OptionalLock HandleLock;

// The library's instance handle, for its string resources.
extern HINSTANCE module_instance;

// -- Documents -------------------------------------------------------------------------------------------------------

constexpr uint32_t kWriteSlots = 20;

struct WriteSlot {
    uint32_t bytes;
    uint32_t duration;
};

// Times in milliseconds, from GetTickCount.
struct WriteStats {
    uint32_t start_tick;
    uint32_t start_duration;        // of StartDocPort
    uint32_t total_write_duration;  // of all WritePort calls
    uint32_t write_count;           // WritePort calls, those of a refused document too
    uint32_t total_bytes;           // given to them
    WriteSlot slots[kWriteSlots];   // the first calls, in order
};

// The running helper of a hardware check. The handles are null when it is not running.
struct HwCheckState {
    HANDLE std_in_wr;   // write end of its standard input
    HANDLE std_out_rd;  // read end of its standard output
    HANDLE process;
    HANDLE thread;
    uint32_t active;
};

// A work file of forced attributes.
struct WorkFile {
    char* name;    // heap text, owned by the port; null when there is no file
    FILE* stream;  // null when closed
    DWORD loss;    // the error with which bytes were lost; 0: it holds all that it was given
};

struct ForceAttrState {
    uint32_t active;
    WorkFile input;
    WorkFile output;  // a copy of what was sent, when files are kept
};

constexpr uint32_t kPortInDocument = 1;  // of PortEntry::flags: between StartDocPort and EndDocPort

// A configured port; from the global heap, owned by the port list. Its document fields are used without a lock by the
// one spooler thread that drives the document.
struct PortEntry {
    char signature[4];  // "TSPT"
    PortEntry* next;
    // Here, near the name, since opening and closing a port looks at nothing else of it.
    uint32_t open_handles;  // the spooler's, and that of a deletion under way; guarded by HandleLock, like the next two
    uint32_t retired;       // removed from the list; freed with its last handle; set under MonitorLock too
    PortEntry* next_live;   // in the same bucket of the table of live records
    PortConfig config;      // guarded by MonitorLock; a document uses its own copy
    uint32_t flags;
    WCHAR* printer_name;      // heap text; null outside a document
    WCHAR* server_name;       // heap text; null unless the printer was named with its server
    char* printer_name_utf8;  // the printer's name as records and helpers have it; null where it cannot be converted
    char job_id_text[12];     // and the job's number
    HANDLE printer_handle;    // the document's printer in the spooler, or null
    SOCKET socket;            // the connection to the printer, or INVALID_SOCKET
    uint32_t job_id;
    uint32_t LastErrorJobId;  // the job whose failure was last logged at error level; a repetition goes to debug
    uint32_t not_approved;
    uint32_t marked_for_deletion;
    HpcJobRecord hpc_job_record;
    HwCheckState hw_check;
    ForceAttrState force_attr;
    uint32_t initial_write_size;  // of the document's first buffer that is not empty and goes to the printer or a file
    WriteStats write_stats;
    MonitorContext* monitor;
    PortConfig document_config;    // as it was when the document, or a buffer without one, started
    uint32_t refused_restart_job;  // the job whose refused restart was last logged at error level
};

inline bool IsInDocument(const PortEntry* port) {
    return (port->flags & kPortInDocument) != 0;
}

// Whether a failure of the document's job is its first one, which goes to the log at error level; the others, however
// often the spooler tries the job again, go to debug.
inline bool IsFirstFailure(PortEntry* port) {
    if (port->LastErrorJobId == port->job_id) return false;
    port->LastErrorJobId = port->job_id;
    return true;
}

}  // namespace tsmon
