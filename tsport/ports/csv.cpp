#include "tsport/ports/csv.h"

#include <algorithm>
#include <array>

#include "tsport/output.h"

namespace tsport {
namespace {

constexpr const char* column_names[] = {"name", "address", "port"};
constexpr size_t columns = std::size(column_names);

struct Cell {
    Text text;
    size_t line = 1;
    size_t column = 1;
};
using Record = std::vector<Cell>;

// Cuts a text into records. A cell in quotes may hold separators, line ends and doubled quotes.
class Reader {
  public:
    Reader(const Text& text, WCHAR separator) : text_(text), separator_(separator) {}

    bool at_end() const { return at_ == text_.size(); }
    // False with the fault; the reader is then behind the end of that line.
    bool take(Record& record, Fault& fault) {
        record.clear();
        for (;;) {
            record.push_back({Text(), line_, at_ - line_begin_ + 1});
            if (!take_cell(record.back().text, fault)) {
                at_ = std::min(text_.find(W('\n'), at_), text_.size());
                end_line();
                return false;
            }
            if (at_end() || text_[at_] != separator_) break;
            ++at_;
        }
        end_line();
        return true;
    }

  private:
    bool line_ends() const { return at_end() || text_[at_] == W('\n') || text_.compare(at_, 2, W("\r\n")) == 0; }
    void end_line() {
        if (!at_end() && text_[at_] == W('\r')) ++at_;
        if (at_end()) return;
        step();
    }
    void step() {
        if (text_[at_++] != W('\n')) return;
        ++line_;
        line_begin_ = at_;
    }
    Fault here(const char* why) const { return {line_, at_ - line_begin_ + 1, why}; }

    bool take_cell(Text& cell, Fault& fault) {
        if (!at_end() && text_[at_] == W('"')) return take_quoted(cell, fault);
        for (; !line_ends() && text_[at_] != separator_; ++at_) {
            fault = here("a quote inside a cell that does not begin with one");
            if (text_[at_] == W('"')) return false;
            fault = here("a typographic quote; write \" instead");
            if (is_typographic_quote(text_[at_])) return false;
            cell += text_[at_];
        }
        return true;
    }
    bool take_quoted(Text& cell, Fault& fault) {
        fault = here("the closing quote is missing");
        for (++at_; !at_end(); step()) {
            if (text_[at_] == W('"') && (++at_ == text_.size() || text_[at_] != W('"'))) {
                fault = here("more text after a closing quote");
                return line_ends() || text_[at_] == separator_;
            }
            cell += text_[at_];
        }
        return false;
    }

    const Text& text_;
    const WCHAR separator_;
    size_t at_ = 0;
    size_t line_ = 1;
    size_t line_begin_ = 0;
};

// The places of the three columns; false with the fault.
bool find_columns(const Record& record, std::array<size_t, columns>& places, Fault& fault) {
    for (size_t i = 0; i < columns; ++i) {
        const Text name = host::to_text(column_names[i]);
        const auto found =
            std::find_if(record.begin(), record.end(), [&](const Cell& cell) { return same_name(cell.text, name); });
        fault = {1, 1,
                 std::string("the first line names no column \"") + column_names[i] +
                     "\"; it has to name the columns name, address and port"};
        if (found == record.end()) return false;
        places[i] = static_cast<size_t>(found - record.begin());
    }
    return true;
}

std::string parse_record(const Record& record, const std::array<size_t, columns>& places, Port& port, size_t& column) {
    std::string why;
    for (size_t i = 0; i < columns; ++i) {
        if (places[i] >= record.size()) return std::string("no ") + column_names[i] + " in this line";
        const Cell& cell = record[places[i]];
        column = cell.column;
        if (i == 0) why = name_fault(port.name = cell.text);
        if (i == 1) why = address_fault(port.address = cell.text);
        if (i == 2) why = parse_port_number(cell.text, port.number);
        if (!why.empty()) return why;
    }
    return std::string();
}

Text csv_cell(const Text& text, WCHAR separator) {
    const bool plain = text.find(separator) == Text::npos && text.find_first_of(W("\"\r\n;, \t")) == Text::npos &&
                       std::none_of(text.begin(), text.end(), is_typographic_quote);
    if (plain) return text;
    Text cell = W("\"");
    for (const WCHAR c : text) cell += c == W('"') ? Text(2, c) : Text(1, c);
    return cell + W("\"");
}

}  // namespace

void parse_csv(const Text& text, PortsFile& file, std::vector<Fault>& faults) {
    const Text first = text.substr(0, text.find(W('\n')));
    file.separator = first.find(W(',')) == Text::npos && first.find(W(';')) != Text::npos ? W(';') : W(',');
    Reader reader(text, file.separator);
    Record record;
    Fault fault;
    std::array<size_t, columns> places{};
    if (reader.at_end()) return;
    if (!reader.take(record, fault) || !find_columns(record, places, fault)) {
        faults.push_back(fault);
        return;
    }
    while (!reader.at_end()) {
        if (!reader.take(record, fault)) {
            faults.push_back(fault);
            continue;
        }
        if (record.size() == 1 && record[0].text.empty()) continue;  // an empty line
        Entry entry;
        entry.is_port = true;
        entry.line = record[0].line;
        size_t column = 1;
        const std::string why = parse_record(record, places, entry.port, column);
        if (!why.empty()) faults.push_back({entry.line, column, why});
        file.entries.push_back(entry);
    }
}

Text format_csv(const std::vector<Entry>& entries, WCHAR separator) {
    const Text between(1, separator);
    Text text = W("name") + between + W("address") + between + W("port\n");
    for (const Entry& entry : entries) {
        if (!entry.is_port) continue;
        text += csv_cell(entry.port.name, separator) + between + csv_cell(entry.port.address, separator) + between +
                host::to_text(std::to_string(entry.port.number)) + W("\n");
    }
    return text;
}

}  // namespace tsport
