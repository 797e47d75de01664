#include "bench/report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>

namespace bench {
namespace {

// Three digits that count, and no exponent.
std::string number(double value) {
    char text[40];
    const double size = std::fabs(value);
    const int decimals = size >= 100 || value == std::floor(value) ? 0 : size >= 10 ? 1 : size >= 1 ? 2 : 3;
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string ratio_text(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.3f", value);
    return text;
}

std::string interval_text(const Row& row) {
    if (!row.interval) return {};
    return ratio_text(row.interval->low) + " - " + ratio_text(row.interval->high) + " (" + std::to_string(row.pairs) +
           ")";
}

using Line = std::vector<std::string>;

Line line_of(const Row& row) {
    if (!row.measured()) return {row.name, "", "", "", "", "", "", "", row.words};
    const bool compared = !row.against.empty();
    return {row.name,
            number(row.ours) + " " + row.unit,
            row.against,
            compared ? number(row.theirs) + " " + row.unit : "",
            compared ? ratio_text(row.ratio()) : "",
            interval_text(row),
            row.bar ? number(*row.bar) : "",
            row.verdict(),
            row.words};
}

// Characters, not bytes.
size_t width_of(const std::string& text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') result += '\\';
        result += c;
    }
    return result + "\"";
}

void write_row(std::ostream& out, const Row& row) {
    out << "  {\"case\": " << quoted(row.name);
    if (row.measured()) {
        out << ", \"unit\": " << quoted(row.unit) << ", \"ours\": " << row.ours;
        if (!row.against.empty()) {
            out << ", \"against\": " << quoted(row.against) << ", \"theirs\": " << row.theirs
                << ", \"ratio\": " << row.ratio();
        }
        if (row.interval) {
            out << ", \"pairs\": " << row.pairs << ", \"interval\": [" << row.interval->low << ", "
                << row.interval->high << "]";
        }
        if (row.bar) out << ", \"bar\": " << *row.bar << ", \"verdict\": " << quoted(row.verdict());
    }
    if (!row.words.empty()) out << ", \"words\": " << quoted(row.words);
    out << "}";
}

}  // namespace

std::string Row::verdict() const {
    if (!bar) return {};
    if (interval && !interval->is_beside(*bar)) return "not decided";
    return (interval ? interval->high : judged()) <= *bar ? "held" : "missed";
}

Row pair_row(const std::string& name, const std::string& against, const Pairs& pairs, std::optional<double> bar,
             const std::string& unit, double factor, double parts) {
    Row row = figure_row(name, unit, pairs.first_median() * factor / parts, bar, against,
                         pairs.second_median() * factor / parts);
    row.pairs = pairs.first.size();
    row.interval = pairs.interval();
    return row;
}

Row figure_row(const std::string& name, const std::string& unit, double ours, std::optional<double> bar,
               const std::string& against, double theirs) {
    Row row;
    row.name = name;
    row.unit = unit;
    row.ours = ours;
    row.bar = bar;
    row.against = against;
    row.theirs = theirs;
    return row;
}

Row skipped_row(const std::string& name, const std::string& why) {
    Row row;
    row.name = name;
    row.words = why;
    return row;
}

void Report::add(Row row) {
    std::string text;
    for (const std::string& cell : line_of(row)) {
        if (!cell.empty()) text += (text.empty() ? "" : "  ") + cell;
    }
    std::fprintf(stderr, "%s\n", text.c_str());
    rows_.push_back(std::move(row));
}

bool Report::all_held() const {
    return !failed_ &&
           std::all_of(rows_.begin(), rows_.end(), [](const Row& row) { return !row.bar || row.verdict() == "held"; });
}

// Reads well as it is, and is a table where Markdown is read.
void Report::print_table() const {
    std::vector<Line> lines = {{"case", "ours", "against", "theirs", "ratio", "95 % interval (pairs)", "bar", "", ""}};
    lines.emplace_back(lines[0].size(), "---");
    for (const Row& row : rows_) {
        lines.push_back(line_of(row));
        lines.back().resize(lines[0].size());
    }
    std::vector<size_t> widths(lines[0].size());
    for (const Line& line : lines) {
        // The words at the end are as long as they are.
        for (size_t i = 0; i + 1 < widths.size(); ++i) widths[i] = std::max(widths[i], width_of(line[i]));
    }
    for (const Line& line : lines) {
        std::string text = "|";
        for (size_t i = 0; i < line.size(); ++i) {
            text += " " + line[i] + std::string(widths[i] - std::min(width_of(line[i]), widths[i]), ' ') + " |";
        }
        std::printf("%s\n", text.c_str());
    }
}

bool Report::write_json(const std::string& path) const {
    std::ofstream file(path);
    file << "[\n";
    for (size_t i = 0; i < rows_.size(); ++i) {
        write_row(file, rows_[i]);
        file << (i + 1 < rows_.size() ? ",\n" : "\n");
    }
    file << "]\n";
    return static_cast<bool>(file.flush());
}

}  // namespace bench
