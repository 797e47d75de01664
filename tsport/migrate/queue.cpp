#include "tsport/migrate/queue.h"

#include <algorithm>

#include "tsport/answer.h"

namespace tsport::migrate {
namespace {

// What the spooler tells about a queue.
using Record = Records<PRINTER_INFO_2W>;

DWORD read(const Channel& queue, Record& record) {
    return record.read([&](BYTE* buffer, DWORD size, DWORD* needed, DWORD*) {
        return GetPrinterW(queue.get(), 2, buffer, size, needed);
    });
}

Text port_of(const Record& record) {
    return text_of(record.begin()->pPortName);
}

// This record with another port. A null security descriptor leaves the queue's own as it is.
DWORD set_port(const Channel& queue, const Record& record, Text port) {
    PRINTER_INFO_2W info = *record.begin();
    info.pPortName = port.data();
    info.pSecurityDescriptor = nullptr;
    return SetPrinterW(queue.get(), 2, reinterpret_cast<BYTE*>(&info), 0) ? static_cast<DWORD>(ERROR_SUCCESS)
                                                                          : GetLastError();
}

// Whether people find and use the queue as before.
bool same_settings(const PRINTER_INFO_2W& one, const PRINTER_INFO_2W& other) {
    constexpr LPWSTR PRINTER_INFO_2W::*texts[] = {
        &PRINTER_INFO_2W::pPrinterName, &PRINTER_INFO_2W::pShareName,  &PRINTER_INFO_2W::pDriverName,
        &PRINTER_INFO_2W::pComment,     &PRINTER_INFO_2W::pLocation,   &PRINTER_INFO_2W::pPrintProcessor,
        &PRINTER_INFO_2W::pDatatype,    &PRINTER_INFO_2W::pParameters, &PRINTER_INFO_2W::pSepFile};
    for (const auto text : texts) {
        if (text_of(one.*text) != text_of(other.*text)) return false;
    }
    constexpr DWORD attributes = PRINTER_ATTRIBUTE_SHARED | PRINTER_ATTRIBUTE_PUBLISHED;
    return ((one.Attributes ^ other.Attributes) & attributes) == 0 && one.Priority == other.Priority &&
           one.StartTime == other.StartTime && one.UntilTime == other.UntilTime &&
           ((one.Status ^ other.Status) & PRINTER_STATUS_PAUSED) == 0;
}

// After a change that failed: the former port again. What is to be said beside the reason.
std::string put_back(const Channel& queue, const Record& before, const Text& from) {
    const DWORD code = set_port(queue, before, from);
    Record now;
    if (read(queue, now) == ERROR_SUCCESS) {
        const Text port = port_of(now);
        return same_name(port, from) ? "" : "; it prints to " + named(port) + " now";
    }
    return code == ERROR_SUCCESS ? "" : "; which of its two ports it prints to is not known, both lead to its printer";
}

}  // namespace

std::string refused_to(const std::string& deed, DWORD code) {
    return code == ERROR_SUCCESS ? "" : "the spooler refused to " + deed + ": " + host::error_message(code);
}

bool prints_to(const Queue& queue, const Text& port) {
    const auto is_it = [&](const Text& name) { return same_name(name, port); };
    return is_it(queue.port_list) || std::ranges::any_of(queue.ports, is_it);
}

std::string waiting_to_text(DWORD jobs) {
    return std::to_string(jobs) + (jobs == 1 ? " job is waiting" : " jobs are waiting") + " (--with-jobs moves it)";
}

std::string give_port(const Text& name, const Text& from, const Text& to, bool with_jobs) {
    Channel queue;
    Record before;
    if (const DWORD code = queue.open(name, PRINTER_ACCESS_ADMINISTER | PRINTER_ACCESS_USE)) {
        return refused_to("open the queue", code);
    }
    if (const DWORD code = read(queue, before)) return refused_to("show the queue", code);
    const Text port = port_of(before);
    if (!same_name(port, from)) return "it prints to " + named(port) + " now";
    if (before.begin()->cJobs != 0 && !with_jobs) return waiting_to_text(before.begin()->cJobs);
    const DWORD code = set_port(queue, before, to);
    Record after;
    const DWORD read_back = read(queue, after);
    const bool there = read_back == ERROR_SUCCESS && same_name(port_of(after), to);
    const bool same = read_back == ERROR_SUCCESS && same_settings(*before.begin(), *after.begin());
    if (code == ERROR_SUCCESS && there && same) return std::string();
    std::string reason = "the change of its port did not last";
    if (there) reason = "the change of its port changed other settings of the queue too";
    if (read_back != ERROR_SUCCESS) reason = refused_to("show the queue after the change of its port", read_back);
    if (code != ERROR_SUCCESS) reason = refused_to("change its port", code);
    const bool untouched = same && same_name(port_of(after), from);
    return untouched ? reason : reason + put_back(queue, before, from);
}

DWORD read_port_of(const Text& name, Text& port) {
    Channel queue;
    Record record;
    DWORD code = queue.open(name, PRINTER_ACCESS_USE);
    if (code == ERROR_SUCCESS) code = read(queue, record);
    if (code == ERROR_SUCCESS) port = port_of(record);
    return code;
}

}  // namespace tsport::migrate
