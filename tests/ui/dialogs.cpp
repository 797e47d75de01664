#include "tests/ui/dialogs.h"

#include <cstring>

#include "winapi/spooler_sim/spooler_sim.h"
#include "winapi/spooler_sim/windows/redirect.h"

namespace ui {
namespace {

Dialogs* current = nullptr;
const std::wstring servers[] = {L"", L"\\\\print1"};  // the address of each is the monitor's handle there

HANDLE monitor_on(const std::wstring& server) {
    return const_cast<std::wstring*>(&server);
}

}  // namespace

bool install_libraries() {
    WCHAR path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring program = path;
    const std::wstring build = program.substr(0, program.rfind(L'\\')) + L"\\..\\";
    GetSystemDirectoryW(path, MAX_PATH);
    for (const std::wstring file :
         {L"bin\\tsprintportmonui.dll", L"bin\\tsprintportmon.dll", L"spooler\\thin_monitor.dll"}) {
        const std::wstring to = path + file.substr(file.rfind(L'\\'));
        if (!CopyFileW((build + file).c_str(), to.c_str(), FALSE)) return false;
    }
    return true;
}

HMODULE library() {
    static const HMODULE loaded = LoadLibraryW(L"tsprintportmonui.dll");
    return loaded;
}

const MONITORUI& functions() {
    using Initialize = MONITORUI* WINAPI();
    static const MONITORUI* const found = reinterpret_cast<Initialize*>(
        reinterpret_cast<void (*)()>(GetProcAddress(library(), "InitializePrintMonitorUI")))();
    return *found;
}

Desk add_port(const WCHAR* server) {
    return Desk([=](HWND window) { return functions().pfnAddPortUI(server, window, contract::kMonitorName, nullptr); });
}

Desk configure_port(const WCHAR* port, const WCHAR* server) {
    return Desk([=](HWND window) { return functions().pfnConfigurePortUI(server, window, port); });
}

Desk delete_port(const WCHAR* port, const WCHAR* server) {
    return Desk([=](HWND window) { return functions().pfnDeletePortUI(server, window, port); });
}

// -- The monitor -----------------------------------------------------------------------------------------------------

struct Dialogs::Monitor {
    static void note(const std::string& question) {
        const std::lock_guard guard(current->mutex_);
        current->asked_.push_back(question);
    }

    static BOOL WINAPI open_channel(HANDLE monitor, PCWSTR object, ACCESS_MASK access, HANDLE*) {
        const std::wstring& server = *static_cast<const std::wstring*>(monitor);
        note("open " + host::to_utf8(server.empty() ? object : server + L"\\" + object) + " " + std::to_string(access));
        ++current->channels_;
        if (current->opened) current->opened();
        return TRUE;
    }

    static BOOL WINAPI close_channel(HANDLE) {
        --current->channels_;
        return TRUE;
    }

    static DWORD WINAPI carry_out(HANDLE, PCWSTR name, PBYTE input, DWORD size, PBYTE output, DWORD output_size,
                                  PDWORD) {
        std::string command = host::to_utf8(name);
        if (size == sizeof(host::PortConfig)) {
            command += " " + host::to_line(*reinterpret_cast<const host::PortConfig*>(input));
        } else if (size != 0) {
            command += " " + host::to_utf8(reinterpret_cast<const WCHAR*>(input));
        }
        note(command);
        const DWORD error = current->answer ? current->answer(command) : DWORD{ERROR_SUCCESS};
        if (error == ERROR_SUCCESS && output_size == sizeof current->config) {
            std::memcpy(output, &current->config, output_size);
        }
        return error;
    }

    static BOOL WINAPI list_ports(HANDLE, LPWSTR, DWORD, BYTE* buffer, DWORD size, DWORD* needed, DWORD* count) {
        *needed = static_cast<DWORD>(current->ports_.size() * sizeof(PORT_INFO_1W));
        *count = 0;
        if (size < *needed) {
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return FALSE;
        }
        for (std::wstring& port : current->ports_) {
            reinterpret_cast<PORT_INFO_1W*>(buffer)[(*count)++].pName = port.data();
        }
        return TRUE;
    }
};

Dialogs::Dialogs() {
    static MONITOR2 monitor = {};
    monitor.pfnEnumPorts = Monitor::list_ports;
    monitor.pfnXcvOpenPort = Monitor::open_channel;
    monitor.pfnXcvDataPort = Monitor::carry_out;
    monitor.pfnXcvClosePort = Monitor::close_channel;
    current = this;
    spooler_sim::reset();
    spooler_sim::add_server(servers[1]);
    for (const std::wstring& server : servers) {
        spooler_sim::add_monitor(contract::kMonitorName, &monitor, monitor_on(server), server);
    }
    spooler_sim::set_strict_port_list(GetParam());
    EXPECT_TRUE(spooler_sim::redirect_calls_of(library()));
}

Dialogs::~Dialogs() {
    EXPECT_TRUE(wait_until([&] { return channels_ == 0; })) << channels_ << " channels are left open";
    EXPECT_TRUE(spooler_sim::restore_calls_of(library()));
    spooler_sim::reset();
}

std::vector<std::string> Dialogs::asked() {
    const std::lock_guard guard(mutex_);
    return asked_;
}

void Dialogs::set_ports(std::vector<std::wstring> names) {
    ports_ = std::move(names);
    spooler_sim::set_strict_port_list(GetParam());  // with these
}

void Dialogs::remove_monitor() {
    for (const std::wstring& server : servers) spooler_sim::remove_monitor(monitor_on(server));
}

void Dialogs::expect_added(Desk& desk, std::source_location place) {
    if (GetParam()) {
        desk.expect_box(
            L"The port \"*\" was added and stored, but the print spooler on *\n\n*\n"
            L"net stop spooler /y\nnet start spooler",
            place);
    }
    desk.expect_end(ERROR_SUCCESS, place);
}

}  // namespace ui
