// Events of Windows' event logs, as wevtutil exports them in XML.
#pragma once

#include <string>
#include <vector>

namespace tsport::doctor {

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

}  // namespace tsport::doctor
