#include "bench/report.h"

#include <rapidjson/ostreamwrapper.h>
#include <rapidjson/prettywriter.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>

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
    if (!row.measured()) return {row.name, "", "", "", "", "", "", "", row.note};
    const bool compared = !row.against.empty();
    return {row.name,
            number(row.ours) + " " + row.unit,
            row.against,
            compared ? number(row.theirs) + " " + row.unit : "",
            compared ? ratio_text(row.ratio()) : "",
            interval_text(row),
            row.bar ? number(*row.bar) : "",
            row.verdict(),
            row.note};
}

// Characters, not bytes.
size_t width_of(const std::string& text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

using JsonWriter = rapidjson::PrettyWriter<rapidjson::OStreamWrapper>;

void write_text(JsonWriter& json, const char* name, const std::string& text) {
    json.Key(name);
    json.String(text.c_str());
}

void write_number(JsonWriter& json, const char* name, double value) {
    json.Key(name);
    json.Double(value);
}

void write_row(JsonWriter& json, const Row& row) {
    json.StartObject();
    write_text(json, "case", row.name);
    if (row.measured()) {
        write_text(json, "unit", row.unit);
        write_number(json, "ours", row.ours);
        if (!row.against.empty()) {
            write_text(json, "against", row.against);
            write_number(json, "theirs", row.theirs);
            write_number(json, "ratio", row.ratio());
        }
        if (row.interval) {
            json.Key("pairs");
            json.Uint64(row.pairs);
            json.Key("interval");
            json.StartArray();
            json.Double(row.interval->low);
            json.Double(row.interval->high);
            json.EndArray();
        }
        if (row.bar) {
            write_number(json, "bar", *row.bar);
            write_text(json, "verdict", row.verdict());
        }
    }
    if (!row.note.empty()) write_text(json, "note", row.note);
    json.EndObject();
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
    return {.name = name, .unit = unit, .ours = ours, .against = against, .theirs = theirs, .bar = bar};
}

Row skipped_row(const std::string& name, const std::string& why) {
    return {.name = name, .note = why};
}

std::string calls_to_text(const Calls& calls) {
    std::vector<std::pair<double, std::string>> sorted;
    for (const auto& [function, count] : calls) sorted.emplace_back(-count, function);
    std::sort(sorted.begin(), sorted.end());
    std::string text;
    for (const auto& [less, function] : sorted) {
        char part[80];
        std::snprintf(part, sizeof part, "%s%s %.4g", text.empty() ? "" : ", ", function.c_str(), -less);
        if (-less >= 0.02) text += part;
    }
    return text;
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
        // The last column is not padded.
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
    rapidjson::OStreamWrapper stream(file);
    JsonWriter json(stream);
    json.SetIndent(' ', 2);
    json.SetMaxDecimalPlaces(6);
    json.StartArray();
    for (const Row& row : rows_) write_row(json, row);
    json.EndArray();
    return static_cast<bool>(file.flush());
}

}  // namespace bench
