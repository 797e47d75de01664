#include "tests/ui/scripted_spooler.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <mutex>

#include "tests/ui/desk.h"
#include "winapi/spooler_sim/windows/redirect.h"
#include "winportmon/contract/names.h"

namespace ui {
namespace {

ScriptedSpooler* current = nullptr;
std::mutex mutex;  // guards what follows
std::vector<std::string> questions;
std::vector<char> last_input;
std::atomic<int> open_channels = 0;
const std::wstring servers[] = {L"", L"\\\\print1"};  // the address of each is the monitor's handle there

HANDLE monitor_on(const std::wstring& server) {
    return const_cast<std::wstring*>(&server);
}

void note(const std::string& question) {
    const std::lock_guard guard(mutex);
    questions.push_back(question);
}

BOOL WINAPI open_channel(HANDLE monitor, PCWSTR object, ACCESS_MASK access, HANDLE*) {
    const std::wstring& server = *static_cast<const std::wstring*>(monitor);
    note("open " + utf8(server.empty() ? object : server + L"\\" + object) + " " + std::to_string(access));
    ++open_channels;
    if (current->opened) current->opened();
    return TRUE;
}

BOOL WINAPI close_channel(HANDLE) {
    --open_channels;
    return TRUE;
}

DWORD WINAPI carry_out(HANDLE, PCWSTR command, PBYTE input, DWORD size, PBYTE output, DWORD output_size, PDWORD) {
    note("send " + utf8(command));
    {
        const std::lock_guard guard(mutex);
        last_input.assign(input, input + size);
    }
    const DWORD error = current->send ? current->send(command) : DWORD{ERROR_SUCCESS};
    if (error == ERROR_SUCCESS && output_size == sizeof current->config) {
        std::memcpy(output, &current->config, output_size);
    }
    return error;
}

BOOL WINAPI list_ports(HANDLE, LPWSTR, DWORD, BYTE* buffer, DWORD size, DWORD* needed, DWORD* count) {
    *needed = static_cast<DWORD>(current->ports.size() * sizeof(PORT_INFO_1W));
    *count = 0;
    if (size < *needed) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    for (std::wstring& port : current->ports) reinterpret_cast<PORT_INFO_1W*>(buffer)[(*count)++].pName = port.data();
    return TRUE;
}

MONITOR2 make_monitor() {
    MONITOR2 table = {};
    table.pfnEnumPorts = list_ports;
    table.pfnXcvOpenPort = open_channel;
    table.pfnXcvDataPort = carry_out;
    table.pfnXcvClosePort = close_channel;
    return table;
}

MONITOR2 monitor = make_monitor();

}  // namespace

ScriptedSpooler::ScriptedSpooler(HMODULE library) : library_(library) {
    current = this;
    questions.clear();
    last_input.clear();
    spooler_sim::reset();
    spooler_sim::add_server(servers[1]);
    for (const std::wstring& server : servers) {
        spooler_sim::add_monitor(contract::kMonitorName, &monitor, monitor_on(server), server);
    }
    EXPECT_TRUE(spooler_sim::redirect_calls_of(library));
}

ScriptedSpooler::~ScriptedSpooler() {
    EXPECT_TRUE(spooler_sim::restore_calls_of(library_));
    spooler_sim::reset();
    current = nullptr;
}

std::vector<std::string> ScriptedSpooler::asked() const {
    const std::lock_guard guard(mutex);
    return questions;
}

contract::PortConfig ScriptedSpooler::sent() const {
    const std::lock_guard guard(mutex);
    contract::PortConfig record = {};
    if (last_input.size() == sizeof record) std::memcpy(&record, last_input.data(), sizeof record);
    return record;
}

std::wstring ScriptedSpooler::sent_name() const {
    const std::lock_guard guard(mutex);
    return last_input.empty() ? std::wstring() : reinterpret_cast<const WCHAR*>(last_input.data());
}

int ScriptedSpooler::channels() {
    return open_channels;
}

void ScriptedSpooler::remove_monitor() {
    for (const std::wstring& server : servers) spooler_sim::remove_monitor(monitor_on(server));
}

contract::PortConfig make_config(const std::wstring& name, const std::wstring& address, uint32_t port) {
    contract::PortConfig config = {};
    name.copy(config.port_name, contract::kPortNameSize - 1);
    address.copy(config.printer_address, contract::kPrinterAddressSize - 1);
    config.port_number = port;
    return config;
}

}  // namespace ui
