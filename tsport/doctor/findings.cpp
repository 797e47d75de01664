#include "tsport/doctor/findings.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <tuple>

#include "tsport/output.h"
#include "tsport/ports/encoding.h"

namespace tsport::doctor {

extern const std::string_view findings_document;  // docs/DOCTOR.md

namespace {

struct DegreeText {
    const char* mark;
    const char* name;
};
constexpr DegreeText degree_texts[] = {{"[X] ", "broken"}, {"[!] ", "at risk"}, {"[i] ", "to know"}};

std::string area_of(const std::string& id) {
    return id.substr(0, id.find('.'));
}

bool names(const command_line::Words& words, const std::string& id) {
    return std::any_of(words.begin(), words.end(),
                       [&](const std::string& word) { return word == id || word == area_of(id); });
}

std::vector<std::string> cells_of_row(std::string_view row) {
    std::vector<std::string> cells;
    for (size_t begin = 0, end = 0; end != std::string_view::npos; begin = end + 3) {
        end = row.find(" | ", begin);
        cells.emplace_back(row.substr(begin, end == std::string_view::npos ? end : end - begin));
    }
    return cells;
}

// Text output contains no terminal control characters.
std::string safe(const std::string& utf8) {
    return shown(host::to_text(utf8));
}

std::string replaced(std::string text, const std::string& word, const std::string& by) {
    for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + by.size())) {
        text.replace(at, word.size(), by);
    }
    return text;
}

std::string for_place(const std::string& text, const std::string& subject) {
    if (subject.empty()) return text;
    if (text.find("PATH") != std::string::npos) return replaced(text, "PATH", subject);
    return replaced(text, "NAME", "\"" + subject + "\"");
}

std::string fix_of(const Finding& finding) {
    const std::string text = replaced(finding.kind->fix, "`", "");
    const std::string& subject = finding.places[0].subject;
    const bool all_same = std::all_of(finding.places.begin(), finding.places.end(),
                                      [&](const Place& place) { return place.subject == subject; });
    return all_same ? for_place(text, subject) : text;
}

// Whether no shell could take it for more than a name.
bool is_plain(const std::string& subject) {
    const Text text = host::to_text(subject);
    return subject.find_first_of("\"'`$%^&|<>!*?") == std::string::npos && shown(text) == subject &&
           std::none_of(text.begin(), text.end(), is_typographic_quote);
}

// The remedy's commands, for each place that has a plain name.
command_line::Words commands_of(const Finding& finding) {
    command_line::Words commands;
    const std::string& fix = finding.kind->fix;
    for (size_t begin = fix.find('`'); begin != std::string::npos;) {
        const size_t end = fix.find('`', begin + 1);
        for (const Place& place : finding.places) {
            if (!is_plain(place.subject)) continue;
            const std::string command = for_place(fix.substr(begin + 1, end - begin - 1), place.subject);
            if (std::find(commands.begin(), commands.end(), command) == commands.end()) commands.push_back(command);
        }
        begin = fix.find('`', end + 1);
    }
    return commands;
}

}  // namespace

const std::vector<Kind>& kinds() {
    static const std::vector<Kind> table = [] {
        std::vector<Kind> rows;
        std::string_view rest = findings_document;
        for (size_t at = rest.find("\n| `"); at != std::string_view::npos; at = rest.find("\n| `")) {
            rest.remove_prefix(at + 3);
            const std::vector<std::string> cells = cells_of_row(rest.substr(0, rest.find(" |\n")));
            const auto degree = std::find_if(std::begin(degree_texts), std::end(degree_texts),
                                             [&](const DegreeText& text) { return text.name == cells.at(1); });
            rows.push_back(
                {replaced(cells.at(0), "`", ""), static_cast<Degree>(degree - degree_texts), cells.at(3), cells.at(4)});
        }
        return rows;
    }();
    return table;
}

std::string choice_fault(const std::string& word) {
    command_line::Words known;
    for (const Kind& kind : kinds()) known.insert(known.end(), {kind.id, area_of(kind.id)});
    if (std::find(known.begin(), known.end(), word) != known.end()) return "";
    return "there is no finding \"" + safe(word) + "\"" + command_line::did_you_mean(word, known);
}

bool Findings::wants_kind(const std::string& id) const {
    return (choice_.only.empty() || names(choice_.only, id)) && !names(choice_.skip, id);
}

bool Findings::wants(const std::string& area) const {
    return std::any_of(kinds().begin(), kinds().end(),
                       [&](const Kind& kind) { return area_of(kind.id) == area && wants_kind(kind.id); });
}

void Findings::add(const std::string& id, const std::string& found, const std::string& subject) {
    const auto kind = std::find_if(kinds().begin(), kinds().end(), [&](const Kind& known) { return known.id == id; });
    if (kind == kinds().end()) throw std::logic_error("no such finding: " + id);
    found_[&*kind].push_back({found, subject});
}

void Findings::saw(const std::string& area, const std::string& what, size_t total) {
    ports_ = std::max(ports_, total);
    if (wants(area)) seen_.push_back({area, what});
}

void Findings::skipped(const std::string& area, const std::string& why) {
    if (wants(area)) skipped_.push_back({area, why});
}

bool Findings::has(const std::string& id_or_area) const {
    return std::any_of(found_.begin(), found_.end(), [&](const auto& found) {
        const Kind& kind = *found.first;
        return kind.id == id_or_area || (area_of(kind.id) == id_or_area && kind.degree == Degree::broken);
    });
}

bool Findings::has(const std::string& id, const std::string& subject) const {
    return std::any_of(found_.begin(), found_.end(), [&](const auto& found) {
        return found.first->id == id && std::any_of(found.second.begin(), found.second.end(),
                                                    [&](const Place& place) { return place.subject == subject; });
    });
}

std::vector<Finding> Findings::all() const {
    std::vector<Finding> findings;
    for (const auto& [kind, places] : found_) {
        if (wants_kind(kind->id)) findings.push_back({kind, places});
    }
    std::sort(findings.begin(), findings.end(), [](const Finding& left, const Finding& right) {
        return std::tie(left.kind->degree, left.kind) < std::tie(right.kind->degree, right.kind);
    });
    return findings;
}

// "the port ...", or "22 of 30 ports: "Office", ...", or "3 places:" and a line for each.
std::string Findings::heading(const Finding& finding) const {
    const std::string area = area_of(finding.kind->id);
    const std::vector<Place>& places = finding.places;
    if (places.size() == 1) return safe(places[0].found);
    const bool of_ports = (area == "ports" || area == "queues") && !places[0].subject.empty();
    const std::string of_all = area == "ports" && ports_ != 0 ? " of " + std::to_string(ports_) : "";
    command_line::Words words;
    for (const Place& place : places) words.push_back(of_ports ? "\"" + safe(place.subject) + "\"" : safe(place.found));
    return std::to_string(places.size()) +
           (of_ports ? of_all + " ports: " + first_of(words, ", ") : " places:\n    " + first_of(words, "\n    "));
}

std::string Findings::to_text() const {
    std::string text;
    size_t counts[std::size(degree_texts)] = {};
    for (const Finding& finding : all()) {
        const Kind& kind = *finding.kind;
        const auto degree = static_cast<size_t>(kind.degree);
        ++counts[degree];
        text += degree_texts[degree].mark + kind.id + ": " + heading(finding) + "\n";
        text += "    meaning:  " + kind.means + "\n    fix:      " + safe(fix_of(finding)) + "\n";
    }
    Rows rows;
    for (const Note& note : seen_) rows.push_back({note.area, safe(note.text)});
    if (!text.empty() && !(rows.empty() && skipped_.empty())) text += "\n";
    text += in_columns(rows);
    for (size_t i = 0; i < skipped_.size(); ++i) {
        const Note& note = skipped_[i];
        text += (i == 0 || skipped_[i - 1].text != note.text ? "not checked: " : ", ") + note.area;
        if (i + 1 == skipped_.size() || skipped_[i + 1].text != note.text) text += ": " + safe(note.text) + "\n";
    }
    if (text.find("estart the spooler") != std::string::npos) {
        text += "to restart the spooler, at a quiet moment: net stop spooler /y, then net start spooler\n";
    }
    std::string summary;
    for (size_t i = 0; i < std::size(counts); ++i) {
        if (counts[i] != 0)
            summary += (summary.empty() ? "" : ", ") + std::to_string(counts[i]) + " " + degree_texts[i].name;
    }
    return text + (summary.empty() ? "no findings" : summary) + "\n";
}

std::string Findings::to_json() const {
    return json_line([this](JsonWriter& json) {
        const auto write_notes = [&json](const char* name, const std::vector<Note>& notes, const char* text) {
            json.objects(name, notes, [&](const Note& note) {
                json.member("area", note.area);
                json.member(text, note.text);
            });
        };
        json.member("version", 1u);
        json.member("verb", std::string_view("doctor"));
        json.objects("findings", all(), [&](const Finding& finding) {
            json.member("id", finding.kind->id);
            json.member("degree", std::string_view(degree_texts[static_cast<size_t>(finding.kind->degree)].name));
            json.objects("places", finding.places, [&](const Place& place) {
                json.member("subject", place.subject);
                json.member("found", place.found);
            });
            json.member("means", finding.kind->means);
            json.member("fix", fix_of(finding));
            json.array("commands", commands_of(finding), [&](const std::string& command) { json.value(command); });
        });
        write_notes("checked", seen_, "found");
        write_notes("not_checked", skipped_, "why");
        json.array("errors", [] {});  // an answer with errors is not written here
    });
}

std::string counted(size_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string first_of(const command_line::Words& words, const std::string& separator) {
    constexpr size_t most = 10;
    std::string text;
    for (size_t i = 0; i < std::min(words.size(), most); ++i) text += (i == 0 ? "" : separator) + words[i];
    return words.size() <= most ? text : text + separator + "and " + std::to_string(words.size() - most) + " more";
}

std::string lower(std::string text) {
    for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 'a' - 'A') : c;
    return text;
}

std::string shown_text(const std::string& text) {
    constexpr size_t most = 80;
    return "\"" + safe(text.substr(0, most)) + (text.size() > most ? "..." : "") + "\"";
}

}  // namespace tsport::doctor
