#include "host/monitor_host.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <vector>

#include "host/monitor_registry.h"
#include "host/platform.h"
#include "winportmon/tsmon/tsmon.h"

namespace host {
namespace {

using InitializeFunction = MONITOR2*(WINAPI*)(PMONITORINIT, PHANDLE);

LPWSTR writable(const Text& text) {
    return const_cast<LPWSTR>(text.c_str());
}

// Whether the helper program has ordered the document's job deleted. To the spooler such a job ends as if it had been
// printed; only the port's own record tells.
bool is_dropped(HANDLE port) {
    return static_cast<const tsmon::PortEntry*>(port)->marked_for_deletion != 0;
}

// Takes all restarts that a job has been given so far.
bool restart_asked(const Document& document) {
    bool asked = false;
    while (spooler_sim::take_restart(document.printer, document.job_id)) asked = true;
    return asked;
}

std::string restarts_to_text(unsigned restarts) {
    if (restarts == 0) return std::string();
    return restarts == 1 ? " after 1 restart" : " after " + std::to_string(restarts) + " restarts";
}

// How one run of a job through the monitor went; an empty message: to its end.
struct Run {
    std::string message;
    bool started = true;
    bool dropped = false;
    bool ended() const { return message.empty(); }
};

// One buffer, in as many calls as the monitor needs for it.
Run write_buffer(const MonitorHost& monitor, const Document& document, HANDLE port, const char* data, DWORD size,
                 Outcome& outcome) {
    unsigned retries = 0;
    while (size != 0) {
        DWORD written = 0;
        ++outcome.writes;
        const bool sent = monitor.write(port, data, size, written);
        if (!sent) outcome.error = GetLastError();
        if (sent && written > size) return {"the monitor reports more bytes sent than it was given"};
        if (sent && written != 0) {
            data += written;
            size -= written;
            outcome.bytes += written;
            if (document.progress) document.progress(outcome.bytes);
            continue;
        }
        spooler_sim::Job job;
        const bool known = spooler_sim::get_job(document.printer, document.job_id, job);
        if (known && (job.status & JOB_STATUS_RESTART) != 0) return {"the connection to the printer was lost"};
        if (retries++ == document.most_retries) return {"the printer does not take the data"};
        Sleep(document.retry_pause_ms);
    }
    return Run();
}

Run write_all(const MonitorHost& monitor, const Document& document, HANDLE port, Outcome& outcome) {
    std::vector<char> buffer(document.write_size);
    std::uint64_t left = document.source.size;
    while (left != 0) {
        const size_t asked = left < buffer.size() ? static_cast<size_t>(left) : buffer.size();
        if (document.source.read(buffer.data(), asked) != asked) return {"the document cannot be read"};
        Run run = write_buffer(monitor, document, port, buffer.data(), static_cast<DWORD>(asked), outcome);
        if (!run.ended()) return run;
        left -= asked;
    }
    return Run();
}

Run run_once(const MonitorHost& monitor, const Document& document, Outcome& outcome) {
    if (!document.source.rewind()) return {"the document cannot be read", false};
    HANDLE port = nullptr;
    if (!monitor.open_port(document.port, port)) {
        return {"the monitor has no port \"" + to_utf8(document.port) + "\"", false};
    }
    spooler_sim::set_job_status(document.printer, document.job_id, JOB_STATUS_PRINTING);
    Run run;
    if (monitor.start_document(port, document.printer, document.job_id, document.name)) {
        run = write_all(monitor, document, port, outcome);
        run.dropped = is_dropped(port);
        if (!monitor.end_document(port) && run.ended()) {
            outcome.error = GetLastError();
            run.message = "the monitor could not end the document";
        }
    } else {
        outcome.error = GetLastError();
        run = {"the monitor could not begin the document, its log says why", false};
    }
    monitor.close_port(port);
    return run;
}

// Sends the job, and sends it again as often as the monitor asks for it and the host is willing to.
void run_job(const MonitorHost& monitor, const Document& document, Outcome& outcome) {
    for (;;) {
        outcome.bytes = 0;
        const Run run = run_once(monitor, document, outcome);
        const bool restart = restart_asked(document);
        if (run.ended() && !restart) {
            outcome.result = run.dropped ? Result::dropped : Result::printed;
            outcome.message = (run.dropped ? "dropped by order of the helper program" : "printed") +
                              restarts_to_text(outcome.restarts);
            return;
        }
        if (!restart || outcome.restarts == document.most_restarts) {
            outcome.result = run.started ? Result::failed : Result::not_started;
            outcome.message = (run.started ? "failed" : "not started") + restarts_to_text(outcome.restarts) + ": " +
                              (run.ended() ? "the monitor asks for yet another one" : run.message);
            return;
        }
        ++outcome.restarts;
    }
}

}  // namespace

bool MonitorHost::load(const Options& options, std::string& why) {
    unload();
    options_ = options;
    library_ = LoadLibraryW(windows_path(options.library).c_str());
    if (library_ == nullptr) {
        return refuse(why, options.library + " cannot be loaded (" + error_message(GetLastError()) + ")");
    }
    if (!use_simulated_spooler(library_)) {
        why = options.library + " cannot be connected to the simulated spooler (" + error_message(GetLastError()) + ")";
    } else if (start_monitor(options_, why)) {
        return true;
    }
    unload();
    return false;
}

bool MonitorHost::start_monitor(const Options& options, std::string& why) {
    const FARPROC address = GetProcAddress(library_, "InitializePrintMonitor2");
    if (address == nullptr) {
        return refuse(why, options.library + " is not a port monitor: it has no InitializePrintMonitor2");
    }
    HKEY root = nullptr;
    const LSTATUS status = RegCreateKeyExW(options.hive, options.registry_path.c_str(), 0, nullptr,
                                           REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &root, nullptr);
    if (status != ERROR_SUCCESS) {
        return refuse(
            why, "the monitor's registry key cannot be opened (" + error_message(static_cast<DWORD>(status)) + ")");
    }
    init_ = {sizeof init_,
             spooler_handle(),
             root,
             monitor_registry(),
             options.local ? TRUE : FALSE,
             options.server_name.empty() ? nullptr : options.server_name.c_str()};
    const auto initialize = reinterpret_cast<InitializeFunction>(reinterpret_cast<void (*)()>(address));
    table_ = initialize(&init_, &monitor_);
    if (table_ == nullptr) return refuse(why, "the monitor could not start (see " + options.folder.log() + ")");
    spooler_sim::add_monitor(contract::kMonitorName, table_, monitor_, options.simulated_server);
    return true;
}

void MonitorHost::unload() {
    if (table_ != nullptr) {
        spooler_sim::remove_monitor(monitor_);
        if (table_->pfnShutdown != nullptr) table_->pfnShutdown(monitor_);
    }
    if (init_.hckRegistryRoot != nullptr) RegCloseKey(static_cast<HKEY>(init_.hckRegistryRoot));
    if (library_ != nullptr) FreeLibrary(library_);
    table_ = nullptr;
    monitor_ = nullptr;
    init_ = {};
    library_ = nullptr;
}

bool MonitorHost::open_port(const Text& name, HANDLE& port) const {
    return table_->pfnOpenPort(monitor_, writable(name), &port) != FALSE;
}

bool MonitorHost::start_document(HANDLE port, const Text& printer, DWORD job_id, const Text& name) const {
    WCHAR type[] = W("RAW");
    LPWSTR information[3] = {writable(name), nullptr, type};  // DOC_INFO_1: name, output file, data type
    return table_->pfnStartDocPort(port, writable(printer), job_id, 1, reinterpret_cast<BYTE*>(information)) != FALSE;
}

bool MonitorHost::end_document(HANDLE port) const {
    return table_->pfnEndDocPort(port) != FALSE;
}

bool MonitorHost::close_port(HANDLE port) const {
    return table_->pfnClosePort(port) != FALSE;
}

Outcome MonitorHost::print_document(const Document& given) {
    Document document = given;
    if (document.job_id == 0) document.job_id = next_job_id();
    Outcome outcome;
    outcome.job_id = document.job_id;
    const std::filesystem::path marker = path_of(options_.folder.marker(document.job_id));
    if (document.not_approved) std::ofstream(marker).flush();
    std::error_code error;
    const bool marked = std::filesystem::exists(marker, error);

    spooler_sim::add_job(document.printer, document.job_id, document.name, document.user);
    const auto start = std::chrono::steady_clock::now();
    {
        const spooler_sim::ClientScope client(document.user);
        run_job(*this, document, outcome);
        outcome.identity_kept = spooler_sim::current_client() == document.user;
    }
    outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    // The monitor removes the marker of a job that it has refused; to the spooler it ends like a printed one.
    if (outcome.result == Result::printed && marked && !std::filesystem::exists(marker, error)) {
        outcome.result = Result::refused;
        outcome.message = "refused: not approved";
    }
    spooler_sim::get_job(document.printer, document.job_id, outcome.job);
    spooler_sim::remove_job(document.printer, document.job_id);
    return outcome;
}

}  // namespace host
