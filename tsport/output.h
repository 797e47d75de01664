// Output of ports and texts: columns for people, JSON for scripts.
#pragma once

#include <string>
#include <vector>

#include "tsport/json.h"
#include "tsport/ports/port.h"

namespace tsport {

// In quotes, with what cannot stand for itself escaped: a text of a ports file.
std::string quoted(const Text& text);
// Whether a terminal would obey the character: controls, and what turns the direction of writing.
bool steers_terminal(WCHAR c);
// For people: such characters are escaped ...
std::string shown(const Text& text);
// ... in a whole answer, but for the ends of its lines; without a byte order mark.
std::string for_terminal(const std::string& utf8);

// A text that names LOG.html or DOCTOR.html, pages that the packages have beside this program: with the whole path
// where the page is there.
std::string with_pages(std::string text);

// Lines of cells, each column as wide as its widest cell that another one follows. On a terminal of that width (0: any)
// columns are left out, those first that are named first, until the last one has room; and its cells go on below
// themselves.
using Rows = std::vector<std::vector<std::string>>;
std::string in_columns(const Rows& rows, size_t width = 0, const std::vector<size_t>& dispensable = {});

void write_members(JsonWriter& json, const Port& port);
// A member that is a port, or an array of ports.
void write_member(JsonWriter& json, const char* name, const Port& port);
void write_member(JsonWriter& json, const char* name, const std::vector<Port>& ports);

}  // namespace tsport
