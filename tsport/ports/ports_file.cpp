#include "tsport/ports/ports_file.h"

#include <algorithm>
#include <set>
#include <sstream>
#include <tuple>

#include "tsport/file.h"
#include "tsport/output.h"

namespace tsport {
namespace {

// -- Writing ---------------------------------------------------------------------------------------------------------

bool is_plain(WCHAR c) {
    return (c >= W('0') && c <= W('9')) || (c >= W('a') && c <= W('z')) || (c >= W('A') && c <= W('Z')) ||
           c == W('.') || c == W(':') || c == W('-') || c == W('_');
}

std::string written(const Text& address) {
    const bool plain = !address.empty() && std::all_of(address.begin(), address.end(), is_plain);
    return plain ? host::to_utf8(address) : quoted(address);
}

const std::vector<std::string> head = {"# name", "address", "port"};

// The line above the columns as this program writes it, however wide they were.
bool is_head(const Entry& entry) {
    std::string text;
    for (const char c : host::to_utf8(entry.text)) {
        if (c != ' ' || (!text.empty() && text.back() != ' ')) text += c;
    }
    return text == "# name address port";
}

// The file's entries with these ports in place of its own.
std::vector<Entry> updated(const std::vector<Entry>& entries, const std::vector<Port>& ports) {
    const PortIndex wanted = index_of(ports);
    std::set<const Port*> placed;
    std::vector<Entry> result;
    for (Entry entry : entries) {
        if (entry.is_port) {
            const auto found = wanted.find(entry.port.name);
            if (found == wanted.end()) continue;
            entry.port = *found->second;
            placed.insert(found->second);
        }
        result.push_back(entry);
    }
    for (const Port& port : ports) {
        if (placed.count(&port) == 0) result.push_back({true, false, port, {}, {}});
    }
    return result;
}

std::string format_lines(const std::vector<Entry>& entries) {
    Rows rows;
    for (const Entry& entry : entries) {
        if (!entry.is_port) {
            if (is_head(entry)) rows.push_back(head);
            continue;
        }
        rows.push_back({quoted(entry.port.name), written(entry.port.address), std::to_string(entry.port.number)});
        if (!entry.comment.empty()) rows.back().push_back(host::to_utf8(entry.comment));
    }
    std::istringstream aligned(in_columns(rows));
    std::string text;
    for (const Entry& entry : entries) {
        std::string line = host::to_utf8(entry.text);
        if (entry.is_port || is_head(entry)) std::getline(aligned, line);
        text += line + "\n";
    }
    return text;
}

// -- Reading ---------------------------------------------------------------------------------------------------------

bool is_blank(WCHAR c) {
    return c == W(' ') || c == W('\t');
}

// The texts of one line.
class LineParser {
  public:
    explicit LineParser(const Text& text) : text_(text) {}

    bool at_end() {
        while (at_ < text_.size() && is_blank(text_[at_])) ++at_;
        fault_ = at_;
        return at_ == text_.size() || text_[at_] == W('#');
    }
    Text rest() const { return text_.substr(at_); }
    // Where the last text began or is wrong, or where the next one should have begun.
    size_t column() const { return fault_ + 1; }

    // The next text; returns what is wrong with it, or nothing.
    std::string take(Text& value) {
        const size_t begin = at_;
        const bool in_quotes = text_[at_] == W('"');
        for (at_ += in_quotes ? 1 : 0;
             at_ < text_.size() && (in_quotes ? text_[at_] != W('"') : !is_blank(text_[at_]));) {
            fault_ = at_;
            if (!in_quotes && text_[at_] == W('"')) return "a quote inside a text that does not begin with one";
            if (!in_quotes && is_typographic_quote(text_[at_])) return "a typographic quote; write \" instead";
            if (in_quotes && text_[at_] == W('\\')) {
                if (!take_escape(value)) return "an escape other than \\\" \\\\ \\t \\n \\r \\uXXXX";
            } else {
                value += text_[at_++];
            }
        }
        fault_ = begin;
        if (!in_quotes) return "";
        if (at_ == text_.size()) return "the closing quote is missing";
        if (++at_ == text_.size() || is_blank(text_[at_])) return "";
        fault_ = at_;
        return "no blank after a closing quote";
    }

  private:
    bool take_escape(Text& value) {
        const Text names = W("\"\\tnr");
        const Text meanings = W("\"\\\t\n\r");
        const Text digits = W("0123456789abcdef0123456789ABCDEF");
        const Text sign = text_.substr(at_ + 1, 1);
        const size_t index = sign.empty() ? Text::npos : names.find(sign);
        at_ += 2;
        if (index != Text::npos) {
            value += meanings[index];
            return true;
        }
        unsigned code = 0;
        const size_t end = at_ + 4;
        if (sign != W("u") || end > text_.size()) return false;
        for (; at_ < end; ++at_) {
            const size_t digit = digits.find(text_[at_]);
            if (digit == Text::npos) return false;
            code = code * 16 + static_cast<unsigned>(digit % 16);
        }
        value += static_cast<WCHAR>(code);
        return code != 0;
    }

    const Text& text_;
    size_t at_ = 0;
    size_t fault_ = 0;
};

// What is wrong with the line; empty when nothing is.
std::string parse_line(LineParser& line, Entry& entry) {
    Text number;
    std::string why = line.take(entry.port.name);
    if (why.empty()) why = name_fault(entry.port.name);
    if (why.empty() && line.at_end()) why = "the printer's address is missing";
    if (why.empty()) why = line.take(entry.port.address);
    entry.address_column = line.column();
    if (why.empty()) why = address_fault(entry.port.address);
    if (why.empty() && line.at_end()) why = "the port number is missing";
    if (why.empty()) why = line.take(number);
    if (why.empty()) why = parse_port_number(number, entry.port.number);
    if (why.empty() && !line.at_end()) why = "more than name, address and port number";
    if (why.empty()) entry.comment = line.rest();
    return why;
}

void parse_lines(const Text& text, std::vector<Entry>& entries, std::vector<Fault>& faults) {
    size_t number = 0;
    for (const Text& content : lines_of(text)) {
        Entry entry;
        entry.line = ++number;
        LineParser line(content);
        if (line.at_end()) {
            entry.text = content;
        } else {
            entry.is_port = true;
            const std::string why = parse_line(line, entry);
            entry.is_faulty = !why.empty();
            if (entry.is_faulty) faults.push_back({number, line.column(), why});
        }
        entries.push_back(entry);
    }
}

void find_doubles(std::vector<Entry>& entries, std::vector<Fault>& faults) {
    std::map<Text, size_t, NameOrder> seen;
    for (Entry& entry : entries) {
        if (!entry.is_port || entry.port.name.empty()) continue;
        const auto [place, is_new] = seen.emplace(entry.port.name, entry.line);
        if (is_new) continue;
        entry.is_faulty = true;
        faults.push_back(
            {entry.line, 1,
             "the port \"" + shown(entry.port.name) + "\" is already in line " + std::to_string(place->second)});
    }
}

}  // namespace

std::vector<Port> PortsFile::ports() const {
    std::vector<Port> found;
    for (const Entry& entry : entries) {
        if (entry.is_port && !entry.is_faulty) found.push_back(entry.port);
    }
    return found;
}

bool has_csv_name(const std::string& path) {
    const size_t dot = path.rfind('.');
    return dot != std::string::npos && same_name(host::to_text(path.substr(dot)), W(".csv"));
}

std::vector<Fault> parse_ports(const std::string& bytes, PortsFile& file) {
    std::vector<Fault> faults(1);
    Text text;
    if (decode(bytes, file.encoding, text, faults[0])) {
        faults.clear();
        file.csv ? parse_csv(text, file, faults) : parse_lines(text, file.entries, faults);
        find_doubles(file.entries, faults);
    }
    sort_by_place(faults);
    return faults;
}

std::vector<Fault> read_ports_file(const std::string& path, bool csv, PortsFile& file) {
    std::string bytes;
    std::string why;
    file.csv = csv;
    if (!read_file(path, bytes, why)) return {{0, 0, why}};
    return parse_ports(bytes, file);
}

void sort_by_place(std::vector<Fault>& faults) {
    std::sort(faults.begin(), faults.end(), [](const Fault& left, const Fault& right) {
        return std::tie(left.line, left.column, left.why) < std::tie(right.line, right.column, right.why);
    });
}

std::string format_ports(const PortsFile& file, const std::vector<Port>& ports) {
    std::vector<Entry> entries = file.entries;
    if (file.csv) return encode(format_csv(updated(entries, ports), file.separator), file.encoding);
    if (entries.empty()) entries.emplace_back().text = W("# name address port");
    return encode(host::to_text(format_lines(updated(entries, ports))), file.encoding);
}

}  // namespace tsport
