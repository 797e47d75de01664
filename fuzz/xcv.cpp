// The configuration channel and the calls on the port list beside it: a sequence of them. Names stay unique, what fails
// changes nothing, every list fits its buffer, and the next start brings the same ports back.
#include "fuzz/support.h"
#include "tools/host/monitor_registry.h"
#include "tools/host/setup.h"
#include "winapi/linux/control.h"
#include "winapi/spooler_sim/spooler_sim.h"
#include "winportmon/tsmon/tsmon.h"

namespace {

using fuzz::Input;
using fuzz::Text;
using tsmon::PortConfig;

constexpr size_t kMostHandles = 4;
constexpr size_t kMostCalls = 64;
constexpr const WCHAR* kForeignPort = W("LPT1:");

// -- What the input can name -----------------------------------------------------------------------------------------

constexpr const WCHAR* kNames[] = {W("Office"), W("OFFICE"),       W("a"),     W("b c"),  W(""), W("a\\b"),
                                   W("\\"),     W("Dr\u00FCcker"), W("LPT1:"), W("lpt1:")};
constexpr const WCHAR* kAddresses[] = {W("127.0.0.1"), W(""), W("::1"), W("no.such.host"), W("127.0.0.1 ")};
constexpr DWORD kClosedPorts[] = {1, 0, 65536, 0xFFFFFFFF};  // nobody listens there
constexpr const WCHAR* kCommands[] = {W("MonitorUI"),    W("TSAddPort"),    W("TSConfigPort"), W("TSGetConfigInfo"),
                                      W("TSDeletePort"), W("TSPortExists"), W("TSPortIsValid")};

template <typename T, size_t N>
const T& pick(const T (&choices)[N], uint8_t byte) {
    return choices[byte % N];
}

// One of the names above, or any other.
Text take_name(Input& input) {
    const uint8_t choice = input.byte();
    return choice < 0xC0 ? Text(pick(kNames, choice)) : input.wide(input.byte() % 80);
}

// Texts that fill a field leave no room for a terminator.
template <size_t N>
void fill(WCHAR (&field)[N], const Text& text, WCHAR behind) {
    for (size_t i = 0; i < N; ++i) field[i] = i < text.size() ? text[i] : i == text.size() ? WCHAR{0} : behind;
}

PortConfig take_config(Input& input) {
    PortConfig config;
    const WCHAR behind = input.byte() % 2 != 0 ? WCHAR{'#'} : WCHAR{0};
    fill(config.port_name, take_name(input), behind);
    const uint8_t address = input.byte();
    fill(config.printer_address, address < 0xF0 ? Text(pick(kAddresses, address)) : Text(200, WCHAR{'9'}), behind);
    config.port_number = pick(kClosedPorts, input.byte());
    return config;
}

// A command's input: a configuration, a name, any bytes or none; cut short now and then.
std::vector<BYTE> take_buffer(Input& input) {
    const uint8_t kind = input.byte();
    std::string bytes;
    if (kind % 4 == 0) {
        const PortConfig config = take_config(input);
        bytes.assign(reinterpret_cast<const char*>(&config), sizeof config);
    } else if (kind % 4 == 1) {
        const Text name = take_name(input);
        bytes.assign(reinterpret_cast<const char*>(name.c_str()), (name.size() + 1) * sizeof(WCHAR));
    } else if (kind % 4 == 2) {
        bytes = input.bytes(input.word() % 700);
        // Whatever they are, nobody listens there.
        const PortConfig nobody = {W("127.0.0.1"), W(""), 1};
        if (bytes.size() >= sizeof nobody) {
            memcpy(bytes.data(), nobody.printer_address, sizeof nobody.printer_address);
            memcpy(&bytes[offsetof(PortConfig, port_number)], &nobody.port_number, sizeof nobody.port_number);
        }
    }
    if (kind >= 0xC0) bytes.resize(std::min<size_t>(bytes.size(), input.word() % 400));
    if (kind >= 0xF8) bytes += "##";
    return {bytes.begin(), bytes.end()};
}

// -- The monitor -----------------------------------------------------------------------------------------------------

struct Port {
    Text name;
    Text address;
    DWORD number;

    bool operator==(const Port&) const = default;
    // Letter case makes no other name.
    bool operator<(const Port& other) const { return lstrcmpiW(name.c_str(), other.name.c_str()) < 0; }
    // Whether the registry gives it back as it was, and it touches no other port's key.
    bool is_storable() const {
        return !name.empty() && name.size() < tsmon::kPortNameSize && name.find(W('\\')) == Text::npos;
    }
};

class Monitor {
  public:
    Monitor() {
        REQUIRE(RegCreateKeyExW(HKEY_LOCAL_MACHINE, host::monitor_registry_path, 0, nullptr, REG_OPTION_NON_VOLATILE,
                                KEY_ALL_ACCESS, nullptr, &init_.hckRegistryRoot, nullptr) == ERROR_SUCCESS);
        init_.cbSize = sizeof init_;
        init_.hSpooler = host::spooler_handle();
        init_.pMonitorReg = host::monitor_registry();
        init_.bLocal = TRUE;
        table = InitializePrintMonitor2(&init_, &handle);
        REQUIRE(table != nullptr);
        spooler_sim::add_monitor(table, handle);
    }
    ~Monitor() {
        spooler_sim::remove_monitor(handle);
        table->pfnShutdown(handle);
        RegCloseKey(init_.hckRegistryRoot);
    }
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

    // Its list, in its order.
    std::vector<Port> ports() const {
        std::vector<Port> all;
        const auto* const context = static_cast<const tsmon::MonitorContext*>(handle);
        for (const tsmon::PortEntry* port = context->ports; port != nullptr; port = port->next) {
            all.push_back({tsmon::FieldText(port->config.port_name).text,
                           tsmon::FieldText(port->config.printer_address).text, port->config.port_number});
        }
        return all;
    }

    MONITOR2* table = nullptr;
    HANDLE handle = nullptr;

  private:
    MONITORINIT init_ = {};
};

struct XcvHandle {
    HANDLE handle;
    bool administrator;
};

XcvHandle open_xcv(Monitor& monitor, Input& input) {
    XcvHandle opened = {nullptr, input.byte() % 4 != 0};
    const Text object = take_name(input);
    const ACCESS_MASK access = opened.administrator ? SERVER_ACCESS_ADMINISTER : PRINTER_ACCESS_USE;
    REQUIRE(monitor.table->pfnXcvOpenPort(monitor.handle, object.c_str(), access, &opened.handle));
    return opened;
}

template <typename Handle>
Handle take_out(std::vector<Handle>& handles, Input& input) {
    const auto chosen = handles.begin() + static_cast<ptrdiff_t>(input.byte() % handles.size());
    const Handle handle = *chosen;
    handles.erase(chosen);
    return handle;
}

void send(Monitor& monitor, Input& input, const XcvHandle& xcv) {
    const uint8_t choice = input.byte();
    const bool is_known = choice < 0xF0;
    std::vector<BYTE> in = take_buffer(input);
    const uint8_t room = input.byte();
    std::vector<BYTE> out(room < 0x60 ? sizeof(PortConfig) : room < 0xC0 ? 42 : room);
    const Text command = is_known ? Text(kCommands[choice % 7]) : take_name(input);
    DWORD needed = 0;
    const std::vector<Port> before = monitor.ports();
    const DWORD result =
        monitor.table->pfnXcvDataPort(xcv.handle, command.c_str(), in.data(), static_cast<DWORD>(in.size()), out.data(),
                                      static_cast<DWORD>(out.size()), input.byte() % 2 != 0 ? nullptr : &needed);
    std::vector<Port> after = monitor.ports();
    REQUIRE((result == ERROR_SUCCESS && xcv.administrator && is_known) || before == after);
    after.push_back({kForeignPort, {}, 0});
    std::sort(after.begin(), after.end());
    for (size_t i = 1; i < after.size(); ++i) REQUIRE(after[i - 1] < after[i]);
}

// The list in a buffer that is a little shorter or longer than it has to be, or just right.
void enumerate(Monitor& monitor, DWORD level, int difference) {
    DWORD needed = 0;
    DWORD returned = 0;
    monitor.table->pfnEnumPorts(monitor.handle, nullptr, level, nullptr, 0, &needed, &returned);
    if (difference < 0 && needed < static_cast<DWORD>(-difference)) return;
    std::vector<BYTE> buffer(needed + static_cast<DWORD>(difference));
    const auto size = static_cast<DWORD>(buffer.size());
    const BOOL listed =
        monitor.table->pfnEnumPorts(monitor.handle, nullptr, level, buffer.data(), size, &needed, &returned);
    REQUIRE(listed == (size >= needed ? TRUE : FALSE));
    if (!listed) return;
    const std::vector<Port> ports = monitor.ports();
    REQUIRE(returned == ports.size());
    for (DWORD i = 0; i < returned; ++i) {
        const LPWSTR name = level == 1 ? reinterpret_cast<const PORT_INFO_1W*>(buffer.data())[i].pName
                                       : reinterpret_cast<const PORT_INFO_2W*>(buffer.data())[i].pPortName;
        // In a buffer of odd size it lies at an odd address.
        REQUIRE(memcmp(name, ports[i].name.c_str(), (ports[i].name.size() + 1) * sizeof(WCHAR)) == 0);
    }
}

// False once a port was added that is not storable.
bool run(Monitor& monitor, Input& input) {
    bool storable = true;
    std::vector<XcvHandle> handles;
    std::vector<HANDLE> open_ports;
    for (size_t calls = 0; calls < kMostCalls && !input.empty(); ++calls) {
        const uint8_t choice = input.byte() % 16;
        if (choice == 0 || handles.empty()) {
            if (handles.size() < kMostHandles) handles.push_back(open_xcv(monitor, input));
        } else if (choice == 1) {
            monitor.table->pfnXcvClosePort(take_out(handles, input).handle);
        } else if (choice == 2 && open_ports.size() < kMostHandles) {
            Text name = take_name(input);
            HANDLE port = nullptr;
            if (monitor.table->pfnOpenPort(monitor.handle, name.data(), &port)) open_ports.push_back(port);
        } else if (choice == 3 && !open_ports.empty()) {
            REQUIRE(monitor.table->pfnClosePort(take_out(open_ports, input)));
        } else if (choice == 4) {
            const DWORD level = input.byte() % 2 + 1;
            enumerate(monitor, level, input.byte() % 5 - 2);
        } else {
            send(monitor, input, handles[input.byte() % handles.size()]);
            for (const Port& port : monitor.ports()) storable = storable && port.is_storable();
        }
    }
    for (const XcvHandle& xcv : handles) monitor.table->pfnXcvClosePort(xcv.handle);
    for (const HANDLE port : open_ports) monitor.table->pfnClosePort(port);
    return storable;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    winapi::allow_dns(false);
    winapi::clear_registry();
    spooler_sim::reset();
    spooler_sim::add_foreign_port(kForeignPort);
    tsmon::MonitorLock.create();
    Input input(data, size);
    std::vector<Port> before;
    bool storable = true;
    const fuzz::NothingLeftOver nothing;
    {
        Monitor monitor;
        storable = run(monitor, input);
        before = monitor.ports();
    }
    // The next start brings the same ports back, in the order of the registry.
    const Monitor monitor;
    std::vector<Port> after = monitor.ports();
    std::sort(before.begin(), before.end());
    std::sort(after.begin(), after.end());
    const auto same = [](const Port& left, const Port& right) {
        return !(left < right || right < left) && left.address == right.address && left.number == right.number;
    };
    REQUIRE(!storable || std::equal(before.begin(), before.end(), after.begin(), after.end(), same));
    return 0;
}
