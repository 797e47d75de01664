#include "winportmon/tsmon/xcv.h"

#include <algorithm>
#include <cstring>

#include "common/log.h"
#include "winportmon/tsmon/tsmon_ports.h"
#include "winportmon/tsmon/util_connection.h"
#include "winportmon/tsmon/util_registry.h"

namespace tsmon {

// -- Handles ---------------------------------------------------------------------------------------------------------

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
    handle->monitor = static_cast<MonitorContext*>(monitor);

    const MonitorLockGuard lock;
    XcvHandle** tail = &handle->monitor->xcv_handles;
    while (*tail != nullptr) tail = &(*tail)->next;
    *tail = handle;
    return TRUE;
}

BOOL WINAPI XcvClosePort(HANDLE xcv) {
    log_debug(LOG_HERE, "TSM Xcv Close Port");
    auto* const handle = static_cast<XcvHandle*>(xcv);
    const MonitorLockGuard lock;
    XcvHandle** link = &handle->monitor->xcv_handles;
    while (*link != nullptr && *link != handle) link = &(*link)->next;
    if (*link == nullptr) return TRUE;
    *link = handle->next;
    GlobalFree(handle);
    return TRUE;
}

// -- Commands --------------------------------------------------------------------------------------------------------

namespace {

// What a command is given; the input is read no further than its size says, whatever it holds.
struct Request {
    XcvHandle* handle;
    const BYTE* input;
    DWORD input_size;
    BYTE* output;
    DWORD output_size;
    DWORD* needed;

    bool IsFromAdministrator() const { return (handle->granted_access & SERVER_ACCESS_ADMINISTER) != 0; }
    MonitorContext* monitor() const { return handle->monitor; }
};

// A text in the input, from an offset to its terminator, the end of its field or the end of the input.
class InputText {
  public:
    InputText(const Request& request, size_t offset, size_t field_length) {
        const size_t end = request.input != nullptr ? request.input_size : 0;
        const size_t most = std::min(field_length, end > offset ? (end - offset) / sizeof(WCHAR) : 0);
        size_t length = 0;
        for (; length < most && length < kLength; ++length) {
            memcpy(&text_[length], request.input + offset + length * sizeof(WCHAR), sizeof(WCHAR));
            if (text_[length] == 0) break;
        }
        whole_ = length < kLength || most == kLength;
        text_[length] = 0;
    }
    const WCHAR* get() const { return text_; }
    // A name of its own, alone in the input: there, and no longer than any port's.
    bool IsName() const { return whole_ && text_[0] != 0; }

  private:
    static constexpr size_t kLength = MAX_PATH;
    WCHAR text_[kLength + 1];
    bool whole_;
};

// The port's name in an input that is, or should be, a PortConfig.
InputText NameInConfig(const Request& request) {
    return InputText(request, offsetof(PortConfig, port_name), kPortNameSize);
}

InputText NameAlone(const Request& request) {
    return InputText(request, 0, request.input_size);
}

bool ReadConfig(const Request& request, PortConfig* config) {
    if (request.input == nullptr || request.input_size < sizeof *config) return false;
    memcpy(config, request.input, sizeof *config);
    return true;
}

// Whether the registry can hold a port of that name and give it back: the name becomes one key, and is read back with a
// terminator.
bool IsStorable(const WCHAR* name) {
    size_t length = 0;
    while (name[length] != 0 && name[length] != W('\\')) ++length;
    return name[length] == 0 && length > 0 && length < kPortNameSize;
}

// A code that must not be success, from a call that may not have left one.
DWORD LastErrorOr(DWORD otherwise) {
    const DWORD error = GetLastError();
    return error != ERROR_SUCCESS ? error : otherwise;
}

DWORD DoMonitorUi(const Request& request) {
    static constexpr WCHAR kLibrary[] = W("tsprintportmonui.dll");
    if (request.needed != nullptr) *request.needed = sizeof kLibrary;
    if (request.output_size < sizeof kLibrary) return ERROR_INSUFFICIENT_BUFFER;
    if (request.output == nullptr) return ERROR_INVALID_PARAMETER;
    memcpy(request.output, kLibrary, sizeof kLibrary);
    return ERROR_SUCCESS;
}

// Into the list, then into the registry, as one step: two callers cannot add the same name, nor one delete it
// meanwhile.
DWORD AddPortEverywhere(MonitorContext* monitor, const PortConfig* config, const WCHAR* name) {
    const MonitorLockGuard lock;
    if (FindPortEntry(monitor, name) != nullptr) {
        SetLastError(ERROR_ALREADY_EXISTS);
        return ERROR_ALREADY_EXISTS;
    }
    if (CreatePortEntry(monitor, config) == nullptr) return LastErrorOr(ERROR_NOT_ENOUGH_MEMORY);
    if (AddPortInRegistry(monitor->init, config)) return ERROR_SUCCESS;
    const DWORD error = LastErrorOr(ERROR_CANTWRITE);
    log_error(LOG_HERE, "TSM Xcv DoAddPort: failed to add port and so removing port entry");
    DeletePortEntry(monitor, name);
    return error;
}

DWORD DoAddPort(const Request& request) {
    const InputText name = NameInConfig(request);
    log_debug(LOG_HERE, "TSM Xcv DoAddPort: \"%S\"", name.get());
    if (!request.IsFromAdministrator()) return ERROR_ACCESS_DENIED;
    PortConfig config;
    if (request.input_size != sizeof config || !ReadConfig(request, &config)) return ERROR_INVALID_PARAMETER;
    if (!IsStorable(name.get())) return ERROR_INVALID_PARAMETER;
    DWORD error = ERROR_SUCCESS;
    const BOOL exists = SpoolerPortExists(name.get(), &error);
    if (error != ERROR_SUCCESS) return LastErrorOr(error);
    if (exists) {
        SetLastError(ERROR_ALREADY_EXISTS);
        return ERROR_ALREADY_EXISTS;
    }
    return AddPortEverywhere(request.monitor(), &config, name.get());
}

DWORD DoConfigPort(const Request& request) {
    const InputText name = NameInConfig(request);
    log_debug(LOG_HERE, "TSM Xcv DoConfigPort: \"%S\"", name.get());
    if (!request.IsFromAdministrator()) return ERROR_ACCESS_DENIED;
    PortConfig config;
    if (request.input_size != sizeof config || !ReadConfig(request, &config)) return ERROR_INVALID_PARAMETER;
    const MonitorLockGuard lock;
    PortEntry* const port = FindPortEntry(request.monitor(), name.get());
    if (port == nullptr) {
        log_error(LOG_HERE, "TSM: Unable to find the port: %S", name.get());
        return ERROR_INVALID_PARAMETER;
    }
    if (!UpdatePortInRegistry(request.monitor()->init, &config)) {
        log_error(LOG_HERE, "TSM: Xcv DoConfigPort: failed to update registry");
        UpdatePortInRegistry(request.monitor()->init, &port->config);  // it may have taken the half of it
        return ERROR_INVALID_PARAMETER;
    }
    port->config = config;
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
    const PortEntry* const port = FindPortEntry(request.monitor(), name);
    if (port == nullptr) {
        log_error(LOG_HERE, "TSM: Unable to find the port: %S", name);
        return ERROR_INVALID_PARAMETER;
    }
    if (request.output == nullptr) return ERROR_INVALID_PARAMETER;
    memcpy(request.output, &port->config, sizeof port->config);
    return ERROR_SUCCESS;
}

DWORD DoDeletePort(const Request& request) {
    const InputText name = NameAlone(request);
    log_debug(LOG_HERE, "TSM Xcv DoDeletePort: \"%S\"", name.get());
    if (!request.IsFromAdministrator()) return ERROR_ACCESS_DENIED;
    if (!name.IsName()) return ERROR_INVALID_PARAMETER;
    const MonitorLockGuard lock;
    const PortEntry* const port = FindPortEntry(request.monitor(), name.get());
    if (port == nullptr) {
        log_error(LOG_HERE, "TSM Xcv DoDeletePort: \"%S\" - name not found", name.get());
        return ERROR_FILE_NOT_FOUND;
    }
    // Names that compare as equal need not be one key: the port's own is the one that was stored.
    const FieldText stored_name(port->config.port_name);
    DeletePortEntry(request.monitor(), stored_name.text);
    DeletePortFromRegistry(request.monitor()->init, stored_name.text);
    return ERROR_SUCCESS;
}

DWORD DoPortExists(const Request& request) {
    log_debug(LOG_HERE, "TSM Xcv DoPortExists");
    const InputText name = NameAlone(request);
    if (!name.IsName()) return ERROR_INVALID_PARAMETER;
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
    PortConfig config;
    if (!ReadConfig(request, &config)) return ERROR_INVALID_PARAMETER;
    SOCKET socket = INVALID_SOCKET;
    const BOOL connected = ConnectToPrinter(&config, &socket, TRUE);
    if (connected) CleanupSocket(&socket);
    log_debug(LOG_HERE, "TSM Xcv DoPortIsValid: %s", connected ? "success" : "failure");
    return connected ? ERROR_SUCCESS : ERROR_INVALID_FUNCTION;
}

struct Command {
    const WCHAR* name;
    DWORD (*handler)(const Request& request);
};

constexpr Command kCommands[] = {
    {W("MonitorUI"), DoMonitorUi},           {W("TSAddPort"), DoAddPort},       {W("TSConfigPort"), DoConfigPort},
    {W("TSGetConfigInfo"), DoGetConfigInfo}, {W("TSDeletePort"), DoDeletePort}, {W("TSPortExists"), DoPortExists},
    {W("TSPortIsValid"), DoPortIsValid},
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
    if (command == nullptr) return ERROR_INVALID_PARAMETER;
    for (const Command& known : kCommands) {
        if (!IsSame(command, known.name)) continue;
        return known.handler(Request{static_cast<XcvHandle*>(xcv), input, input_size, output, output_size, needed});
    }
    return ERROR_INVALID_PARAMETER;
}

}  // namespace tsmon
