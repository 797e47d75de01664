#include "tsport/migrate/queue.h"

#include <algorithm>
#include <cstdint>

#include "tsport/answer.h"

namespace tsport::migrate {
namespace {

// An open queue.
class OpenQueue {
  public:
    OpenQueue() = default;
    ~OpenQueue() {
        if (handle_ != nullptr) ClosePrinter(handle_);
    }
    OpenQueue(const OpenQueue&) = delete;
    OpenQueue& operator=(const OpenQueue&) = delete;

    DWORD open(Text name, ACCESS_MASK access) {
        PRINTER_DEFAULTSW defaults = {nullptr, nullptr, access};
        if (OpenPrinterW(name.data(), &handle_, &defaults)) return ERROR_SUCCESS;
        handle_ = nullptr;
        return GetLastError();
    }
    HANDLE handle() const { return handle_; }

  private:
    HANDLE handle_ = nullptr;
};

// What the spooler tells about a queue, with the memory for its texts.
class Record {
  public:
    DWORD read(const OpenQueue& queue) {
        DWORD needed = 0;
        for (int tries = 0; tries < 5; ++tries) {
            if (GetPrinterW(queue.handle(), 2, reinterpret_cast<BYTE*>(buffer_.data()),
                            static_cast<DWORD>(buffer_.size() * sizeof buffer_[0]), &needed)) {
                return ERROR_SUCCESS;
            }
            if (const DWORD error = GetLastError(); error != ERROR_INSUFFICIENT_BUFFER) return error;
            buffer_.assign(needed / sizeof buffer_[0] + 1, 0);
        }
        return ERROR_INSUFFICIENT_BUFFER;
    }
    PRINTER_INFO_2W& info() { return *reinterpret_cast<PRINTER_INFO_2W*>(buffer_.data()); }

  private:
    std::vector<std::uint64_t> buffer_ = std::vector<std::uint64_t>(sizeof(PRINTER_INFO_2W) / 8 + 1);
};

Text text_of(LPCWSTR text) {
    return text != nullptr ? Text(text) : Text();
}

// This record with another port. A null security descriptor leaves the queue's own as it is.
DWORD set_port(const OpenQueue& queue, Record& record, Text port) {
    PRINTER_INFO_2W info = record.info();
    info.pPortName = port.data();
    info.pSecurityDescriptor = nullptr;
    return SetPrinterW(queue.handle(), 2, reinterpret_cast<BYTE*>(&info), 0) ? static_cast<DWORD>(ERROR_SUCCESS)
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

std::string refused_to(const char* deed, DWORD code) {
    return std::string("the spooler refused to ") + deed + ": " + host::error_message(code);
}

// After a change that failed: the former port again. What is to be said beside the reason.
std::string put_back(const OpenQueue& queue, Record& before, const Text& from) {
    const DWORD code = set_port(queue, before, from);
    Record now;
    if (now.read(queue) == ERROR_SUCCESS) {
        const Text port = text_of(now.info().pPortName);
        return same_name(port, from) ? "" : "; it prints to " + named(port) + " now";
    }
    return code == ERROR_SUCCESS ? "" : "; which of its two ports it prints to is not known, both lead to its printer";
}

}  // namespace

bool prints_to(const Queue& queue, const Text& port) {
    const auto is_it = [&](const Text& name) { return same_name(name, port); };
    return is_it(queue.port_list) || std::ranges::any_of(queue.ports, is_it);
}

std::string waiting_to_text(DWORD jobs) {
    return std::to_string(jobs) + (jobs == 1 ? " job is waiting" : " jobs are waiting") + " (--with-jobs moves it)";
}

std::string give_port(const Text& name, const Text& from, const Text& to, bool with_jobs) {
    OpenQueue queue;
    Record before;
    if (const DWORD code = queue.open(name, PRINTER_ACCESS_ADMINISTER | PRINTER_ACCESS_USE)) {
        return refused_to("open the queue", code);
    }
    if (const DWORD code = before.read(queue)) return refused_to("show the queue", code);
    const Text port = text_of(before.info().pPortName);
    if (!same_name(port, from)) return "it prints to " + named(port) + " now";
    if (before.info().cJobs != 0 && !with_jobs) return waiting_to_text(before.info().cJobs);
    const DWORD code = set_port(queue, before, to);
    Record after;
    const DWORD read_back = after.read(queue);
    const bool there = read_back == ERROR_SUCCESS && same_name(text_of(after.info().pPortName), to);
    const bool same = read_back == ERROR_SUCCESS && same_settings(before.info(), after.info());
    if (code == ERROR_SUCCESS && there && same) return std::string();
    std::string reason = "the change of its port did not last";
    if (code != ERROR_SUCCESS) {
        reason = refused_to("change its port", code);
    } else if (read_back != ERROR_SUCCESS) {
        reason = refused_to("show the queue after the change of its port", read_back);
    } else if (there) {
        reason = "the change of its port changed other settings of the queue too";
    }
    const bool untouched = same && same_name(text_of(after.info().pPortName), from);
    return untouched ? reason : reason + put_back(queue, before, from);
}

DWORD read_port_of(const Text& name, Text& port) {
    OpenQueue queue;
    Record record;
    DWORD code = queue.open(name, PRINTER_ACCESS_USE);
    if (code == ERROR_SUCCESS) code = record.read(queue);
    if (code == ERROR_SUCCESS) port = text_of(record.info().pPortName);
    return code;
}

}  // namespace tsport::migrate
