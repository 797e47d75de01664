// The doctor's results: findings, the areas it checked and those it skipped.
#pragma once

#include <string>
#include <vector>

#include "host/command_line/options.h"

namespace tsport::doctor {

// A finding's stable identifier, "area.word", and what it means for printing.
struct Kind {
    const char* id;
    const char* means;
};
const std::vector<Kind>& kinds();

// The identifiers or areas to check; empty: all.
struct Choice {
    command_line::Words only;
    command_line::Words skip;
};
// What is wrong with a word of --only or --skip, or nothing.
std::string choice_fault(const std::string& word);

class Findings {
  public:
    explicit Findings(Choice choice = {}) : choice_(std::move(choice)) {}

    // Whether any finding of the area is requested.
    bool wants(const std::string& area) const;

    // `id` is one of kinds(); a finding that was not asked for is dropped. `fix` is the command or the edit.
    void add(const std::string& id, const std::string& what, const std::string& fix);
    // Notes that the area was checked, and what is there.
    void saw(const std::string& area, const std::string& what);
    void skipped(const std::string& area, const std::string& why);

    struct Finding {
        const Kind* kind;
        std::string what;
        std::string fix;
    };
    const std::vector<Finding>& all() const { return findings_; }
    // Whether none of the requested areas could be examined.
    bool saw_nothing() const { return findings_.empty() && seen_.empty(); }

    std::string to_text() const;
    std::string to_json() const;

  private:
    struct Note {
        std::string area;
        std::string text;
    };
    bool wants_kind(const std::string& id) const;

    Choice choice_;
    std::vector<Finding> findings_;
    std::vector<Note> seen_;
    std::vector<Note> skipped_;
};

// "5 ports", "1 port".
std::string counted(size_t count, const std::string& noun);
// A file of a folder, with the separator that the folder's path has itself.
std::string path_in(const std::string& folder, const std::string& name);
// Text of a file, of any bytes, as messages show it: in quotes, and cut when it is long.
std::string shown_text(const std::string& text);

}  // namespace tsport::doctor
