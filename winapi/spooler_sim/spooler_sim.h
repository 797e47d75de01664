// The spooler simulation: printers, jobs, their status words and the commands given to jobs, and the identity
// a thread runs as. Tools and tests set it up and read it here; the monitor reaches it only through
// OpenPrinterW, GetJobW, SetJobW and so on. All functions may be called from any thread.
#pragma once

#include <string>
#include <vector>

#include "winapi/winapi.h"

namespace spooler_sim {

using Text = std::basic_string<WCHAR>;

struct Job {
    DWORD id = 0;
    Text printer;
    Text document;
    Text user;
    DWORD status = 0;                // JOB_STATUS_ bits
    std::vector<DWORD> commands;     // the JOB_CONTROL_ commands given to it, in order
    std::vector<DWORD> status_seen;  // its status after every change, in order
};

struct Printer {
    Text name;  // "\\\\BACK\\Printer" is a printer of another server
    Text port;  // several are separated by commas
    Text share;
    Text driver;
    Text comment;
    Text location;
    Text separator;
    Text processor;
    Text data_type;
    Text parameters;
    std::string devmode;   // the bytes of a DEVMODEW
    DWORD attributes = 0;  // PRINTER_ATTRIBUTE_ bits
    DWORD priority = 1;
    DWORD default_priority = 0;
    DWORD start_time = 0;
    DWORD until_time = 0;
    DWORD status = 0;  // PRINTER_STATUS_ bits
    bool operator==(const Printer&) const = default;
};

// Removes all printers, jobs, ports of other monitors, monitors and further servers, and what is set below. Open
// handles stay open.
void reset();

// Other print servers, by names like "\\\\BACK". "" is this machine's, which always answers.
void add_server(const Text& name);
// From now on it does not answer, as if switched off.
void stop_server(const Text& name);
// Whether the caller is an administrator; only one may open the configuration channel for administration.
void set_administrator(bool administrator);

// From now on lists of ports, printers and monitors are always larger than the caller's buffer.
void set_lists_never_fit(bool never);

// Any port is taken. A printer that is there already is left as it is.
void add_printer(const Printer& printer);
void add_printer(const Text& name, const Text& port = Text());
// False when there is none.
bool get_printer(const Text& name, Printer& printer);
void remove_printer(const Text& name);
DWORD printer_status(const Text& name);  // PRINTER_STATUS_ bits
void set_printer_status(const Text& name, DWORD status);
std::vector<DWORD> printer_status_seen(const Text& name);  // its status after every change, in order

// A job of a printer; an existing one of that id is replaced.
void add_job(const Text& printer, DWORD id, const Text& document, const Text& user);
// False when there is no such job.
bool get_job(const Text& printer, DWORD id, Job& job);
bool set_job_status(const Text& printer, DWORD id, DWORD status);
bool remove_job(const Text& printer, DWORD id);
// True once for every JOB_CONTROL_RESTART given to the job since the last call.
bool take_restart(const Text& printer, DWORD id);

// Printer handles that are open now, and identity tokens from RevertToPrinterSelf that were not returned.
size_t open_printers();
size_t open_tokens();

// The calling thread prints on behalf of a client until the scope ends: RevertToPrinterSelf gives a token.
class ClientScope {
  public:
    explicit ClientScope(const Text& user);
    ~ClientScope();
    ClientScope(const ClientScope&) = delete;
    ClientScope& operator=(const ClientScope&) = delete;
};
// The user the calling thread runs as now: the client's name, or empty while it runs as the spooler itself.
Text current_client();

// Ports that EnumPortsW lists: those of a server's monitor, of which a server has at most one, and those of others.
void add_monitor(const Text& name, MONITOR2* monitor, HANDLE handle, const Text& server = Text());
void remove_monitor(HANDLE handle);
void add_foreign_port(const Text& name);

// A port of Windows' own Standard TCP/IP monitor, which this machine has. The monitor's channel, ",XcvMonitor Standard
// TCP/IP Port", takes the commands "AddPort" and "DeletePort" as Microsoft documents them for TCPMON.
struct StandardPort {
    Text name;
    Text host;
    Text ip_address;  // of ports without `host`, or what the name stood for once
    DWORD number = 9100;
    DWORD protocol = 1;  // 1: raw, 2: LPR
};
// Stores it in the registry, as that monitor does, and lists it; the Win32 code. reset() deletes what is stored.
DWORD add_standard_port(const StandardPort& port);
// From now on that monitor has the ports that are stored as a whole, as after a restart of the spooler.
void restart_standard_monitor();

// A strict port list is one that the spooler keeps itself: it knows the ports that a server's monitor had when it was
// added, or when this is called, and afterwards only learns of changes through commands named "AddPort" and
// "DeletePort", as Windows documents them for XcvDataPort. What it does not know can be listed by its monitor, but
// neither be opened as ",XcvPort NAME" nor given to a queue (ERROR_UNKNOWN_PORT). Otherwise every port of a monitor is
// known at once. reset() ends it.
void set_strict_port_list(bool strict);

}  // namespace spooler_sim
