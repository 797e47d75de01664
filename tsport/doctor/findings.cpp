#include "tsport/doctor/findings.h"

#include <algorithm>
#include <stdexcept>

#include "tsport/output.h"

namespace tsport::doctor {
namespace {

std::string area_of(const std::string& id) {
    return id.substr(0, id.find('.'));
}

bool names(const command_line::Words& words, const std::string& id) {
    return std::any_of(words.begin(), words.end(),
                       [&](const std::string& word) { return word == id || word == area_of(id); });
}

command_line::Words words_for_choices() {
    command_line::Words words;
    for (const Kind& kind : kinds()) {
        const std::string area = area_of(kind.id);
        if (std::find(words.begin(), words.end(), area) == words.end()) words.push_back(area);
        words.emplace_back(kind.id);
    }
    return words;
}

// Text output contains no terminal control characters.
std::string safe(const std::string& utf8) {
    return shown(host::to_text(utf8));
}

}  // namespace

std::string choice_fault(const std::string& word) {
    const command_line::Words known = words_for_choices();
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

void Findings::add(const std::string& id, const std::string& what, const std::string& fix) {
    const auto kind = std::find_if(kinds().begin(), kinds().end(), [&](const Kind& known) { return known.id == id; });
    if (kind == kinds().end()) throw std::logic_error("no such finding: " + id);
    if (wants_kind(id)) findings_.push_back({&*kind, what, fix});
}

void Findings::saw(const std::string& area, const std::string& what) {
    if (wants(area)) seen_.push_back({area, what});
}

void Findings::skipped(const std::string& area, const std::string& why) {
    if (wants(area)) skipped_.push_back({area, why});
}

std::string Findings::to_text() const {
    std::string text;
    for (const Finding& finding : findings_) {
        text += std::string(finding.kind->id) + ": " + safe(finding.what) + "\n";
        text += "    meaning:  " + std::string(finding.kind->means) + "\n";
        text += "    fix:      " + safe(finding.fix) + "\n";
    }
    Rows rows;
    for (const Note& note : seen_) rows.push_back({note.area, safe(note.text)});
    for (const Note& note : skipped_) rows.push_back({note.area, "not checked: " + safe(note.text)});
    if (!findings_.empty() && !rows.empty()) text += "\n";
    text += in_columns(rows);
    return text + (findings_.empty() ? "no findings" : counted(findings_.size(), "finding")) + "\n";
}

std::string Findings::to_json() const {
    return json_line([this](JsonWriter& json) {
        const auto write_notes = [&json](const char* name, const std::vector<Note>& notes, const char* text) {
            json.array(name, [&] {
                for (const Note& note : notes) {
                    json.object([&] {
                        json.member("area", note.area);
                        json.member(text, note.text);
                    });
                }
            });
        };
        json.array("findings", [&] {
            for (const Finding& finding : findings_) {
                json.object([&] {
                    json.member("id", finding.kind->id);
                    json.member("found", finding.what);
                    json.member("means", finding.kind->means);
                    json.member("fix", finding.fix);
                });
            }
        });
        write_notes("checked", seen_, "found");
        write_notes("not_checked", skipped_, "why");
    });
}

std::string counted(size_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string path_in(const std::string& folder, const std::string& name) {
    const bool is_complete = !folder.empty() && (folder.back() == '\\' || folder.back() == '/');
    const char* const separator = folder.find('\\') != std::string::npos ? "\\" : "/";
    return folder + (is_complete ? "" : separator) + name;
}

std::string shown_text(const std::string& text) {
    constexpr size_t most = 80;
    return "\"" + safe(text.substr(0, most)) + (text.size() > most ? "..." : "") + "\"";
}

}  // namespace tsport::doctor
