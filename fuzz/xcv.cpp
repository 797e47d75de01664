// The configuration channel and the calls on the port list beside it: a sequence of them. Names stay unique, what fails
// changes nothing, the registry holds the same ports, and the next start brings them back.
#include <map>

#include "fuzz/support.h"
#include "host/platform.h"
#include "host/ports.h"
#include "testbed/print_server.h"
#include "winapi/linux/control.h"

namespace {

using fuzz::Input;
using fuzz::Text;
using host::MonitorHost;
using host::PortConfig;

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

// Texts may fill a field and leave no room for a terminator; others have something behind it.
PortConfig take_config(Input& input) {
    const bool has_rest = input.byte() % 2 != 0;
    const Text name = take_name(input);
    const uint8_t choice = input.byte();
    const Text address = choice < 0xF0 ? Text(pick(kAddresses, choice)) : Text(200, WCHAR{'9'});
    PortConfig config = host::port_config(name, address, pick(kClosedPorts, input.byte()));
    if (has_rest) *std::rbegin(config.port_name) = *std::rbegin(config.printer_address) = W('#');
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

// Letter case makes no other name.
struct Less {
    bool operator()(const Text& left, const Text& right) const { return lstrcmpiW(left.c_str(), right.c_str()) < 0; }
};
// Where each name leads to.
using Ports = std::map<Text, std::pair<Text, DWORD>, Less>;

Ports ports_of(const std::vector<PortConfig>& configs) {
    Ports ports;
    for (const PortConfig& config : configs) {
        const auto [port, is_new] = ports.insert({contract::FieldText(config.port_name).text, {}});
        REQUIRE(is_new && lstrcmpiW(port->first.c_str(), kForeignPort) != 0);
        port->second = {contract::FieldText(config.printer_address).text, config.port_number};
    }
    return ports;
}

bool are_equal(const Ports& left, const Ports& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](const auto& one, const auto& other) {
        return lstrcmpiW(one.first.c_str(), other.first.c_str()) == 0 && one.second == other.second;
    });
}

// Whether the registry gives all back as they were, and none touches another one's key.
bool are_storable(const Ports& ports) {
    return std::all_of(ports.begin(), ports.end(), [](const auto& port) {
        const Text& name = port.first;
        return !name.empty() && name.size() < contract::kPortNameSize && name.find(W('\\')) == Text::npos;
    });
}

struct XcvHandle {
    HANDLE handle;
    bool administrator;
};

XcvHandle open_xcv(const MonitorHost& monitor, Input& input) {
    XcvHandle opened = {nullptr, input.byte() % 4 != 0};
    const Text object = take_name(input);
    const ACCESS_MASK access = opened.administrator ? SERVER_ACCESS_ADMINISTER : PRINTER_ACCESS_USE;
    REQUIRE(monitor.table()->pfnXcvOpenPort(monitor.monitor(), object.c_str(), access, &opened.handle));
    return opened;
}

template <typename Handle>
Handle take_out(std::vector<Handle>& handles, Input& input) {
    const auto chosen = handles.begin() + static_cast<ptrdiff_t>(input.byte() % handles.size());
    const Handle handle = *chosen;
    handles.erase(chosen);
    return handle;
}

void send(const MonitorHost& monitor, Input& input, const XcvHandle& xcv) {
    const uint8_t choice = input.byte();
    const bool is_known = choice < 0xF0;
    std::vector<BYTE> in = take_buffer(input);
    const uint8_t room = input.byte();
    std::vector<BYTE> out(room < 0x60 ? sizeof(PortConfig) : room < 0xC0 ? 42 : room);
    const Text command = is_known ? Text(kCommands[choice % 7]) : take_name(input);
    DWORD needed = 0;
    const Ports before = ports_of(host::listed_ports(monitor));
    const DWORD result = monitor.table()->pfnXcvDataPort(
        xcv.handle, command.c_str(), in.data(), static_cast<DWORD>(in.size()), out.data(),
        static_cast<DWORD>(out.size()), input.byte() % 2 != 0 ? nullptr : &needed);
    REQUIRE((result == ERROR_SUCCESS && xcv.administrator && is_known) ||
            are_equal(before, ports_of(host::listed_ports(monitor))));
}

// False once a port was there that is not storable.
bool run(const MonitorHost& monitor, Input& input) {
    bool storable = true;
    std::vector<XcvHandle> handles;
    std::vector<HANDLE> open_ports;
    for (size_t calls = 0; calls < kMostCalls && !input.empty(); ++calls) {
        const uint8_t choice = input.byte() % 16;
        if (choice == 0 || handles.empty()) {
            if (handles.size() < kMostHandles) handles.push_back(open_xcv(monitor, input));
        } else if (choice == 1) {
            monitor.table()->pfnXcvClosePort(take_out(handles, input).handle);
        } else if (choice == 2 && open_ports.size() < kMostHandles) {
            HANDLE port = nullptr;
            if (monitor.open_port(take_name(input), port)) open_ports.push_back(port);
        } else if (choice == 3 && !open_ports.empty()) {
            REQUIRE(monitor.close_port(take_out(open_ports, input)));
        } else {
            send(monitor, input, handles[input.byte() % handles.size()]);
            storable = storable && are_storable(ports_of(host::listed_ports(monitor)));
        }
    }
    for (const XcvHandle& xcv : handles) monitor.table()->pfnXcvClosePort(xcv.handle);
    for (const HANDLE port : open_ports) monitor.close_port(port);
    return storable;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    winapi::allow_dns(false);
    testbed::PrintServer server(fuzz::scratch());
    // The library stays: it counts what its code has been through.
    static const HMODULE library = LoadLibraryW(host::windows_path(server.load_options.library).c_str());
    REQUIRE(library != nullptr);
    spooler_sim::add_foreign_port(kForeignPort);
    Input input(data, size);
    std::string why;
    const fuzz::NothingLeftOver nothing;
    REQUIRE(server.try_load(why));
    const bool storable = run(server.monitor, input);
    const Ports ports = ports_of(host::listed_ports(server.monitor));
    REQUIRE(!storable || are_equal(ports, ports_of(host::stored_ports())));
    server.monitor.unload();
    REQUIRE(server.try_load(why));
    REQUIRE(!storable || are_equal(ports, ports_of(host::listed_ports(server.monitor))));
    server.monitor.unload();
    return 0;
}
