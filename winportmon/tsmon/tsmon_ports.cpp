#include "winportmon/tsmon/tsmon_ports.h"

#include <atomic>
#include <cstring>

#include "common/log.h"
#include "winportmon/tsmon/tsmon_document.h"

namespace tsmon {

// -- Live records -----------------------------------------------------------------------------------------------------

namespace {

// The port records that are not freed yet, by their address, so that a handle is validated before it is dereferenced.
constexpr size_t kLiveBuckets = 16384;
PortEntry* live_ports[kLiveBuckets];

// The link to the record, or the null one where it would stand. The caller holds HandleLock, as below.
PortEntry** FindLive(const void* handle) {
    const auto address = reinterpret_cast<uintptr_t>(handle);
    PortEntry** link = &live_ports[address / sizeof(PortEntry) % kLiveBuckets];
    while (*link != nullptr && *link != handle) link = &(*link)->next_live;
    return link;
}

void AddLive(PortEntry* port) {
    const LockGuard handles(HandleLock);
    *FindLive(port) = port;
}

void Free(PortEntry* port) {
    *FindLive(port) = port->next_live;
    GlobalFree(port);
}

void Retire(PortEntry* port) {
    port->retired = 1;
    port->next = port->monitor->retired;
    port->monitor->retired = port;
}

void TakeFromRetired(const PortEntry* port) {
    PortEntry** link = &port->monitor->retired;
    while (*link != port) link = &(*link)->next;
    *link = port->next;
}

void FreeAll(PortEntry* port) {
    while (port != nullptr) {
        PortEntry* const next = port->next;
        Free(port);
        port = next;
    }
}

}  // namespace

// -- The list --------------------------------------------------------------------------------------------------------

PortEntry* CreatePortEntry(MonitorContext* context, const PortConfig* config) {
    auto* const port = static_cast<PortEntry*>(GlobalAlloc(GPTR, sizeof(PortEntry)));
    if (port == nullptr) return nullptr;
    memcpy(port->signature, "TSPT", sizeof port->signature);
    port->config = *config;
    port->socket = INVALID_SOCKET;
    port->monitor = context;
    AddLive(port);

    const MonitorLockGuard lock;
    PortEntry** const tail = context->last_port != nullptr ? &context->last_port->next : &context->ports;
    *tail = port;
    context->last_port = port;
    return port;
}

PortEntry* FindPortEntry(MonitorContext* context, const WCHAR* name) {
    if (name == nullptr) return nullptr;
    PortEntry* port = context->ports;
    while (port != nullptr && lstrcmpiW(FieldText(port->config.port_name).text, name) != 0) port = port->next;
    return port;
}

void CopyConfigForDocument(PortEntry* port) {
    if (port->retired != 0) {
        const PortEntry* const again = FindPortEntry(port->monitor, FieldText(port->config.port_name).text);
        if (again != nullptr) port->config = again->config;
    }
    port->document_config = port->config;
}

BOOL DeletePortEntry(MonitorContext* context, const WCHAR* name, PortEntry** deleted) {
    PortEntry* const port = FindPortEntry(context, name);
    *deleted = port;
    if (port == nullptr) return FALSE;
    PortEntry* previous = nullptr;
    for (PortEntry* other = context->ports; other != port; other = other->next) previous = other;
    (previous != nullptr ? previous->next : context->ports) = port->next;
    if (context->last_port == port) context->last_port = previous;
    const LockGuard handles(HandleLock);
    ++port->open_handles;  // the caller's
    Retire(port);
    return TRUE;
}

void FreePorts(MonitorContext* context) {
    const LockGuard handles(HandleLock);
    FreeAll(context->ports);
    FreeAll(context->retired);
}

// -- EnumPorts -------------------------------------------------------------------------------------------------------

namespace {

// String resources of the library (tsmon.rc).
constexpr UINT kPortDescriptionString = 500;
constexpr UINT kMonitorNameString = 507;
constexpr size_t kResourceTextSize = 261;  // 260 characters and a terminator

// A text that all ports of a level 2 enumeration carry; null, with the error, when memory ran out.
class ResourceText {
  public:
    explicit ResourceText(UINT id) : text_(static_cast<WCHAR*>(GlobalAlloc(GPTR, kResourceTextSize * sizeof(WCHAR)))) {
        if (text_ != nullptr) {
            LoadStringW(module_instance, id, text_, kResourceTextSize);
        } else {
            error_ = util_last_error_or(ERROR_NOT_ENOUGH_MEMORY);
        }
    }
    ~ResourceText() {
        if (text_ != nullptr) GlobalFree(text_);
    }
    ResourceText(const ResourceText&) = delete;
    ResourceText& operator=(const ResourceText&) = delete;
    const WCHAR* get() const { return text_; }
    DWORD error() const { return error_; }

  private:
    WCHAR* text_;
    DWORD error_ = ERROR_SUCCESS;
};

DWORD SizeOfText(const WCHAR* text) {
    return static_cast<DWORD>((static_cast<size_t>(lstrlenW(text)) + 1) * sizeof(WCHAR));
}

DWORD SizeOfPort(const PortEntry* port, DWORD level) {
    const FieldText name(port->config.port_name);
    if (level == 1) return static_cast<DWORD>(sizeof(PORT_INFO_1W)) + SizeOfText(name.text);
    if (level != 2) return 0;
    const ResourceText monitor_name(kMonitorNameString);
    const ResourceText description(kPortDescriptionString);
    if (monitor_name.get() == nullptr || description.get() == nullptr) return 0;
    return static_cast<DWORD>(sizeof(PORT_INFO_2W)) + SizeOfText(name.text) + SizeOfText(monitor_name.get()) +
           SizeOfText(description.get());
}

// The caller's buffer: records grow from its start, texts from its end.
struct PortBuffer {
    BYTE* next_record;
    BYTE* text_mark;

    bool HasRoom(size_t size) const { return static_cast<size_t>(text_mark - next_record) >= size; }

    LPWSTR AddText(const WCHAR* text) {
        const DWORD size = SizeOfText(text);
        text_mark -= size;
        memcpy(text_mark, text, size);
        return reinterpret_cast<LPWSTR>(text_mark);
    }
    template <typename Record>
    void AddRecord(const Record& record) {
        memcpy(next_record, &record, sizeof record);
        next_record += sizeof record;
    }
};

DWORD AddPortInfo1(PortBuffer* buffer, const PortEntry* port) {
    const FieldText name(port->config.port_name);
    PORT_INFO_1W info = {};
    if (!buffer->HasRoom(sizeof info + SizeOfText(name.text))) return ERROR_INSUFFICIENT_BUFFER;
    info.pName = buffer->AddText(name.text);
    buffer->AddRecord(info);
    return ERROR_SUCCESS;
}

DWORD AddPortInfo2(PortBuffer* buffer, const PortEntry* port) {
    const FieldText name(port->config.port_name);
    const ResourceText monitor_name(kMonitorNameString);
    const ResourceText description(kPortDescriptionString);
    if (monitor_name.error() != ERROR_SUCCESS) return monitor_name.error();
    if (description.error() != ERROR_SUCCESS) return description.error();
    PORT_INFO_2W info = {};
    // A port whose texts could not be loaded for sizing may not fit.
    if (!buffer->HasRoom(sizeof info + SizeOfText(name.text) + SizeOfText(monitor_name.get()) +
                         SizeOfText(description.get()))) {
        return ERROR_INSUFFICIENT_BUFFER;
    }
    info.pPortName = buffer->AddText(name.text);
    info.pMonitorName = buffer->AddText(monitor_name.get());
    info.pDescription = buffer->AddText(description.get());
    info.fPortType = PORT_TYPE_WRITE | PORT_TYPE_READ;
    buffer->AddRecord(info);
    return ERROR_SUCCESS;
}

DWORD AddPort(PortBuffer* buffer, const PortEntry* port, DWORD level) {
    switch (level) {
        case 1:
            return AddPortInfo1(buffer, port);
        case 2:
            return AddPortInfo2(buffer, port);
        default:
            return ERROR_INVALID_LEVEL;
    }
}

DWORD EnumPortsInto(const MonitorContext* context, DWORD level, BYTE* buffer, DWORD size, DWORD* needed,
                    DWORD* returned) {
    const MonitorLockGuard lock;
    DWORD total = 0;
    for (const PortEntry* port = context->ports; port != nullptr; port = port->next) total += SizeOfPort(port, level);
    *needed = total;
    if (total > size) return ERROR_INSUFFICIENT_BUFFER;
    *returned = 0;
    PortBuffer ports{buffer, buffer + size};
    for (const PortEntry* port = context->ports; port != nullptr; port = port->next) {
        const DWORD error = AddPort(&ports, port, level);
        if (error != ERROR_SUCCESS) return error;
        ++*returned;
    }
    return ERROR_SUCCESS;
}

}  // namespace

BOOL WINAPI EnumPorts(HANDLE monitor, LPWSTR, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed,
                      LPDWORD returned) {
    const DWORD error = EnumPortsInto(static_cast<MonitorContext*>(monitor), level, buffer, size, needed, returned);
    if (error == ERROR_SUCCESS) return TRUE;
    if (error != ERROR_INSUFFICIENT_BUFFER) log_error(LOG_HERE, "TSM: enum ports error: %d", error);
    SetLastError(error);
    return FALSE;
}

// -- OpenPort and ClosePort ------------------------------------------------------------------------------------------

BOOL WINAPI OpenPort(HANDLE monitor, LPWSTR name, HANDLE* port) {
    log_debug(LOG_HERE, "TSM Open Port: %S", name);
    const MonitorLockGuard lock;
    if (name == nullptr) {
        log_error(LOG_HERE, "TSM: open port bad param");
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    PortEntry* const found = FindPortEntry(static_cast<MonitorContext*>(monitor), name);
    if (found == nullptr) {
        log_error(LOG_HERE, "TSM: Unable to find the port: %S", name);
        return FALSE;
    }
    const LockGuard handles(HandleLock);
    ++found->open_handles;
    *port = found;
    return TRUE;
}

namespace {

// Counts a hold as given back. The port, when that was the last hold of a deleted one; it is the caller's then.
PortEntry* TakeUnheld(HANDLE handle) {
    const LockGuard handles(HandleLock);
    PortEntry* const port = *FindLive(handle);
    if (port == nullptr) return nullptr;
    if (port->open_handles > 0) --port->open_handles;
    if (port->retired == 0 || port->open_handles > 0) return nullptr;
    TakeFromRetired(port);
    *FindLive(port) = port->next_live;
    return port;
}

}  // namespace

void ReleasePort(HANDLE handle) {
    PortEntry* const port = TakeUnheld(handle);
    if (port == nullptr) return;
    AbandonDocument(port);
    GlobalFree(port);
}

BOOL WINAPI ClosePort(HANDLE handle) {
    log_debug(LOG_HERE, "TSM ClosePort");
    ReleasePort(handle);
    return TRUE;
}

// -- The spooler's own list ------------------------------------------------------------------------------------------

namespace {

using EnumPortsFunction = BOOL(WINAPI*)(LPWSTR server, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed,
                                        LPDWORD returned);

// Kept, with its library, until the process ends.
std::atomic<EnumPortsFunction> spooler_enum_ports{nullptr};

// Null, with the reason as last error, when the spooler cannot be asked.
EnumPortsFunction FindSpoolerEnumPorts() {
    const EnumPortsFunction known = spooler_enum_ports;
    if (known != nullptr) return known;
    const HMODULE library = LoadSpoolerLibrary();
    if (library == nullptr) return nullptr;
    const auto found =
        reinterpret_cast<EnumPortsFunction>(reinterpret_cast<void (*)()>(GetProcAddress(library, "EnumPortsW")));
    if (found == nullptr) {
        const DWORD error = GetLastError();
        FreeLibrary(library);
        SetLastError(error);
        return nullptr;
    }
    spooler_enum_ports = found;
    return found;
}

bool ListsName(EnumPortsFunction enum_ports, BYTE* buffer, DWORD size, const WCHAR* name) {
    DWORD needed = 0;
    DWORD returned = 0;
    if (!enum_ports(nullptr, 1, buffer, size, &needed, &returned)) return true;
    const auto* const ports = reinterpret_cast<const PORT_INFO_1W*>(buffer);
    for (DWORD i = 0; i < returned; ++i) {
        if (lstrcmpiW(ports[i].pName, name) == 0) return true;
    }
    return false;
}

}  // namespace

HMODULE LoadSpoolerLibrary() {
    constexpr WCHAR kFileName[] = W("\\SPOOLSS.DLL");
    constexpr UINT kFileNameLength = sizeof kFileName / sizeof kFileName[0] - 1;
    WCHAR path[MAX_PATH] = {};
    const UINT length = GetSystemDirectoryW(path, MAX_PATH);
    if (length == 0) return nullptr;
    if (length + kFileNameLength >= MAX_PATH) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return nullptr;
    }
    memcpy(path + length, kFileName, sizeof kFileName);
    return LoadLibraryW(path);
}

BOOL SpoolerPortExists(const WCHAR* name, DWORD* error) {
    *error = ERROR_SUCCESS;
    const EnumPortsFunction enum_ports = FindSpoolerEnumPorts();
    if (enum_ports == nullptr) {
        *error = GetLastError();
        return FALSE;
    }
    DWORD needed = 0;
    DWORD returned = 0;
    if (enum_ports(nullptr, 1, nullptr, 0, &needed, &returned)) return FALSE;
    if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) return TRUE;
    auto* const buffer = static_cast<BYTE*>(GlobalAlloc(GPTR, needed));
    if (buffer == nullptr) return TRUE;
    const bool listed = ListsName(enum_ports, buffer, needed, name);
    GlobalFree(buffer);
    return listed ? TRUE : FALSE;
}

}  // namespace tsmon
