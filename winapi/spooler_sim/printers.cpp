// Printers as the spooler describes them to programs, and as those change them.
#include <algorithm>
#include <cstring>

#include "winapi/spooler_sim/channel.h"
#include "winapi/spooler_sim/functions.h"
#include "winapi/spooler_sim/state.h"

namespace spooler_sim {
namespace {

constexpr struct {
    Text Printer::*field;
    LPWSTR PRINTER_INFO_2W::*member;
} texts[] = {
    {&Printer::name, &PRINTER_INFO_2W::pPrinterName},   {&Printer::share, &PRINTER_INFO_2W::pShareName},
    {&Printer::port, &PRINTER_INFO_2W::pPortName},      {&Printer::driver, &PRINTER_INFO_2W::pDriverName},
    {&Printer::comment, &PRINTER_INFO_2W::pComment},    {&Printer::location, &PRINTER_INFO_2W::pLocation},
    {&Printer::separator, &PRINTER_INFO_2W::pSepFile},  {&Printer::processor, &PRINTER_INFO_2W::pPrintProcessor},
    {&Printer::data_type, &PRINTER_INFO_2W::pDatatype}, {&Printer::parameters, &PRINTER_INFO_2W::pParameters},
};

constexpr struct {
    DWORD Printer::*field;
    DWORD PRINTER_INFO_2W::*member;
} numbers[] = {
    {&Printer::attributes, &PRINTER_INFO_2W::Attributes},
    {&Printer::priority, &PRINTER_INFO_2W::Priority},
    {&Printer::default_priority, &PRINTER_INFO_2W::DefaultPriority},
    {&Printer::start_time, &PRINTER_INFO_2W::StartTime},
    {&Printer::until_time, &PRINTER_INFO_2W::UntilTime},
};

DWORD size_of(const Printer& printer) {
    size_t size = sizeof(PRINTER_INFO_2W) + TextPacker::size_of_bytes(printer.devmode);
    for (const auto& text : texts) size += packed_size(printer.*text.field);
    return static_cast<DWORD>(size);
}

void fill(const Printer& printer, PRINTER_INFO_2W& info, TextPacker& packer) {
    std::memset(&info, 0, sizeof info);
    for (const auto& text : texts) info.*text.member = packer.place(printer.*text.field);
    for (const auto& number : numbers) info.*number.member = printer.*number.field;
    if (!printer.devmode.empty()) info.pDevMode = reinterpret_cast<DEVMODEW*>(packer.place_bytes(printer.devmode));
    info.Status = printer.status;
    info.cJobs = static_cast<DWORD>(std::ranges::count_if(
        state().jobs, [&](const JobRecord& record) { return same_name(record.job.printer, printer.name); }));
}

// Whether a printer's name says that it belongs to the server.
bool belongs_to(const Printer& printer, const Text& server) {
    const Text prefix = server + W("\\");
    if (server.empty()) return printer.name.rfind(W("\\\\"), 0) != 0;
    return printer.name.size() > prefix.size() && same_name(printer.name.substr(0, prefix.size()), prefix);
}

// A queue may print to any port that its server knows; several are separated by commas.
bool knows_ports(const Printer& printer, const Text& ports) {
    const Text server = belongs_to(printer, Text()) ? Text() : printer.name.substr(0, printer.name.find(W('\\'), 2));
    if (knows_port(server, ports)) return true;
    for (size_t begin = 0; begin <= ports.size();) {
        const size_t end = std::min(ports.find(W(','), begin), ports.size());
        if (!knows_port(server, ports.substr(begin, end - begin))) return false;
        begin = end + 1;
    }
    return true;
}

// Level 2: all but status and jobs. A printer keeps its name and security descriptor here.
DWORD change_printer(Printer& printer, const PRINTER_INFO_2W& info) {
    const auto given = [](LPCWSTR text) { return text != nullptr ? Text(text) : Text(); };
    if (given(info.pPrinterName) != printer.name || info.pSecurityDescriptor != nullptr) return ERROR_NOT_SUPPORTED;
    if (!knows_ports(printer, given(info.pPortName))) return ERROR_UNKNOWN_PORT;
    for (const auto& text : texts) printer.*text.field = given(info.*text.member);
    for (const auto& number : numbers) printer.*number.field = info.*number.member;
    printer.devmode.clear();
    if (info.pDevMode != nullptr) {
        const size_t size = size_t{info.pDevMode->dmSize} + info.pDevMode->dmDriverExtra;
        printer.devmode.assign(reinterpret_cast<const char*>(info.pDevMode), size);
    }
    return 0;
}

}  // namespace

DWORD printer_of(HANDLE handle, PrinterRecord*& printer) {
    constexpr DWORD printer_deleted = 1905;  // ERROR_PRINTER_DELETED
    const auto found = state().open_printers.find(handle);
    if (found == state().open_printers.end()) return ERROR_INVALID_HANDLE;
    printer = find_printer(found->second.name);
    return printer == nullptr ? printer_deleted : 0;
}

DWORD get_printer(HANDLE printer, DWORD level, BYTE* buffer, DWORD size, DWORD* needed) {
    if (needed == nullptr) return ERROR_INVALID_PARAMETER;
    if (level != 2) return ERROR_INVALID_LEVEL;
    if (buffer == nullptr && size != 0) return ERROR_INVALID_PARAMETER;
    const std::lock_guard lock(state().mutex);
    PrinterRecord* record = nullptr;
    if (const DWORD error = printer_of(printer, record)) return error;
    *needed = size_of(*record);
    if (size < *needed) return ERROR_INSUFFICIENT_BUFFER;
    TextPacker packer(buffer, size);
    fill(*record, *reinterpret_cast<PRINTER_INFO_2W*>(buffer), packer);
    return 0;
}

DWORD set_printer(HANDLE printer, DWORD level, const BYTE* record, DWORD command) {
    if (level != 2 && level != 6) return ERROR_INVALID_LEVEL;
    if (record == nullptr || command != 0) return ERROR_INVALID_PARAMETER;
    const std::lock_guard lock(state().mutex);
    PrinterRecord* found = nullptr;
    if (const DWORD error = printer_of(printer, found)) return error;
    if (level == 2) {
        if ((state().open_printers[printer].access & PRINTER_ACCESS_ADMINISTER) == 0) return ERROR_ACCESS_DENIED;
        return change_printer(*found, *reinterpret_cast<const PRINTER_INFO_2W*>(record));
    }
    change_printer_status(*found, reinterpret_cast<const PRINTER_INFO_6*>(record)->dwStatus);
    return 0;
}

DWORD enum_printers(DWORD flags, LPCWSTR server, DWORD level, BYTE* buffer, DWORD size, DWORD* needed,
                    DWORD* returned) {
    if (needed == nullptr || returned == nullptr) return ERROR_INVALID_PARAMETER;
    if (level != 2) return ERROR_INVALID_LEVEL;
    if (flags != PRINTER_ENUM_LOCAL && flags != PRINTER_ENUM_NAME) return ERROR_INVALID_PARAMETER;
    const std::lock_guard lock(state().mutex);
    Text name;
    if (!find_server(flags == PRINTER_ENUM_NAME ? server : nullptr, name)) return RPC_S_SERVER_UNAVAILABLE;
    std::vector<const PrinterRecord*> printers;
    *needed = state().lists_never_fit ? size + 1 : 0;
    *returned = 0;
    for (const auto& [key, printer] : state().printers) {
        if (!belongs_to(printer, name)) continue;
        printers.push_back(&printer);
        *needed += size_of(printer);
    }
    if (size < *needed) return ERROR_INSUFFICIENT_BUFFER;
    TextPacker packer(buffer, size);
    for (const PrinterRecord* const printer : printers) {
        fill(*printer, reinterpret_cast<PRINTER_INFO_2W*>(buffer)[(*returned)++], packer);
    }
    return 0;
}

}  // namespace spooler_sim
