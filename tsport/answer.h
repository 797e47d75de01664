// The context and the answer of a verb.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/progress.h"
#include "tsport/output.h"
#include "tsport/ports/encoding.h"
#include "tsport/ports/hosted.h"
#include "tsport/run.h"
#include "tsport/spooler.h"
#include "tsport/verb.h"

namespace tsport {

// Why a verb failed.
struct Error {
    std::string message;
    std::string cause;  // for scripts: one of those that `tsport --help` lists
    DWORD code = 0;     // the Win32 code behind it; 0: there is none
    // What the message sums up, one by one: of the file's lines, or of what the command names.
    std::string file = {};
    std::vector<Fault> faults = {};
};

// One of the monitor's ports.
struct Found {
    Port port;                     // without address and number when nothing tells them
    const char* state = "loaded";  // or "not-loaded", "not-stored", "unreadable"
    std::string note = {};         // what that means
    DWORD code = 0;                // why it could not be asked
    bool readable() const { return port.number != 0 || !port.address.empty(); }
};

// A verb's output for one server; run.cpp formats it as text or JSON.
struct Reply {
    int status = done;
    std::vector<std::string> header;  // of a table; empty: the rows are plain lines
    Rows rows;
    std::string summary;                    // a line below the rows
    std::vector<JsonMembers> json_objects;  // the results for --json
    std::string warning;                    // of what was done
    std::string payload;                    // a file's contents for standard output; all else goes to standard error
    bool has_payload = false;
    Error error;
};

struct Task {
    const Command& command;
    const Spooler& spooler;
    Hosted* hosted;  // null: the monitor is an installed one
    Reply& reply;
    const Console& console;

    // Adds a line, and the same as a JSON object.
    void say(const std::string& line, JsonMembers object) const {
        reply.rows.push_back({line});
        reply.json_objects.push_back(std::move(object));
    }
    void fail(Status status, Error error) const {
        reply.status = status;
        reply.error = std::move(error);
    }
    void fail(Status status, const std::string& message, const char* cause) const { fail(status, {message, cause}); }
    // When `code` is an error, reports that the spooler refused to `deed` ("add the port ...") and returns true.
    bool report_if_error(DWORD code, const std::string& deed) const;
    // The monitor's ports that these names and patterns stand for, all without any, sorted as people count. On the own
    // machine they come from the registry and the spooler's list, on another server each port is asked. False when an
    // error was reported; a port that cannot be asked is none.
    bool find(const std::vector<Text>& patterns, std::vector<Found>& found) const;
    // Sees whether the spooler has learned of a change to this port, and warns if not.
    void check_known(const Text& name, bool added) const;
    // Writes changed ports to the store, if there is one; false when the change could not be saved.
    bool save_changes() const;
    // A progress line on a terminal for work of so many steps, shown once it takes a while.
    std::unique_ptr<host::Progress> progress(size_t steps, const char* deed) const;
};

// Name, address and number as three cells.
std::vector<std::string> cells_of(const Found& found);

void write_members(JsonWriter& json, const Found& found);
// What is said of names that no port has, one fault each, with the nearest of `names`.
Error no_such_port(const std::vector<Text>& missing, const std::vector<Text>& names);

// A name and a printer as messages show them.
std::string named(const Text& name);
std::string printer_of(const Port& port);

void list(const Task& task);
void show(const Task& task);
void add(const Task& task);
void set(const Task& task);
void remove(const Task& task);
void test(const Task& task);
void exists(const Task& task);
void export_ports(const Task& task);
void import_ports(const Task& task);
void diff_ports(const Task& task);
void completion(const Task& task);

// The verbs with a help and options of their own.
extern const char report_help[];
void report_logs(const Task& task);
command_line::Options report_options(Command& command);

extern const char watch_help[];
void watch_log(const Task& task);
command_line::Options watch_options(Command& command);

extern const char collect_help[];
void collect(const Task& task);
command_line::Options collect_options(Command& command);

extern const char doctor_help[];
namespace doctor {
void examine(const Task& task);
command_line::Options options(Command& command);
}  // namespace doctor

namespace migrate {
void migrate(const Task& task);
command_line::Options options(Command& command);
}  // namespace migrate

}  // namespace tsport
