// Whether the spooler's crashes were this library's, from the events that Windows wrote of them.
#pragma once

#include <functional>

#include "tsport/doctor/event_log.h"
#include "tsport/doctor/findings.h"
#include "tsport/report/log_line.h"

namespace tsport::doctor {

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
