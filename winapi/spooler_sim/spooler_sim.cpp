#include "winapi/spooler_sim/spooler_sim.h"

#include <algorithm>
#include <cstring>

#include "winapi/spooler_sim/state.h"

namespace spooler_sim {
namespace {

// The jobs of a printer; an unregistered printer can have some too. The lock is held.
const Text& queue_name(const Text& printer) {
    const PrinterRecord* const registered = find_registered(printer);
    return registered == nullptr ? printer : registered->name;
}

}  // namespace

State& state() {
    static State* const instance = new State;  // outlives every static of the process
    return *instance;
}

bool same_name(const Text& left, const Text& right) {
    return lstrcmpiW(left.c_str(), right.c_str()) == 0;
}

PrinterRecord* find_printer(const Text& name) {
    const auto found = state().printers.find(name);
    return found == state().printers.end() ? nullptr : &found->second;
}

PrinterRecord* find_registered(const Text& name) {
    if (PrinterRecord* const record = find_printer(name)) return record;
    if (name.size() < 2 || name[0] != W('\\') || name[1] != W('\\')) return nullptr;
    const size_t separator = name.find(W('\\'), 2);
    return separator == Text::npos ? nullptr : find_printer(name.substr(separator + 1));
}

JobRecord* find_job(const Text& printer, DWORD id) {
    const Text& name = queue_name(printer);
    for (JobRecord& record : state().jobs) {
        if (record.job.id == id && same_name(record.job.printer, name)) return &record;
    }
    return nullptr;
}

void change_job_status(JobRecord& record, DWORD status) {
    if (record.job.status == status) return;
    record.job.status = status;
    record.job.status_seen.push_back(status);
}

void change_printer_status(PrinterRecord& record, DWORD status) {
    if (record.status == status) return;
    record.status = status;
    record.status_seen.push_back(status);
}

HANDLE new_handle() {
    // A separate range, so that none is mistaken for a handle of another kind.
    const std::uint64_t value = 0x5350'0000'0000ULL + (++state().handles_given << 2);
    return reinterpret_cast<HANDLE>(value);  // NOLINT(performance-no-int-to-ptr)
}

LPWSTR TextPacker::place(const Text& text) {
    end_ -= packed_size(text);
    std::memcpy(end_, text.c_str(), packed_size(text));
    return reinterpret_cast<LPWSTR>(end_);
}

BYTE* TextPacker::place_bytes(const std::string& bytes) {
    end_ -= bytes.size();
    end_ -= reinterpret_cast<std::uintptr_t>(end_) % kAlignment;
    std::memcpy(end_, bytes.data(), bytes.size());
    return end_;
}

DWORD packed_size(const Text& text) {
    return static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR));
}

void reset() {
    State& s = state();
    const std::lock_guard lock(s.mutex);
    s.printers.clear();
    s.jobs.clear();
    s.monitors.clear();
    s.foreign_ports.clear();
    delete_standard_ports();
    s.strict_port_list = false;
    s.known_ports.clear();
    s.servers.clear();
    s.administrator = true;
    s.lists_never_fit = false;
}

void add_printer(const Printer& printer) {
    const std::lock_guard lock(state().mutex);
    state().printers.try_emplace(printer.name, PrinterRecord{printer, {}});
}

void add_printer(const Text& name, const Text& port) {
    Printer printer;
    printer.name = name;
    printer.port = port;
    add_printer(printer);
}

bool get_printer(const Text& name, Printer& printer) {
    const std::lock_guard lock(state().mutex);
    const PrinterRecord* const record = find_printer(name);
    if (record != nullptr) printer = *record;
    return record != nullptr;
}

void remove_printer(const Text& name) {
    State& s = state();
    const std::lock_guard lock(s.mutex);
    s.printers.erase(name);
    std::erase_if(s.jobs, [&](const JobRecord& record) { return same_name(record.job.printer, name); });
}

DWORD printer_status(const Text& name) {
    const std::lock_guard lock(state().mutex);
    const PrinterRecord* const record = find_printer(name);
    return record == nullptr ? 0 : record->status;
}

void set_printer_status(const Text& name, DWORD status) {
    const std::lock_guard lock(state().mutex);
    if (PrinterRecord* const record = find_printer(name)) change_printer_status(*record, status);
}

std::vector<DWORD> printer_status_seen(const Text& name) {
    const std::lock_guard lock(state().mutex);
    const PrinterRecord* const record = find_printer(name);
    return record == nullptr ? std::vector<DWORD>() : record->status_seen;
}

void add_job(const Text& printer, DWORD id, const Text& document, const Text& user) {
    const std::lock_guard lock(state().mutex);
    JobRecord fresh;
    fresh.job.id = id;
    fresh.job.printer = queue_name(printer);
    fresh.job.document = document;
    fresh.job.user = user;
    if (JobRecord* const record = find_job(printer, id)) {
        *record = fresh;
    } else {
        state().jobs.push_back(fresh);
    }
}

bool get_job(const Text& printer, DWORD id, Job& job) {
    const std::lock_guard lock(state().mutex);
    const JobRecord* const record = find_job(printer, id);
    if (record == nullptr) return false;
    job = record->job;
    return true;
}

bool set_job_status(const Text& printer, DWORD id, DWORD status) {
    const std::lock_guard lock(state().mutex);
    JobRecord* const record = find_job(printer, id);
    if (record == nullptr) return false;
    change_job_status(*record, status);
    return true;
}

bool remove_job(const Text& printer, DWORD id) {
    State& s = state();
    const std::lock_guard lock(s.mutex);
    const JobRecord* const found = find_job(printer, id);
    if (found == nullptr) return false;
    s.jobs.erase(s.jobs.begin() + (found - s.jobs.data()));
    return true;
}

bool take_restart(const Text& printer, DWORD id) {
    const std::lock_guard lock(state().mutex);
    JobRecord* const record = find_job(printer, id);
    if (record == nullptr || record->restarts == 0) return false;
    if (--record->restarts == 0) change_job_status(*record, record->job.status & ~DWORD{JOB_STATUS_RESTART});
    return true;
}

size_t open_printers() {
    const std::lock_guard lock(state().mutex);
    return state().open_printers.size();
}

size_t open_tokens() {
    const std::lock_guard lock(state().mutex);
    return state().tokens.size();
}

}  // namespace spooler_sim
