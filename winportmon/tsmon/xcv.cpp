#include "winportmon/tsmon/xcv.h"

#include <algorithm>
#include <cstring>

#include "common/log.h"
#include "winportmon/contract/names.h"
#include "winportmon/tsmon/tsmon_ports.h"
#include "winportmon/tsmon/util_connection.h"
#include "winportmon/tsmon/util_registry.h"

namespace tsmon {

// -- Handles ---------------------------------------------------------------------------------------------------------

namespace {

// Of all instances, in the order of their opening. Changed under MonitorLock and HandleLock, looked at under the
// latter.
XcvHandle* xcv_handles;

// The link to the handle, or the null one at the end. The caller holds HandleLock.
XcvHandle** FindHandle(HANDLE xcv) {
    XcvHandle** link = &xcv_handles;
    while (*link != nullptr && *link != xcv) link = &(*link)->next;
    return link;
}

}  // namespace

BOOL WINAPI XcvOpenPort(HANDLE monitor, LPCWSTR object_name, ACCESS_MASK granted_access, HANDLE* xcv) {
    log_debug(LOG_HERE, "TSM Xcv Open Port");
    log_debug(LOG_HERE, "TSM: hMonitor = %p, pszObject = \"%S\" GrantedAccess = 0x%x phXcv = %p", monitor, object_name,
              granted_access, xcv);
    const LPCWSTR name = object_name != nullptr ? object_name : W("");
    const size_t name_size = static_cast<size_t>(lstrlenW(name)) * sizeof(WCHAR);
    auto* const handle = static_cast<XcvHandle*>(GlobalAlloc(GPTR, sizeof(XcvHandle) + name_size));
    *xcv = handle;
    if (handle == nullptr) return FALSE;
    memcpy(handle->signature, "CX\0", sizeof handle->signature);
    memcpy(handle->object_name_text, name, name_size);
    handle->object_name = handle->object_name_text;
    handle->granted_access = granted_access;
    handle->instance = static_cast<MonitorContext*>(monitor)->number;

    const MonitorLockGuard lock;
    const LockGuard handles(HandleLock);
    *FindHandle(nullptr) = handle;
    return TRUE;
}

BOOL WINAPI XcvClosePort(HANDLE xcv) {
    log_debug(LOG_HERE, "TSM Xcv Close Port");
    const MonitorLockGuard lock;
    const LockGuard handles(HandleLock);
    XcvHandle** const link = FindHandle(xcv);
    XcvHandle* const handle = *link;
    if (handle == nullptr) return TRUE;
    *link = handle->next;
    GlobalFree(handle);
    return TRUE;
}

// -- Commands --------------------------------------------------------------------------------------------------------

namespace {

// The arguments of a command; the input is never read past its size.
struct Request {
    const XcvHandle* handle;
    MonitorContext* monitor;
    const BYTE* input;
    DWORD input_size;
    BYTE* output;
    DWORD output_size;
    DWORD* needed;

    bool IsFromAdministrator() const { return (handle->granted_access & SERVER_ACCESS_ADMINISTER) != 0; }
};

// The input as a PortConfig: what is missing at the end is zero.
class ConfigInput {
  public:
    explicit ConfigInput(const Request& request) : size_(request.input != nullptr ? request.input_size : 0) {
        if (size_ != 0) memcpy(&config_, request.input, std::min<size_t>(size_, sizeof config_));
    }
    FieldText<kPortNameSize> name() const { return FieldText(config_.port_name); }
    const PortConfig* get() const { return &config_; }
    bool IsPortConfig() const { return size_ == sizeof config_; }
    bool HoldsPortConfig() const { return size_ >= sizeof config_; }

  private:
    PortConfig config_ = {};
    DWORD size_;
};

// The port name that is the whole input, up to its terminator or the end; no input is an empty name.
class NameInput {
  public:
    explicit NameInput(const Request& request) {
        if (request.input == nullptr && request.input_size != 0) return;
        size_t size = 0;
        while (request.input_size - size >= sizeof(WCHAR) && (request.input[size] | request.input[size + 1]) != 0) {
            size += sizeof(WCHAR);
        }
        text_ = static_cast<WCHAR*>(GlobalAlloc(GPTR, size + sizeof(WCHAR)));
        if (text_ == nullptr) error_ = ERROR_NOT_ENOUGH_MEMORY;
        if (text_ != nullptr && size != 0) memcpy(text_, request.input, size);
    }
    ~NameInput() {
        if (text_ != nullptr) GlobalFree(text_);
    }
    NameInput(const NameInput&) = delete;
    NameInput& operator=(const NameInput&) = delete;
    // Null, with the reason, when the input is null but has a size, and when memory runs out.
    const WCHAR* get() const { return text_; }
    DWORD error() const { return error_; }

  private:
    WCHAR* text_ = nullptr;
    DWORD error_ = ERROR_INVALID_PARAMETER;
};

DWORD DoMonitorUi(const Request& request) {
    using contract::kDialogsLibrary;
    if (request.needed != nullptr) *request.needed = sizeof kDialogsLibrary;
    if (request.output_size < sizeof kDialogsLibrary) return ERROR_INSUFFICIENT_BUFFER;
    if (request.output == nullptr) return ERROR_INVALID_PARAMETER;
    memcpy(request.output, kDialogsLibrary, sizeof kDialogsLibrary);
    return ERROR_SUCCESS;
}

// Into the list, then into the registry, as one step: two callers cannot add the same name, nor one delete it
// meanwhile. A port that could not be stored comes back in *deleted, to be released.
DWORD AddPortEverywhere(MonitorContext* monitor, const PortConfig* config, const WCHAR* name, PortEntry** deleted) {
    const LockGuard change(ChangeLock);  // the list does not change meanwhile
    if (FindPortEntry(monitor, name) != nullptr) {
        SetLastError(ERROR_ALREADY_EXISTS);
        return ERROR_ALREADY_EXISTS;
    }
    if (CreatePortEntry(monitor, config) == nullptr) return util_last_error_or(ERROR_NOT_ENOUGH_MEMORY);
    if (AddPortInRegistry(monitor->init, config)) return ERROR_SUCCESS;
    const DWORD error = util_last_error_or(ERROR_CANTWRITE);
    log_error(LOG_HERE, "TSM Xcv DoAddPort: failed to add port and so removing port entry");
    const MonitorLockGuard lock;
    DeletePortEntry(monitor, name, deleted);
    return error;
}

DWORD DoAddPort(const Request& request) {
    const ConfigInput input(request);
    const FieldText name = input.name();
    log_debug(LOG_HERE, "TSM Xcv DoAddPort: \"%S\"", name.text);
    if (!request.IsFromAdministrator()) return ERROR_ACCESS_DENIED;
    if (!input.IsPortConfig()) return ERROR_INVALID_PARAMETER;
    DWORD error = ERROR_SUCCESS;
    const BOOL exists = SpoolerPortExists(name.text, &error);
    if (error != ERROR_SUCCESS) return util_last_error_or(error);
    if (exists) {
        SetLastError(ERROR_ALREADY_EXISTS);
        return ERROR_ALREADY_EXISTS;
    }
    PortEntry* deleted = nullptr;
    const DWORD status = AddPortEverywhere(request.monitor, input.get(), name.text, &deleted);
    ReleasePort(deleted);
    return status;
}

DWORD DoConfigPort(const Request& request) {
    const ConfigInput input(request);
    const FieldText name = input.name();
    log_debug(LOG_HERE, "TSM Xcv DoConfigPort: \"%S\"", name.text);
    if (!request.IsFromAdministrator()) return ERROR_ACCESS_DENIED;
    if (!input.IsPortConfig()) return ERROR_INVALID_PARAMETER;
    const LockGuard change(ChangeLock);  // the port stays meanwhile
    PortEntry* const port = FindPortEntry(request.monitor, name.text);
    if (port == nullptr) {
        log_error(LOG_HERE, "TSM: Unable to find the port: %S", name.text);
        return ERROR_INVALID_PARAMETER;
    }
    if (!UpdatePortInRegistry(request.monitor->init, input.get())) {
        log_error(LOG_HERE, "TSM: Xcv DoConfigPort: failed to update registry");
        return ERROR_INVALID_PARAMETER;
    }
    const MonitorLockGuard lock;
    port->config = *input.get();
    return ERROR_SUCCESS;
}

DWORD DoGetConfigInfo(const Request& request) {
    const WCHAR* const name = request.handle->object_name;
    log_debug(LOG_HERE, "TSM Xcv DoGetConfigInfo: \"%S\"", name);
    if (!request.IsFromAdministrator()) return ERROR_ACCESS_DENIED;
    if (request.output_size != sizeof(PortConfig)) {
        log_error(LOG_HERE, "TSM: DoGetConfigInfo: Output size (%d) does not match expected (%d).", request.output_size,
                  static_cast<DWORD>(sizeof(PortConfig)));
        return ERROR_INVALID_PARAMETER;
    }
    const MonitorLockGuard lock;
    const PortEntry* const port = FindPortEntry(request.monitor, name);
    if (port == nullptr) {
        log_error(LOG_HERE, "TSM: Unable to find the port: %S", name);
        return ERROR_INVALID_PARAMETER;
    }
    if (request.output == nullptr) return ERROR_INVALID_PARAMETER;
    memcpy(request.output, &port->config, sizeof port->config);
    return ERROR_SUCCESS;
}

DWORD DoDeletePort(const Request& request) {
    const NameInput name(request);
    log_debug(LOG_HERE, "TSM Xcv DoDeletePort: \"%S\"", name.get());
    if (!request.IsFromAdministrator()) return ERROR_ACCESS_DENIED;
    if (name.get() == nullptr) return name.error();
    PortEntry* deleted = nullptr;
    {
        const LockGuard change(ChangeLock);
        const MonitorLockGuard lock;
        if (!DeletePortEntry(request.monitor, name.get(), &deleted)) {
            log_error(LOG_HERE, "TSM Xcv DoDeletePort: \"%S\" - name not found", name.get());
            return ERROR_FILE_NOT_FOUND;
        }
        DeletePortFromRegistry(request.monitor->init, name.get());
    }
    ReleasePort(deleted);
    return ERROR_SUCCESS;
}

DWORD DoPortExists(const Request& request) {
    log_debug(LOG_HERE, "TSM Xcv DoPortExists");
    const NameInput name(request);
    if (name.get() == nullptr) return name.error();
    DWORD error = ERROR_SUCCESS;
    const BOOL exists = SpoolerPortExists(name.get(), &error);
    if (error != ERROR_SUCCESS) {
        log_debug(LOG_HERE, "TSM Xcv DoPortExists, error: %d", error);
        return error;
    }
    log_debug(LOG_HERE, "TSM Xcv DoPortExists: %s", exists ? "exists" : "does NOT exist");
    return exists ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS;
}

DWORD DoPortIsValid(const Request& request) {
    log_debug(LOG_HERE, "TSM Xcv DoPortIsValid");
    const ConfigInput input(request);
    if (!input.HoldsPortConfig()) return ERROR_INVALID_PARAMETER;
    SOCKET socket = INVALID_SOCKET;
    const BOOL connected = ConnectToPrinter(input.get(), &socket, TRUE);
    if (connected) CleanupSocket(&socket);
    log_debug(LOG_HERE, "TSM Xcv DoPortIsValid: %s", connected ? "success" : "failure");
    return connected ? ERROR_SUCCESS : ERROR_INVALID_FUNCTION;
}

struct Command {
    const WCHAR* name;
    DWORD (*handler)(const Request& request);
};

constexpr Command kCommands[] = {
    {contract::kMonitorUi, DoMonitorUi},     {contract::kAddPort, DoAddPort},
    {contract::kConfigPort, DoConfigPort},   {contract::kGetConfigInfo, DoGetConfigInfo},
    {contract::kDeletePort, DoDeletePort},   {contract::kPortExists, DoPortExists},
    {contract::kPortIsValid, DoPortIsValid},
};

// Exactly, letter case included.
bool IsSame(const WCHAR* left, const WCHAR* right) {
    while (*left != 0 && *left == *right) {
        ++left;
        ++right;
    }
    return *left == *right;
}

}  // namespace

DWORD WINAPI XcvDataPort(HANDLE xcv, LPCWSTR command, LPBYTE input, DWORD input_size, LPBYTE output, DWORD output_size,
                         LPDWORD needed) {
    log_debug(LOG_HERE, "TSM Xcv Data Port");
    log_debug(LOG_HERE, "TSM: hXcv = %p, pszDataName = \"%S\", cbOutputData = %d", xcv, command, output_size);
    const XcvHandle* handle = nullptr;
    {
        const LockGuard handles(HandleLock);
        handle = *FindHandle(xcv);
    }
    MonitorContext* const monitor = handle != nullptr ? FindInstance(handle->instance) : nullptr;
    if (monitor == nullptr) return ERROR_INVALID_HANDLE;
    if (command == nullptr) return ERROR_INVALID_PARAMETER;
    for (const Command& known : kCommands) {
        if (!IsSame(command, known.name)) continue;
        return known.handler(Request{handle, monitor, input, input_size, output, output_size, needed});
    }
    return ERROR_INVALID_PARAMETER;
}

}  // namespace tsmon
