// The command line: a verb with its operands and options.
#pragma once

#include <string>
#include <vector>

#include "host/command_line/options.h"
#include "tsport/doctor/findings.h"
#include "tsport/migrate/options.h"
#include "tsport/ports/port.h"
#include "tsport/report/options.h"

namespace tsport {

struct Task;
struct Verb;

// The parsed command. A verb reads only what its own operands and options fill.
struct Command {
    const Verb* verb = nullptr;
    std::string text;  // to be printed, and nothing else done: a help or the version
    bool json = false;

    // The servers or the store that hold the ports.
    std::string store;
    std::string library;
    std::uint64_t wait_seconds = 10;
    std::vector<Text> servers;  // none: this machine's

    std::vector<Text> names;  // of ports, or patterns
    Port port;
    bool number_given = false;
    std::string file;
    std::string topic;          // of completion
    command_line::Words words;  // typed so far, for completion

    bool all = false;
    bool csv = false;
    bool dry_run = false;
    bool force = false;
    bool names_only = false;
    bool once = false;
    std::uint64_t timeout_seconds = 5;
    report::Options report;
    std::string base;            // a copy of a base directory, for the doctor
    command_line::Words events;  // exported event logs, for the doctor
    doctor::Choice findings;
    migrate::Options migrate;
};

// What a verb needs of the monitor: nothing, or that it is installed (or hosted, over --store).
enum class Needs { nothing, reading, changing };

// One row of the table in verbs.cpp; help, completion and the nearest known word follow from it.
struct Verb {
    const char* name;
    const char* operands;  // as the list of verbs shows them
    const char* summary;
    Needs needs;
    // Takes the operands; what is wrong with them, or nothing. "operands" stands for their number or kind.
    std::string (*take)(const command_line::Words& operands, Command& command);
    command_line::Options (*options)(Command& command);  // its own, beside those of all verbs
    void (*run)(const Task& task);
    const char* help;  // the complete text of its --help
};

const std::vector<Verb>& verbs();
const Verb* find_verb(const std::string& name);
// Of all verbs: --json, --store, --server ...
command_line::Options common_options(Command& command);
// Those and every verb's, so that one may stand before its verb.
command_line::Options all_options(Command& command);
// "export" and its like, whatever it takes.
command_line::Words verb_names();
// What --help prints without a verb.
std::string general_help();

// False with the reason when the line cannot be understood or a port cannot have what it names; `command.json` is right
// even then.
bool parse_arguments(const command_line::Words& words, Command& command, std::string& why);

}  // namespace tsport
