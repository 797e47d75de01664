// Ports in a text file, one per line:
//
//   # name          address        port
//   "Office 1"      192.168.1.20   9100
//   "Caf\u00e9"     printer.local  9101   # on the second floor
//
// A text in quotes may hold anything, with \" \\ \t \n \r and \uXXXX; without quotes it ends at a blank. What follows a
// "#" outside of quotes is a comment. Or as CSV: a line with the columns' names (name, address, port) and one line per
// port, separated by commas or semicolons.
#pragma once

#include <string>
#include <vector>

#include "tsport/ports/encoding.h"
#include "tsport/ports/port.h"

namespace tsport {

// A line of the file: a port, or any other text.
struct Entry {
    bool is_port = false;
    bool is_faulty = false;
    Port port;
    Text text;     // the complete line, if it is not a port
    Text comment;  // behind a port, from its "#" on
    size_t line = 0;
    size_t address_column = 1;
};

struct PortsFile {
    Encoding encoding;
    bool csv = false;
    WCHAR separator = W(',');  // of CSV
    std::vector<Entry> entries;

    std::vector<Port> ports() const;  // without the faulty ones
};

bool has_csv_name(const std::string& path);

// The faults in the order of their places; a port that is named twice is one, too. `file.csv` says how to read it.
std::vector<Fault> parse_ports(const std::string& bytes, PortsFile& file);
// The same; a file that cannot be read is a fault without a place.
std::vector<Fault> read_ports_file(const std::string& path, bool csv, PortsFile& file);

void sort_by_place(std::vector<Fault>& faults);

// The readers and writer of CSV. The first line names the columns, in any order; other ones are ignored.
void parse_csv(const Text& text, PortsFile& file, std::vector<Fault>& faults);
Text format_csv(const std::vector<Entry>& entries, WCHAR separator);

// The same file with these ports instead of its own: its comments, its order and its encoding stay, what is new comes
// at the end.
std::string format_ports(const PortsFile& file, const std::vector<Port>& ports);

}  // namespace tsport
