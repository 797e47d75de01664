// How a text file is encoded: what Notepad and PowerShell write is read, and written back the same way.
#pragma once

#include <string>
#include <vector>

#include "host/text.h"

namespace tsport {

struct Encoding {
    enum class Form { utf8, utf8_with_mark, utf16_le, utf16_be };  // UTF-16 always has a mark
    Form form = Form::utf8;
    bool cr_lf = false;
};

// A place in a file and what is wrong there.
struct Fault {
    size_t line = 0;  // both count from 1; 0: no place
    size_t column = 0;
    std::string why;
};
// At an index of the text.
Fault fault_at(const host::Text& text, size_t at, const std::string& why);
// "FILE:LINE:COLUMN: why", each on a line, as many as a screen takes and the number of the others.
std::string to_text(const std::vector<Fault>& faults, const std::string& file);

// False with the fault. The text keeps its line ends.
bool decode(const std::string& bytes, Encoding& encoding, host::Text& text, Fault& fault);
// Lines of the text end in a line feed; one that ends in CR LF in the file gets that back.
std::string encode(const host::Text& text, const Encoding& encoding);

// The lines without their ends, which are LF or CR LF.
std::vector<host::Text> lines_of(const host::Text& text);

// What a word processor makes of straight quotes.
bool is_typographic_quote(WCHAR c);

}  // namespace tsport
