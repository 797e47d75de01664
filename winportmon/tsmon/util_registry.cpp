#include "winportmon/tsmon/util_registry.h"

#include "common/log.h"
#include "winportmon/contract/names.h"
#include "winportmon/tsmon/identity.h"

namespace tsmon {
namespace {

using contract::kHostNameValue;
using contract::kPortNumberValue;
using contract::kPortsKey;

constexpr uint32_t kFailuresInARow = 1000;  // of an enumeration, after which it is given up

// On the spooler's own threads there is no client to revert from, which is no failure.
constexpr IdentityLines kIdentityLines = {.impersonate_failed = LOG_TEXT("TSM: Unable to ImpersonatePrinterClient")};

// The spooler's callbacks with what every call of them passes.
class Registry {
  public:
    explicit Registry(const MONITORINIT* init) : init_(init), calls_(init->pMonitorReg) {}

    HANDLE root() const { return init_->hckRegistryRoot; }
    LONG CreateKey(HANDLE parent, const WCHAR* name, HANDLE* key) const {
        return calls_->fpCreateKey(parent, name, 0, KEY_SET_VALUE, nullptr, key, nullptr, init_->hSpooler);
    }
    LONG OpenKey(HANDLE parent, const WCHAR* name, REGSAM access, HANDLE* key) const {
        return calls_->fpOpenKey(parent, name, access, key, init_->hSpooler);
    }
    LONG DeleteKey(HANDLE parent, const WCHAR* name) const {
        return calls_->fpDeleteKey(parent, name, init_->hSpooler);
    }
    LONG EnumKey(HANDLE key, DWORD index, WCHAR* name, DWORD* size) const {
        return calls_->fpEnumKey(key, index, name, size, nullptr, init_->hSpooler);
    }
    LONG SetValue(HANDLE key, const WCHAR* name, DWORD type, const void* data, DWORD size) const {
        return calls_->fpSetValue(key, name, type, static_cast<const BYTE*>(data), size, init_->hSpooler);
    }
    LONG DeleteValue(HANDLE key, const WCHAR* name) const { return calls_->fpDeleteValue(key, name, init_->hSpooler); }
    LONG QueryValue(HANDLE key, const WCHAR* name, void* data, DWORD* size) const {
        return calls_->fpQueryValue(key, name, nullptr, static_cast<BYTE*>(data), size, init_->hSpooler);
    }

  private:
    const MONITORINIT* init_;
    const MONITORREG* calls_;
};

// A key from the callbacks, which is closed with the system's own function.
class Key {
  public:
    Key() = default;
    ~Key() {
        if (handle_ != nullptr) RegCloseKey(static_cast<HKEY>(handle_));
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    HANDLE get() const { return handle_; }
    HANDLE* out() { return &handle_; }

  private:
    HANDLE handle_ = nullptr;
};

// Writes the whole field, including what follows its terminator.
LONG WriteHostName(const Registry& registry, const Key& port, const PortConfig* config) {
    return registry.SetValue(port.get(), kHostNameValue, REG_SZ, config->printer_address,
                             sizeof config->printer_address);
}

LONG WritePortNumber(const Registry& registry, const Key& port, const PortConfig* config) {
    return registry.SetValue(port.get(), kPortNumberValue, REG_DWORD, &config->port_number, sizeof config->port_number);
}

BOOL Succeeded(LONG status) {
    if (status == ERROR_SUCCESS) return TRUE;
    SetLastError(static_cast<DWORD>(status));
    return FALSE;
}

// Success also requires a handle.
LONG OpenKey(const Registry& registry, HANDLE parent, const WCHAR* name, REGSAM access, Key* key) {
    const LONG status = registry.OpenKey(parent, name, access, key->out());
    return status == ERROR_SUCCESS && key->get() == nullptr ? static_cast<LONG>(ERROR_INVALID_HANDLE) : status;
}

LONG StorePort(const Registry& registry, const PortConfig* config) {
    const FieldText name(config->port_name);
    const FieldText address(config->printer_address);
    Key ports;
    Key port;
    LONG status = registry.CreateKey(registry.root(), kPortsKey, ports.out());
    if (status != ERROR_SUCCESS) {
        log_error(LOG_HERE, "TSM: AddPortInRegistry failed to create ports key: %d", status);
        return status;
    }
    status = registry.CreateKey(ports.get(), name.text, port.out());
    if (status != ERROR_SUCCESS) {
        log_error(LOG_HERE, "TSM: AddPortInRegistry failed to create ports/port-name key: \"%S\": %d", name.text,
                  status);
        return status;
    }
    status = WriteHostName(registry, port, config);
    if (status != ERROR_SUCCESS) {
        log_error(LOG_HERE, "TSM: AddPortInRegistry failed to create ports/port-name/PrinterAddress key: \"%S\": %d",
                  address.text, status);
        return status;
    }
    status = WritePortNumber(registry, port, config);
    if (status != ERROR_SUCCESS) {
        log_error(LOG_HERE, "TSM: AddPortInRegistry failed to create ports/port-name/PortNumber key: %d: %d",
                  config->port_number, status);
    }
    return status;
}

LONG UpdateStoredPort(const Registry& registry, const PortConfig* config) {
    const FieldText name(config->port_name);
    const FieldText address(config->printer_address);
    Key ports;
    Key port;
    LONG status = OpenKey(registry, registry.root(), kPortsKey, KEY_SET_VALUE, &ports);
    if (status != ERROR_SUCCESS) {
        log_error_code(LOG_HERE, static_cast<uint32_t>(status), "TSM: UpdatePortInRegistry failed to access ports.");
        return status;
    }
    status = OpenKey(registry, ports.get(), name.text, KEY_SET_VALUE, &port);
    if (status != ERROR_SUCCESS) {
        log_error_code(LOG_HERE, static_cast<uint32_t>(status),
                       "TSM: UpdatePortInRegistry failed to access ports/port-name key: \"%S\".", name.text);
        return status;
    }
    status = WriteHostName(registry, port, config);
    if (status != ERROR_SUCCESS) {
        log_error_code(LOG_HERE, static_cast<uint32_t>(status),
                       "TSM: UpdatePortInRegistry failed to create ports/port-name/PrinterAddress key: \"%S\".",
                       address.text);
        return status;
    }
    status = WritePortNumber(registry, port, config);
    if (status != ERROR_SUCCESS) {
        log_error_code(LOG_HERE, static_cast<uint32_t>(status),
                       "TSM: UpdatePortInRegistry failed to create ports/port-name/PortNumber key: %u",
                       config->port_number);
    }
    return status;
}

void DeleteStoredPort(const Registry& registry, const WCHAR* name) {
    Key ports;
    Key port;
    LONG status = OpenKey(registry, registry.root(), kPortsKey, KEY_ALL_ACCESS, &ports);
    if (status != ERROR_SUCCESS) {
        log_error(LOG_HERE, "TSM: DeletePortFromRegistry failed to access ports key: %d", status);
        return;
    }
    status = OpenKey(registry, ports.get(), name, KEY_ALL_ACCESS, &port);
    if (status != ERROR_SUCCESS) {
        log_error(LOG_HERE, "TSM: DeletePortFromRegistry failed to access ports/port-name key: \"%S\": %d", name,
                  status);
        return;
    }
    status = registry.DeleteValue(port.get(), kHostNameValue);
    if (status != ERROR_SUCCESS) {
        log_error(LOG_HERE, "TSM: DeletePortFromRegistry failed to delete ports/port-name/PrinterAddress key: %d",
                  status);
        return;
    }
    status = registry.DeleteValue(port.get(), kPortNumberValue);
    if (status != ERROR_SUCCESS) {
        log_error(LOG_HERE, "TSM: DeletePortFromRegistry failed to delete ports/port-name/PortNumber: %d", status);
        return;
    }
    status = registry.DeleteKey(ports.get(), name);
    if (status != ERROR_SUCCESS) {
        log_error(LOG_HERE, "TSM: DeletePortFromRegistry failed to delete ports/port-name key: \"%S\": %d", name,
                  status);
    }
}

void CopyName(const WCHAR* name, WCHAR (&field)[kPortNameSize]) {
    size_t length = 0;
    for (; length < kPortNameSize - 1 && name[length] != 0; ++length) field[length] = name[length];
    field[length] = 0;
}

// Reads one stored port into the walk's record and hands it to the callback, while its key is open; or logs why it
// cannot be read.
void LoadStoredPort(const Registry& registry, const Key& ports, const WCHAR* name, PortConfig* config,
                    MonitorContext* context, PortRegCallback callback) {
    CopyName(name, config->port_name);
    Key port;
    LONG status = OpenKey(registry, ports.get(), name, KEY_READ, &port);
    if (status != ERROR_SUCCESS) {
        log_error_code(LOG_HERE, static_cast<uint32_t>(status),
                       "TSM: ForAllPortRetEntries failed to access port config for port: \"%S\". This port will not be "
                       "loaded.",
                       name);
        return;
    }
    DWORD size = sizeof config->printer_address;
    status = registry.QueryValue(port.get(), kHostNameValue, config->printer_address, &size);
    if (status != ERROR_SUCCESS) {
        log_error_code(LOG_HERE, static_cast<uint32_t>(status),
                       "TSM: ForAllPortRetEntries failed to get PrinterAddress value for port: \"%S\". Data size: %u. "
                       "This port will not be loaded.",
                       name, size);
        return;
    }
    // Values that were stored too short keep nothing of the previous port.
    if (size / sizeof(WCHAR) < kPrinterAddressSize) config->printer_address[size / sizeof(WCHAR)] = 0;
    size = sizeof config->port_number;
    config->port_number = 0;
    status = registry.QueryValue(port.get(), kPortNumberValue, &config->port_number, &size);
    if (status != ERROR_SUCCESS) {
        log_error_code(LOG_HERE, static_cast<uint32_t>(status),
                       "TSM: ForAllPortRetEntries failed to get PortNumber value for port: \"%S\". Data size: %u. This "
                       "port will not be loaded.",
                       name, size);
        return;
    }
    callback(context, config);
}

void WalkPorts(const Registry& registry, const Key& ports, MonitorContext* context, PortRegCallback callback) {
    PortConfig config = {};
    uint32_t failures = 0;
    for (DWORD index = 0; failures < kFailuresInARow; ++index) {
        WCHAR name[kPortNameSize] = {};
        DWORD size = kPortNameSize;
        const LONG status = registry.EnumKey(ports.get(), index, name, &size);
        if (status == static_cast<LONG>(ERROR_NO_MORE_ITEMS)) return;
        if (status != ERROR_SUCCESS) {
            ++failures;
            log_error_code(LOG_HERE, static_cast<uint32_t>(status),
                           "TSM: ForAllPortRetEntries failed to enumerate port index %u. This port will not be loaded.",
                           index);
            continue;
        }
        failures = 0;
        LoadStoredPort(registry, ports, name, &config, context, callback);
    }
    log_error(LOG_HERE, "TSM: ForAllPortRegEntries gives up after %u failures in a row.", failures);
}

}  // namespace

BOOL AddPortInRegistry(MONITORINIT* init, const PortConfig* config) {
    LONG status = ERROR_SUCCESS;
    {
        const SpoolerIdentity as_spooler(SpoolerIdentity::always, kIdentityLines);
        status = StorePort(Registry(init), config);
    }
    return Succeeded(status);
}

BOOL UpdatePortInRegistry(MONITORINIT* init, const PortConfig* config) {
    LONG status = ERROR_SUCCESS;
    {
        const SpoolerIdentity as_spooler(SpoolerIdentity::always, kIdentityLines);
        status = UpdateStoredPort(Registry(init), config);
    }
    return Succeeded(status);
}

void DeletePortFromRegistry(MONITORINIT* init, const WCHAR* name) {
    if (name == nullptr) return;
    const SpoolerIdentity as_spooler(SpoolerIdentity::always, kIdentityLines);
    DeleteStoredPort(Registry(init), name);
}

void ForAllPortRegEntries(MonitorContext* context, PortRegCallback callback) {
    const SpoolerIdentity as_spooler(SpoolerIdentity::always, kIdentityLines);
    const Registry registry(context->init);
    Key ports;
    const LONG status = OpenKey(registry, registry.root(), kPortsKey, KEY_READ, &ports);
    if (status != ERROR_SUCCESS) {
        log_debug(LOG_HERE, "TSM: ForAllPortRegEntries no ports registry to open: %u", status);
        return;
    }
    WalkPorts(registry, ports, context, callback);
}

}  // namespace tsmon
