// The configuration channel and the calls on the port list beside it: a sequence of them, each with a look at what it
// has made of the list, and at the end at what the next start brings back.
#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz/support.h"
#include "tools/host/monitor_registry.h"
#include "tools/host/setup.h"
#include "winapi/linux/control.h"
#include "winapi/spooler_sim/spooler_sim.h"
#include "winportmon/tsmon/tsmon.h"

namespace {

using fuzz::ExactBuffer;
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
enum Command { kMonitorUi, kAddPort, kConfigPort, kGetConfigInfo, kDeletePort, kPortExists, kPortIsValid, kUnknown };

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
std::string take_buffer(Input& input) {
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
    }
    if (kind >= 0xC0) bytes.resize(std::min<size_t>(bytes.size(), input.word() % 400));
    if (kind >= 0xF8) bytes += "##";
    return bytes;
}

// Whatever the bytes are, no printer of this network is called.
void keep_local(std::string& bytes) {
    if (bytes.size() < sizeof(PortConfig)) return;
    PortConfig config;
    memcpy(&config, bytes.data(), sizeof config);
    fill(config.printer_address, pick(kAddresses, static_cast<uint8_t>(config.printer_address[0])), 0);
    config.port_number = pick(kClosedPorts, static_cast<uint8_t>(config.port_number));
    memcpy(bytes.data(), &config, sizeof config);
}

using Ports = std::vector<PortConfig>;

Text name_of(const PortConfig& config) {
    return tsmon::FieldText(config.port_name).text;
}
bool same_name(const Text& left, const Text& right) {
    return lstrcmpiW(left.c_str(), right.c_str()) == 0;
}
bool same(const PortConfig& left, const PortConfig& right) {
    return memcmp(&left, &right, sizeof left) == 0;
}
size_t count(const Ports& ports, const Text& name) {
    const auto has_name = [&](const PortConfig& port) { return same_name(name_of(port), name); };
    return static_cast<size_t>(std::count_if(ports.begin(), ports.end(), has_name));
}

// -- The monitor -----------------------------------------------------------------------------------------------------

HKEY create_key(const Text& path) {
    HKEY key = nullptr;
    REQUIRE(RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                            nullptr, &key, nullptr) == ERROR_SUCCESS);
    return key;
}

class Monitor {
  public:
    Monitor() : root_(create_key(host::monitor_registry_path)) {
        init_.cbSize = sizeof init_;
        init_.hSpooler = host::spooler_handle();
        init_.hckRegistryRoot = root_;
        init_.pMonitorReg = host::monitor_registry();
        init_.bLocal = TRUE;
        table = InitializePrintMonitor2(&init_, &handle);
        REQUIRE(table != nullptr);
        spooler_sim::add_monitor(table, handle);
    }
    ~Monitor() {
        spooler_sim::remove_monitor(handle);
        table->pfnShutdown(handle);
        RegCloseKey(root_);
    }
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

    Ports ports() const {
        Ports all;
        const auto* const context = static_cast<const tsmon::MonitorContext*>(handle);
        for (const tsmon::PortEntry* port = context->ports; port != nullptr; port = port->next) {
            all.push_back(port->config);
        }
        return all;
    }

    MONITOR2* table = nullptr;
    HANDLE handle = nullptr;

  private:
    HKEY root_;
    MONITORINIT init_ = {};
};

struct XcvHandle {
    HANDLE handle;
    bool administrator;
    Text object;
};

void open_xcv(Monitor& monitor, Input& input, std::vector<XcvHandle>& handles) {
    if (handles.size() == kMostHandles) return;
    XcvHandle opened = {nullptr, input.byte() % 4 != 0, take_name(input)};
    const ACCESS_MASK access = opened.administrator ? SERVER_ACCESS_ADMINISTER : PRINTER_ACCESS_USE;
    REQUIRE(monitor.table->pfnXcvOpenPort(monitor.handle, opened.object.c_str(), access, &opened.handle));
    handles.push_back(opened);
}

template <typename Handle>
Handle take_out(std::vector<Handle>& handles, Input& input) {
    const auto chosen = handles.begin() + static_cast<ptrdiff_t>(input.byte() % handles.size());
    const Handle handle = *chosen;
    handles.erase(chosen);
    return handle;
}

// Each name once, in any letters.
void check_names(const Ports& ports) {
    for (const PortConfig& port : ports) {
        const Text name = name_of(port);
        REQUIRE(count(ports, name) == 1 && !same_name(name, kForeignPort));
    }
}

// One that the registry gives back as it was, and that touches no other port's key.
bool is_storable(const Text& name) {
    return !name.empty() && name.size() < tsmon::kPortNameSize && name.find(W('\\')) == Text::npos;
}

void send(Monitor& monitor, Input& input, const XcvHandle& xcv) {
    const uint8_t choice = input.byte();
    const Command command = choice < 0xF0 ? static_cast<Command>(choice % 7) : kUnknown;
    std::string bytes = take_buffer(input);
    if (command == kPortIsValid) keep_local(bytes);
    const uint8_t room = input.byte();
    const DWORD output_size = room < 0x60 ? DWORD{sizeof(PortConfig)} : room < 0xC0 ? DWORD{42} : room;
    Text name = command != kUnknown ? Text(kCommands[command]) : take_name(input);
    const ExactBuffer in(bytes.data(), bytes.size());
    const ExactBuffer out(output_size);
    DWORD needed = 0;
    const Ports before = monitor.ports();
    const DWORD result =
        monitor.table->pfnXcvDataPort(xcv.handle, name.c_str(), in.get(), static_cast<DWORD>(bytes.size()), out.get(),
                                      output_size, input.byte() % 2 != 0 ? nullptr : &needed);
    const Ports after = monitor.ports();
    check_names(after);
    const bool done = result == ERROR_SUCCESS;
    const bool changes = command == kAddPort || command == kConfigPort || command == kDeletePort;
    REQUIRE(xcv.administrator || !(changes || command == kGetConfigInfo) || result == ERROR_ACCESS_DENIED);
    REQUIRE(after.size() + (done && command == kDeletePort) == before.size() + (done && command == kAddPort));
    REQUIRE((done && changes) || std::equal(before.begin(), before.end(), after.begin(), same));
    REQUIRE(!(done && command == kGetConfigInfo) ||
            (count(before, xcv.object) == 1 && std::any_of(before.begin(), before.end(), [&](const PortConfig& port) {
                 return memcmp(&port, out.get(), sizeof port) == 0 && same_name(name_of(port), xcv.object);
             })));
    REQUIRE(command != kUnknown || result == ERROR_INVALID_PARAMETER);
}

// The list in a buffer that is a little shorter or longer than it has to be, or just right.
void enumerate(Monitor& monitor, DWORD level, int difference) {
    DWORD needed = 0;
    DWORD returned = 0;
    const BOOL none = monitor.table->pfnEnumPorts(monitor.handle, nullptr, level, nullptr, 0, &needed, &returned);
    REQUIRE(none == (needed == 0 ? TRUE : FALSE));
    if (difference < 0 && needed < static_cast<DWORD>(-difference)) return;
    const DWORD size = needed + static_cast<DWORD>(difference);
    const ExactBuffer buffer(size);
    const BOOL listed =
        monitor.table->pfnEnumPorts(monitor.handle, nullptr, level, buffer.get(), size, &needed, &returned);
    REQUIRE(listed == (size >= needed ? TRUE : FALSE));
    if (!listed) {
        REQUIRE(GetLastError() == ERROR_INSUFFICIENT_BUFFER);
        return;
    }
    const Ports ports = monitor.ports();
    REQUIRE(returned == ports.size());
    for (DWORD i = 0; i < returned; ++i) {
        const LPWSTR name = level == 1 ? reinterpret_cast<const PORT_INFO_1W*>(buffer.get())[i].pName
                                       : reinterpret_cast<const PORT_INFO_2W*>(buffer.get())[i].pPortName;
        // In a buffer of odd size it lies at an odd address.
        const Text expected = name_of(ports[i]);
        REQUIRE(memcmp(name, expected.c_str(), (expected.size() + 1) * sizeof(WCHAR)) == 0);
    }
}

// False once a port was added whose name is none of these.
bool run(Monitor& monitor, Input& input) {
    bool storable = true;
    std::vector<XcvHandle> handles;
    std::vector<HANDLE> open_ports;
    for (size_t calls = 0; calls < kMostCalls && !input.empty(); ++calls) {
        const uint8_t choice = input.byte() % 16;
        if (choice == 0 || handles.empty()) {
            open_xcv(monitor, input, handles);
        } else if (choice == 1) {
            monitor.table->pfnXcvClosePort(take_out(handles, input).handle);
        } else if (choice == 2 && open_ports.size() < kMostHandles) {
            Text name = take_name(input);
            HANDLE port = nullptr;
            const bool known = count(monitor.ports(), name) == 1;
            REQUIRE(monitor.table->pfnOpenPort(monitor.handle, name.data(), &port) == (known ? TRUE : FALSE));
            if (known) open_ports.push_back(port);
        } else if (choice == 3 && !open_ports.empty()) {
            REQUIRE(monitor.table->pfnClosePort(take_out(open_ports, input)));
        } else if (choice == 4) {
            const DWORD level = input.byte() % 2 + 1;
            enumerate(monitor, level, input.byte() % 5 - 2);
        } else {
            send(monitor, input, handles[input.byte() % handles.size()]);
            enumerate(monitor, 1, 0);
            for (const PortConfig& port : monitor.ports()) storable = storable && is_storable(name_of(port));
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
    Ports before;
    bool storable = true;
    const fuzz::NothingLeftOver nothing;
    {
        Monitor monitor;
        storable = run(monitor, input);
        before = monitor.ports();
    }
    // The next start brings the same ports back, in the order of the registry.
    const Monitor monitor;
    const Ports after = monitor.ports();
    if (!storable) return 0;
    REQUIRE(after.size() == before.size());
    for (const PortConfig& port : after) {
        REQUIRE(std::any_of(before.begin(), before.end(), [&](const PortConfig& old) {
            return same_name(name_of(old), name_of(port)) && old.port_number == port.port_number &&
                   memcmp(old.printer_address, port.printer_address, sizeof old.printer_address) == 0;
        }));
    }
    return 0;
}
