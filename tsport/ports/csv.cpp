// Ports as comma-separated values, for spreadsheets.

#include <algorithm>
#include <array>

#include "tsport/ports/ports_file.h"

namespace tsport {
namespace {

constexpr const char* column_names[] = {"name", "address", "port"};
constexpr size_t columns = std::size(column_names);

struct Cell {
    Text text;
    size_t at;
};
using Record = std::vector<Cell>;

// What is wrong, and where; nothing is without words.
struct Wrong {
    std::string why;
    size_t at;
};

// Cuts the record at `at` into cells, and moves `at` to its end. A cell in quotes may hold separators, line ends and
// doubled quotes.
Wrong take_record(const Text& text, WCHAR separator, size_t& at, Record& record) {
    const auto ends = [&] {
        return at == text.size() || text[at] == W('\n') || text.compare(at, 2, W("\r\n")) == 0 || text[at] == separator;
    };
    record.clear();
    for (;; ++at) {
        record.push_back({Text(), at});
        Text& cell = record.back().text;
        if (at < text.size() && text[at] == W('"')) {
            bool closed = false;
            for (++at; at < text.size() && !closed;) {
                if (text[at] == W('"')) closed = ++at == text.size() || text[at] != W('"');
                if (!closed) cell += text[at++];
            }
            if (!closed) return {"the closing quote is missing", record.back().at};
            if (!ends()) return {"more text after a closing quote", at};
        }
        for (; !ends(); cell += text[at++]) {
            if (text[at] == W('"')) return {"a quote inside a cell that does not begin with one", at};
            if (is_typographic_quote(text[at])) return {"a typographic quote; write \" instead", at};
        }
        if (at == text.size() || text[at] != separator) return {};
    }
}

using Places = std::array<size_t, columns>;  // of the three columns in a record

Wrong find_columns(const Record& record, Places& places) {
    for (size_t i = 0; i < columns; ++i) {
        const Text name = host::to_text(column_names[i]);
        const auto found =
            std::find_if(record.begin(), record.end(), [&](const Cell& cell) { return same_name(cell.text, name); });
        if (found == record.end()) {
            return {std::string("the first line names no column \"") + column_names[i] +
                        "\"; it has to name the columns name, address and port",
                    record[0].at};
        }
        places[i] = static_cast<size_t>(found - record.begin());
    }
    return {};
}

Wrong parse_record(const Record& record, const Places& places, Port& port) {
    Wrong wrong = {"", record[0].at};
    for (size_t i = 0; i < columns && wrong.why.empty(); ++i) {
        if (places[i] >= record.size()) return {std::string("no ") + column_names[i] + " in this line", wrong.at};
        const Text& text = record[places[i]].text;
        wrong.at = record[places[i]].at;
        if (i == 0) wrong.why = name_fault(port.name = text);
        if (i == 1) wrong.why = address_fault(port.address = text);
        if (i == 2) wrong.why = parse_port_number(text, port.number);
    }
    return wrong;
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
    Record record;
    Places places{};
    size_t line = 1;
    for (size_t at = 0; at < text.size();) {
        const size_t begin = at;
        Wrong wrong = take_record(text, file.separator, at, record);
        Entry entry{true, false, {}, {}, {}, line};
        const bool is_empty = record.size() == 1 && record[0].text.empty();
        if (wrong.why.empty() && begin == 0) {
            wrong = find_columns(record, places);
        } else if (wrong.why.empty() && !is_empty) {
            wrong = parse_record(record, places, entry.port);
            entry.is_faulty = !wrong.why.empty();
            entry.address_column = record[std::min(places[1], record.size() - 1)].at - begin + 1;
            file.entries.push_back(entry);
        }
        at = std::min(text.find(W('\n'), at), text.size() - 1) + 1;
        if (!wrong.why.empty()) faults.push_back(fault_at(text, wrong.at, wrong.why));
        line += static_cast<size_t>(std::count(text.data() + begin, text.data() + at, W('\n')));
        if (begin == 0 && !faults.empty()) return;
    }
}

Text format_csv(const std::vector<Entry>& entries, WCHAR separator) {
    const Text between(1, separator);
    Text text = W("name") + between + W("address") + between + W("port\n");
    for (const Entry& entry : entries) {
        if (!entry.is_port) continue;
        text.append(csv_cell(entry.port.name, separator)).append(between);
        text.append(csv_cell(entry.port.address, separator)).append(between);
        text.append(host::to_text(std::to_string(entry.port.number))).append(W("\n"));
    }
    return text;
}

}  // namespace tsport
