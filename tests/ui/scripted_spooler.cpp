#include "tests/ui/scripted_spooler.h"

#include <atomic>
#include <cstring>
#include <iterator>
#include <mutex>

#include "tests/ui/desk.h"

namespace ui {
namespace {

ScriptedSpooler* current = nullptr;
std::mutex mutex;  // guards what follows
std::vector<std::string> questions;
std::vector<char> last_input;
std::atomic<int> open_channels = 0;
char channel;  // its address is every handle

void note(const std::string& question) {
    const std::lock_guard guard(mutex);
    questions.push_back(question);
}

BOOL answer(DWORD error) {
    if (error == ERROR_SUCCESS) return TRUE;
    SetLastError(error);
    return FALSE;
}

BOOL WINAPI open_printer(LPWSTR object, LPHANDLE handle, PRINTER_DEFAULTSW* defaults) {
    note("open " + utf8(object) + " " + std::to_string(defaults->DesiredAccess));
    const DWORD error = current->open ? current->open(object) : ERROR_SUCCESS;
    if (error == ERROR_SUCCESS) {
        *handle = &channel;
        ++open_channels;
    }
    return answer(error);
}

BOOL WINAPI close_printer(HANDLE handle) {
    if (handle == &channel) --open_channels;
    return TRUE;
}

BOOL WINAPI xcv_data(HANDLE, PCWSTR command, PBYTE input, DWORD size, PBYTE output, DWORD output_size, PDWORD,
                     PDWORD status) {
    note("send " + utf8(command));
    {
        const std::lock_guard guard(mutex);
        last_input.assign(input, input + size);
    }
    *status = current->send ? current->send(command, input) : ERROR_SUCCESS;
    if (*status == ERROR_SUCCESS && output_size == sizeof current->config) {
        std::memcpy(output, &current->config, output_size);
    }
    return TRUE;
}

// As the system does: texts behind the records.
BOOL WINAPI enum_printers(DWORD flags, LPWSTR server, DWORD, LPBYTE buffer, DWORD size, LPDWORD needed, LPDWORD count) {
    note("printers of " + (server != nullptr ? utf8(server) : "here") + " " + std::to_string(flags));
    const DWORD error = current->enumerate ? current->enumerate() : ERROR_SUCCESS;
    if (error != ERROR_SUCCESS) return answer(error);
    size_t whole = current->printers.size() * sizeof(PRINTER_INFO_2W);
    size_t text = whole;
    for (const Printer& printer : current->printers) {
        whole += (printer.name.size() + printer.ports.size() + 2) * sizeof(WCHAR);
    }
    *needed = static_cast<DWORD>(whole);
    *count = 0;
    if (size < whole) return answer(ERROR_INSUFFICIENT_BUFFER);
    const auto put = [&](const std::wstring& source) {
        auto* const place = reinterpret_cast<WCHAR*>(buffer + text);
        std::memcpy(place, source.c_str(), (source.size() + 1) * sizeof(WCHAR));
        text += (source.size() + 1) * sizeof(WCHAR);
        return place;
    };
    for (const Printer& printer : current->printers) {
        auto& record = reinterpret_cast<PRINTER_INFO_2W*>(buffer)[(*count)++];
        record = {};
        record.pPrinterName = put(printer.name);
        record.pPortName = put(printer.ports);
    }
    return TRUE;
}

template <typename Function>
spooler_sim::Function address_of(Function* function) {
    return reinterpret_cast<spooler_sim::Function>(function);
}

const struct {
    const char* name;
    spooler_sim::Function function;
} functions[] = {{"OpenPrinterW", address_of(open_printer)},
                 {"ClosePrinter", address_of(close_printer)},
                 {"XcvDataW", address_of(xcv_data)},
                 {"EnumPrintersW", address_of(enum_printers)}};

}  // namespace

ScriptedSpooler::ScriptedSpooler(HMODULE library) : library_(library) {
    current = this;
    questions.clear();
    last_input.clear();
    for (const auto& one : functions) before_.push_back(spooler_sim::replace_import(library, one.name, one.function));
}

ScriptedSpooler::~ScriptedSpooler() {
    for (size_t i = 0; i < std::size(functions); ++i)
        spooler_sim::replace_import(library_, functions[i].name, before_[i]);
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

int ScriptedSpooler::channels() const {
    return open_channels;
}

contract::PortConfig make_config(const std::wstring& name, const std::wstring& address, uint32_t port) {
    contract::PortConfig config = {};
    name.copy(config.port_name, contract::kPortNameSize - 1);
    address.copy(config.printer_address, contract::kPrinterAddressSize - 1);
    config.port_number = port;
    return config;
}

}  // namespace ui
