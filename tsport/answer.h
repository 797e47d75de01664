// The context and the answer of a verb.
#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "host/progress.h"
#include "tsport/output.h"
#include "tsport/ports/hosted.h"
#include "tsport/run.h"
#include "tsport/spooler.h"
#include "tsport/verb.h"

namespace tsport {

// Why a verb did not do what it was asked for. `cause` is a word for scripts, one of those that `tsport --help` lists;
// `code` the Win32 code behind it, if there is one.
struct Error {
    std::string words;
    std::string cause;
    DWORD code = 0;
};

// A verb's output for one server; run.cpp formats it as text or JSON.
struct Reply {
    int status = done;
    std::vector<std::string> heads;  // of a table; none: lines without heads
    Rows rows;
    std::string summary;               // a line below
    std::vector<JsonMembers> objects;  // the same as JSON objects
    bool array = false;                // JSON is an array of them, not the only one
    std::string data;                  // for standard output alone; all else then goes to standard error
    bool has_data = false;
    Error error;
};

struct Task {
    const Command& command;
    const Spooler& spooler;
    Hosted* hosted;  // null: the monitor is an installed one
    Reply& reply;
    const Console& console;

    // A line, and the same as a JSON object.
    void say(const std::string& words, JsonMembers object) const {
        reply.rows.push_back({words});
        reply.objects.push_back(std::move(object));
    }
    void fail(Status status, const std::string& words, const char* cause, DWORD code = 0) const {
        reply.status = status;
        reply.error = {words, cause, code};
    }
    // The same when `code` is an error: the spooler would not `deed` ("add the port ...").
    bool failed(DWORD code, const std::string& deed) const;
    // The ports of these names; false when it has failed.
    bool read(const std::vector<Text>& names, std::vector<Port>& ports) const;
    // After a change; false when it will not last.
    bool kept() const;
    // For work of so many steps: shown on a terminal, once it takes a while.
    std::unique_ptr<host::Progress> progress(size_t steps, const char* deed) const;
};

// A name as messages show it, and a printer.
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

void report_logs(const Task& task);
command_line::Options report_options(Command& command);

}  // namespace tsport
