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

std::string interval_text(const Interval& interval) {
    return ratio_text(interval.low) + " - " + ratio_text(interval.high);
}

using Line = std::vector<std::string>;

const Line kHeadings = {"case",           "ours",          "limit", "ratio",  "95 % interval (pairs)",
                        "processor time", "95 % interval", "bar",   "verdict"};
const Line kOtherHeadings = {"case", "ours", "against", "ratio", "note"};

std::string compared_text(const Row& row) {
    return row.against.empty() ? "" : row.against + ": " + number(row.theirs) + " " + row.unit;
}

Line line_of(const Row& row) {
    if (!row.measured()) return {row.name, "", "", "", row.note};
    const std::string ratio = row.against.empty() ? "" : ratio_text(row.ratio());
    Line line = {row.name, number(row.ours) + " " + row.unit, compared_text(row), ratio};
    if (!row.bar) {
        line.push_back(row.note);
        return line;
    }
    Line rest = {"", "", "", number(*row.bar) + (row.against.empty() ? " " + row.unit : ""), row.verdict()};
    if (row.pairs) {
        rest[0] = interval_text(row.pairs->wall.interval()) + " (" + std::to_string(row.pairs->wall.first.size()) + ")";
        rest[1] = ratio_text(row.pairs->processor.ratio());
        rest[2] = interval_text(row.pairs->processor.interval());
    }
    line.insert(line.end(), rest.begin(), rest.end());
    return line;
}

void print_line(const Line& line) {
    std::string text = "|";
    for (const std::string& cell : line) text += " " + cell + " |";
    std::printf("%s\n", text.c_str());
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

void write_interval(JsonWriter& json, const char* name, const Pairs& pairs) {
    json.Key(name);
    json.StartArray();
    json.Double(pairs.interval().low);
    json.Double(pairs.interval().high);
    json.EndArray();
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
        if (row.pairs) {
            json.Key("pairs");
            json.Uint64(row.pairs->wall.first.size());
            write_interval(json, "interval", row.pairs->wall);
            write_number(json, "processor_ratio", row.pairs->processor.ratio());
            write_interval(json, "processor_interval", row.pairs->processor);
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
    const double judged = pairs ? pairs->deciding(*bar).interval().high : against.empty() ? ours : ratio();
    return judged <= *bar ? "held" : "missed";
}

Row pair_row(const std::string& name, const std::string& against, const Measured& pairs, std::optional<double> bar,
             const std::string& unit, double factor, double parts) {
    Row row = figure_row(name, unit, median(pairs.wall.first) * factor / parts, bar, against,
                         median(pairs.wall.second) * factor / parts);
    row.pairs = pairs;
    return row;
}

Row figure_row(const std::string& name, const std::string& unit, double ours, std::optional<double> bar,
               const std::string& against, double theirs, const std::string& note) {
    return {.name = name, .unit = unit, .ours = ours, .against = against, .theirs = theirs, .bar = bar, .note = note};
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

void Report::print_tables() const {
    for (const bool barred : {true, false}) {
        const Line& headings = barred ? kHeadings : kOtherHeadings;
        std::printf("\n");
        print_line(headings);
        print_line(Line(headings.size(), "---"));
        for (const Row& row : rows_) {
            if (row.bar.has_value() == barred) print_line(line_of(row));
        }
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
