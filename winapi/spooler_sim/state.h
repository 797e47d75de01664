// Internal to the simulation: its state, behind one lock.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>

#include "winapi/spooler_sim/spooler_sim.h"

namespace spooler_sim {

struct PrinterRecord {
    Text name;
    Text port;
    DWORD status = 0;
    std::vector<DWORD> status_seen;
};

struct JobRecord {
    Job job;
    unsigned restarts = 0;  // given and not taken yet
};

struct MonitorRecord {
    Text name;
    MONITOR2* table;
    HANDLE handle;
    Text server;
};

// An open configuration channel.
struct Channel {
    MonitorRecord monitor;
    HANDLE handle;  // the monitor's
};

struct NameOrder {
    bool operator()(const Text& left, const Text& right) const { return lstrcmpiW(left.c_str(), right.c_str()) < 0; }
};

struct State {
    std::mutex mutex;
    std::map<Text, PrinterRecord, NameOrder> printers;
    std::vector<JobRecord> jobs;
    std::vector<MonitorRecord> monitors;
    std::vector<Text> foreign_ports;
    std::map<Text, bool, NameOrder> servers;  // and whether they answer
    bool administrator = true;
    std::map<HANDLE, Channel> channels;
    std::map<HANDLE, Text> open_printers;  // the name each was opened for
    std::map<HANDLE, Text> tokens;         // the client each stands for
    std::uint64_t handles_given = 0;
};

State& state();

// The functions below are called with the lock held. Names compare without letter case.
bool same_name(const Text& left, const Text& right);
PrinterRecord* find_printer(const Text& name);
// The printer that is registered under the given name or under its part after "\\SERVER\"; null when neither is.
PrinterRecord* find_registered(const Text& name);
// Jobs belong to a registered printer, whichever of its names they are asked for by.
JobRecord* find_job(const Text& printer, DWORD id);
void change_job_status(JobRecord& record, DWORD status);
void change_printer_status(PrinterRecord& record, DWORD status);
// The server's name in its usual form, "" for this machine's; false when it does not answer.
bool find_server(LPCWSTR name, Text& server);
const MonitorRecord* monitor_of(const Text& server);
// A value that is never used twice.
HANDLE new_handle();

// Places texts from the end of a buffer downwards, as the spooler fills its records.
class TextPacker {
  public:
    TextPacker(BYTE* buffer, DWORD size) : end_(buffer + size / sizeof(WCHAR) * sizeof(WCHAR)) {}
    LPWSTR place(const Text& text);

  private:
    BYTE* end_;
};
// Bytes of a text with its terminator.
DWORD packed_size(const Text& text);

}  // namespace spooler_sim
