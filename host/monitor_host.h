// What the print spooler does with a port monitor: loads it, opens its ports, and drives documents through
// them.
#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "host/setup.h"
#include "host/source.h"
#include "host/text.h"
#include "winapi/spooler_sim/spooler_sim.h"
#include "winportmon/contract/names.h"

namespace host {

// A job as the spooler knows it. The printer has to be one of the spooler's (spooler_sim::add_printer).
struct Document {
    Text port;
    Text printer;  // as StartDocPort is given it
    Text name = W("document");
    Text user = W("client");    // on whose behalf the calling thread prints
    DWORD job_id = 0;           // 0: the host's next one
    bool not_approved = false;  // gets a marker before it starts
    Source source;
    DWORD write_size = 65536;
    unsigned most_restarts = 3;
    unsigned most_retries = 4;  // of a WritePort that failed, before the job counts as failed
    DWORD retry_pause_ms = 200;
    // Called after each write with the bytes the monitor has taken in this run of the job.
    std::function<void(std::uint64_t bytes)> progress;
};

enum class Result {
    printed,
    refused,      // accepted and discarded by the monitor: the job was not approved
    dropped,      // accepted and discarded by the monitor: the helper program ordered the job deleted
    not_started,  // OpenPort or StartDocPort failed
    failed,       // the document was started but not completed
};

struct Outcome {
    Result result = Result::failed;
    std::string message;  // the same as a sentence
    DWORD job_id = 0;
    std::uint64_t bytes = 0;  // taken by the monitor in the last run
    double seconds = 0;       // from the first OpenPort to the last ClosePort
    unsigned restarts = 0;
    unsigned writes = 0;        // WritePort calls over all runs
    DWORD error = 0;            // last error of the call that failed
    bool identity_kept = true;  // every call came back with the thread still acting for the client
    spooler_sim::Job job;       // as it was at the end; the spooler has forgotten it
};

class MonitorHost {
  public:
    MonitorHost() = default;
    ~MonitorHost() { unload(); }
    MonitorHost(const MonitorHost&) = delete;
    MonitorHost& operator=(const MonitorHost&) = delete;

    struct Options {
        std::string library;                  // a path of this machine
        BaseFolder folder;                    // where documents' markers go
        Text server_name = W("PRINTSERVER");  // empty: the spooler names none
        bool local = true;
        Text simulated_server;  // of the simulation's servers the one it works for; empty: this machine's
        // Where the monitor's registry is.
        HKEY hive = HKEY_LOCAL_MACHINE;
        Text registry_path = contract::kMonitorKey;
    };
    // False with the reason when the library cannot be loaded, has no InitializePrintMonitor2 or cannot
    // start. Its ports and its settings are those stored at this moment.
    bool load(const Options& options, std::string& why);
    // Shutdown, then the library goes. No document may be under way; does nothing when none is loaded.
    void unload();

    bool loaded() const { return table_ != nullptr; }
    MONITOR2* table() const { return table_; }
    HANDLE monitor() const { return monitor_; }

    // The calls of one document, for driving it step by step. They return what the monitor returns.
    bool open_port(const Text& name, HANDLE& port) const;
    bool start_document(HANDLE port, const Text& printer, DWORD job_id, const Text& name) const;
    bool write(HANDLE port, const void* data, DWORD size, DWORD& written) const {
        return table_->pfnWritePort(port, static_cast<BYTE*>(const_cast<void*>(data)), size, &written) != FALSE;
    }
    bool end_document(HANDLE port) const;
    bool close_port(HANDLE port) const;

    // Prints a document on the calling thread. Threads may print at the same time, each on its own port.
    Outcome print_document(const Document& document);
    DWORD next_job_id() { return ++last_job_id_; }

  private:
    bool start_monitor(const Options& options, std::string& why);

    HMODULE library_ = nullptr;
    MONITOR2* table_ = nullptr;
    HANDLE monitor_ = nullptr;
    MONITORINIT init_{};
    Options options_;
    std::atomic<DWORD> last_job_id_{0};
};

}  // namespace host
