#include "winportmon/tsmon/tsmon.h"

#include <cstring>

#include "common/global.h"
#include "common/log.h"
#include "common/os.h"
#include "common/tessaron.h"
#include "common/util.h"
#include "winportmon/tsmon/helper.h"
#include "winportmon/tsmon/tsmon_document.h"
#include "winportmon/tsmon/tsmon_ports.h"
#include "winportmon/tsmon/util_registry.h"
#include "winportmon/tsmon/xcv.h"

namespace tsmon {

OptionalLock MonitorLock;
OptionalLock ChangeLock;
OptionalLock HandleLock;
HINSTANCE module_instance;

namespace {

// -- Start -----------------------------------------------------------------------------------------------------------

// Instances that were started and not shut down; the spooler of a cluster has several. Guarded by HandleLock.
MonitorContext* instances;

// Configuration, log and the force-attributes directory exist once per process: the first start that finds an install
// directory sets them up, the last shutdown closes the log. Guarded by ChangeLock.
bool is_set_up = false;

void AddInstance(MonitorContext* context) {
    static uint32_t last_number = 0;
    const LockGuard lock(HandleLock);
    context->number = ++last_number;
    context->next = instances;
    instances = context;
}

// Returns whether it was the last one.
bool RemoveInstance(const MonitorContext* context) {
    const LockGuard lock(HandleLock);
    MonitorContext** link = &instances;
    while (*link != context) link = &(*link)->next;
    *link = context->next;
    return instances == nullptr;
}

// Logging, configuration and the helper's path. Without an install directory there is no configuration and no log file.
void InitGlobals(MonitorContext* context) {
    if (!is_set_up) session_context.debug_logging = 1;
    char install_path[MAX_PATH];
    if (!GetInstallPath(install_path, sizeof install_path)) return;
    if (!is_set_up) config_init(install_path);
    is_set_up = true;
    log_debug(LOG_HERE, "TSM: Starting port monitor version: %s (%s)", TSM_VERSION, PRODUCT_NAME);
    BuildHelperCommandPath(context, install_path);
    CheckHelperCommandPath(context, TRUE);
    log_debug(LOG_HERE, "TSM: finished init of globals");
}

void LogUserName() {
    WCHAR name[1024] = {};
    DWORD size = 1024;
    GetUserNameW(name, &size);
    log_debug(LOG_HERE, "TSM: thread running with username = \"%S\"", name);
}

int DeletePersistedForceAttrFile(const char* path, int64_t) {
    log_debug(LOG_HERE, "Deleting persisted forceattr file: %s", path);
    if (!os_file_delete(path)) log_debug_last_error(LOG_HERE, "Unable to delete persisted file: \"%s\"", path);
    return TRUE;
}

// Removes the work files of jobs that an earlier run did not finish.
void SweepForceAttrFiles() {
    const char* const directory = session_context.forceattr_spool_dir_path;
    if (session_context.forceattr_debug != 0 || util_is_string_empty(directory)) return;
    if (os_file_exists(directory)) os_dir_forall(directory, DeletePersistedForceAttrFile);
}

void LoadPortEntryCallback(MonitorContext* context, const PortConfig* config) {
    if (CreatePortEntry(context, config) != nullptr) return;
    log_error(LOG_HERE, "TSM: ForAllPortRegEntries in callback, failed to create port entry: %S",
              FieldText(config->port_name).text);
}

// -- Stop ------------------------------------------------------------------------------------------------------------

void WINAPI Shutdown(HANDLE monitor) {
    auto* const context = static_cast<MonitorContext*>(monitor);
    log_debug(LOG_HERE, "TSM Shutdown");
    {
        const LockGuard lock(ChangeLock);
        if (RemoveInstance(context)) {
            log_close();
            is_set_up = false;
        }
    }
    WSACleanup();
    FreePorts(context);
    GlobalFree(context);
}

// -- The operation table ---------------------------------------------------------------------------------------------

// The members up to pfnSendRecvBidiDataFromPort; later ones belong to later systems.
constexpr DWORD kMonitor2Size = 160;
static_assert(offsetof(MONITOR2, pfnSendRecvBidiDataFromPort) + sizeof(void*) == kMonitor2Size);

// Ports are added, configured and deleted through the Xcv slots only.
MONITOR2 operation_table = [] {
    MONITOR2 table = {};
    table.cbSize = kMonitor2Size;
    table.pfnEnumPorts = EnumPorts;
    table.pfnOpenPort = OpenPort;
    table.pfnStartDocPort = StartDocPort;
    table.pfnWritePort = WritePort;
    table.pfnReadPort = ReadPort;
    table.pfnEndDocPort = EndDocPort;
    table.pfnClosePort = ClosePort;
    table.pfnXcvOpenPort = XcvOpenPort;
    table.pfnXcvDataPort = XcvDataPort;
    table.pfnXcvClosePort = XcvClosePort;
    table.pfnShutdown = Shutdown;
    return table;
}();

}  // namespace

MonitorContext* FindInstance(uint32_t number) {
    const LockGuard lock(HandleLock);
    MonitorContext* instance = instances;
    while (instance != nullptr && instance->number != number) instance = instance->next;
    return instance;
}

}  // namespace tsmon

extern "C" LPMONITOR2 WINAPI InitializePrintMonitor2(MONITORINIT* init, HANDLE* monitor) {
    using namespace tsmon;
    constexpr WORD kWinsockVersion = 0x0202;

    log_debug(LOG_HERE, "TSM: Initialize Monitor2");
    const LockGuard change(ChangeLock);
    auto* const context = static_cast<MonitorContext*>(GlobalAlloc(GPTR, sizeof(MonitorContext)));
    if (context == nullptr) {
        log_error(LOG_HERE, "TSM: Failed to allocate for init");
        return nullptr;
    }
    memcpy(context->signature, "TSM", sizeof context->signature);
    context->init = init;
    const bool was_set_up = is_set_up;
    InitGlobals(context);
    const bool sets_up = is_set_up && !was_set_up;
    log_debug(LOG_HERE, "TSM: Initialize on server \"%S\" for %s spooler", init->pszServerName,
              init->bLocal ? "local" : "clustered");
    LogUserName();
    if (sets_up) SweepForceAttrFiles();
    WSADATA sockets;
    const int error = WSAStartup(kWinsockVersion, &sockets);
    if (error != 0) {
        log_error(LOG_HERE, "TSM: WSAStartup failed with error: %d", error);
        is_set_up = is_set_up && instances != nullptr;
        GlobalFree(context);
        return nullptr;
    }
    {
        const MonitorLockGuard lock;
        ForAllPortRegEntries(context, LoadPortEntryCallback);
    }
    // Opened as the spooler: the user whose document writes the first line may not have the right to.
    if (sets_up) log_open();
    AddInstance(context);
    *monitor = context;
    log_debug(LOG_HERE, "TSM init complete");
    return &operation_table;
}
