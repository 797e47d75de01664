// Internal to the simulation: its state, behind one lock.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <set>

#include "winapi/spooler_sim/spooler_sim.h"

namespace spooler_sim {

struct PrinterRecord : Printer {
    std::vector<DWORD> status_seen;
};

struct OpenPrinter {
    Text name;  // that it was opened for
    ACCESS_MASK access = 0;
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
    MonitorRecord monitor;  // without a table: the Standard TCP/IP monitor
    HANDLE handle;          // the monitor's
    ACCESS_MASK access;
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
    std::vector<Text> standard_ports;
    bool strict_port_list = false;
    std::map<Text, std::set<Text, NameOrder>, NameOrder> known_ports;  // of each server's monitor, in strict mode
    std::map<Text, bool, NameOrder> servers;                           // and whether they answer
    bool administrator = true;
    bool lists_never_fit = false;
    std::map<HANDLE, Channel> channels;
    std::map<HANDLE, OpenPrinter> open_printers;
    std::map<HANDLE, Text> tokens;  // the client each stands for
    std::uint64_t handles_given = 0;
};

State& state();

// The functions below are called with the lock held. Names compare without letter case.
bool same_name(const Text& left, const Text& right);
PrinterRecord* find_printer(const Text& name);
// The printer that is registered under the given name or under its part after "\\SERVER\"; null when neither is.
PrinterRecord* find_registered(const Text& name);
// The printer behind an open handle, or the error that its use gives.
DWORD printer_of(HANDLE handle, PrinterRecord*& printer);
// Jobs belong to a registered printer, whichever of its names they are asked for by.
JobRecord* find_job(const Text& printer, DWORD id);
void change_job_status(JobRecord& record, DWORD status);
void change_printer_status(PrinterRecord& record, DWORD status);
// The server's name in its usual form, "" for this machine's; false when it does not answer.
bool find_server(LPCWSTR name, Text& server);
const MonitorRecord* monitor_of(const Text& server);
// Whether the spooler of that server lets a queue or a channel have the port.
bool knows_port(const Text& server, const Text& name);
// After a command that the monitor carried out: whether the spooler learns of a port by it, or forgets one.
void note_command(const Text& server, const Text& command, const Text& port);
bool is_standard_port(const Text& name);
void delete_standard_ports();
// Called without the lock: a command for the Standard TCP/IP monitor, which gives its code.
DWORD standard_command(const Text& command, const BYTE* input, DWORD size);
// Called without the lock: the ports that a monitor has now become those that the spooler knows, in strict mode.
void learn_ports(const MonitorRecord& monitor);
// A value that is never used twice.
HANDLE new_handle();

// Places texts from the end of a buffer downwards, as the spooler fills its records.
class TextPacker {
  public:
    TextPacker(BYTE* buffer, DWORD size) : end_(buffer + size / sizeof(WCHAR) * sizeof(WCHAR)) {}
    LPWSTR place(const Text& text);
    // Aligned for any record.
    BYTE* place_bytes(const std::string& bytes);
    static size_t size_of_bytes(const std::string& bytes) { return bytes.empty() ? 0 : bytes.size() + kAlignment; }

  private:
    static constexpr size_t kAlignment = 8;
    BYTE* end_;
};
// Bytes of a text with its terminator.
DWORD packed_size(const Text& text);

}  // namespace spooler_sim
