// Whether the spooler's crashes were this library's, from the events that Windows wrote of them.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tsport/doctor/findings.h"
#include "tsport/report/log_line.h"

namespace tsport::doctor {

// An event of Windows' event logs, as wevtutil exports them in XML.
struct Event {
    std::string provider;  // "Application Error", ...
    unsigned id = 0;
    std::string time;               // UTC: "2026-11-24T23:51:39.1234567Z"
    std::vector<std::string> data;  // the texts of its EventData or UserData, in order

    std::string field(size_t index) const { return index < data.size() ? data[index] : ""; }
};

// Adds the events of a file, of any bytes: what `wevtutil qe LOG /f:xml` prints, one Event after the other, with a root
// around them or without, in UTF-8 or UTF-16. An event that cannot be read is left out. False with the reason when
// nothing in the file is an event.
bool read_events(const std::string& bytes, std::vector<Event>& events, std::string& why);

// What is known beside the events.
struct CrashContext {
    std::string version;                 // of this program, and so of the library that the symbols are for
    std::string symbols;                 // the contents of the library's .pdb; "" without one
    std::vector<std::string> neighbors;  // files of the spooler's other monitors; empty: not known
    // Which documents were under way at a time: "; under way then: ...", or "". Empty: there is no log.
    std::function<std::string(report::Timestamp)> printing_at;
};

// A finding for each module that the spooler failed in, for crashes without one, and for libraries that it could not
// load. Times are turned into this machine's local time.
void check_events(const std::vector<Event>& events, const CrashContext& context, Findings& findings);

// The same for files of events. The log in the base directory, "" for none, says what was printing; the symbols are
// looked for beside this program. False with the reason when a file cannot be read or holds no event.
bool check_event_files(const command_line::Words& files, const std::string& base, Findings& findings, std::string& why);

}  // namespace tsport::doctor
