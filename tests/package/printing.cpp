#include "tests/package/printing.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "tests/package/thin_monitor.h"

namespace printing {
namespace {

thread_local thin_monitor::Job announced = {};
thread_local std::vector<Command> commands;

constexpr size_t write_size = 1 << 20;

std::filesystem::path spool_file(DWORD job) {
    WCHAR system[MAX_PATH] = {};
    GetSystemDirectoryW(system, MAX_PATH);
    char name[16];
    std::snprintf(name, sizeof name, "%05lu.SPL", job);
    return std::filesystem::path(system) / "spool" / "PRINTERS" / name;
}

bool is_forgotten(HANDLE printer, DWORD job) {
    BYTE record[4096];
    DWORD needed = 0;
    std::error_code error;
    return !GetJobW(printer, job, 2, record, sizeof record, &needed) &&
           !std::filesystem::exists(spool_file(job), error);
}

bool spool(HANDLE printer, const std::string& data) {
    for (size_t at = 0; at < data.size();) {
        const auto size = static_cast<DWORD>(std::min(write_size, data.size() - at));
        DWORD written = 0;
        if (!WritePrinter(printer, const_cast<char*>(data.data()) + at, size, &written) || written == 0) return false;
        at += written;
    }
    return true;
}

}  // namespace

Outcome print(const Text& queue, const std::string& data, const std::function<void(DWORD job)>& spooled) {
    Outcome outcome;
    HANDLE printer = nullptr;
    Text name = queue;
    if (!OpenPrinterW(name.data(), &printer, nullptr)) return outcome;
    WCHAR document[] = L"document";
    WCHAR type[] = L"RAW";
    DOC_INFO_1W information = {document, nullptr, type};
    const DWORD job = StartDocPrinterW(printer, 1, reinterpret_cast<BYTE*>(&information));
    if (job != 0 && spool(printer, data)) {
        outcome.job = job;
        if (spooled) spooled(job);
        announced = {queue.c_str(), job};
        commands.clear();
        outcome.told = EndDocPrinter(printer) != FALSE;
        announced = {};
        outcome.commands = commands;
        outcome.forgotten = is_forgotten(printer, job);
    }
    ClosePrinter(printer);
    return outcome;
}

bool begin_jobs_at(const Text& queue, DWORD first) {
    HANDLE printer = nullptr;
    Text name = queue;
    if (!OpenPrinterW(name.data(), &printer, nullptr)) return false;
    alignas(ADDJOB_INFO_1W) BYTE record[4096];
    const auto* const added = reinterpret_cast<ADDJOB_INFO_1W*>(record);
    DWORD needed = 0;
    bool given = true;
    do {
        given = AddJobW(printer, 1, record, sizeof record, &needed) != FALSE;
    } while (given && added->JobId + 1 < first);
    ClosePrinter(printer);
    return given;
}

}  // namespace printing

// -- What the thin monitor asks and tells ----------------------------------------------------------------------------

extern "C" __declspec(dllexport) const thin_monitor::Job* announced_job() {
    return printing::announced.printer != nullptr ? &printing::announced : nullptr;
}

extern "C" __declspec(dllexport) void job_was_set(DWORD id, DWORD level, DWORD command, BOOL answer) {
    printing::commands.push_back({id, level, command, answer});
}
