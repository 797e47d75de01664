// The doctor's results: findings, the areas it checked and those it skipped.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/command_line/options.h"

namespace tsport::doctor {

enum class Degree { broken, at_risk, to_know };

// A row of docs/DOCTOR.md, which explains them.
struct Kind {
    std::string id;  // stable, "area.word"
    Degree degree;
    std::string means;  // for printing
    std::string fix;    // NAME and PATH stand for the place; complete commands are in backticks
};
// All of them, in the order of the document.
const std::vector<Kind>& kinds();

// The identifiers or areas to check; empty: all.
struct Choice {
    command_line::Words only;
    command_line::Words skip;
};
// What is wrong with a word of --only or --skip, or nothing.
std::string choice_fault(const std::string& word);

// One of the ports, files or lines that a finding concerns.
struct Place {
    std::string found;    // what is wrong, complete
    std::string subject;  // the port's name or the path; empty where the remedy needs none
};

struct Finding {
    const Kind* kind;
    std::vector<Place> places;
};

class Findings {
  public:
    explicit Findings(Choice choice = {}) : choice_(std::move(choice)) {}

    // Whether any finding of the area is requested.
    bool wants(const std::string& area) const;

    // `id` is one of kinds().
    void add(const std::string& id, const std::string& found, const std::string& subject = "");
    // Notes that the area was checked, and what is there: of `total` ports, where it is about ports.
    void saw(const std::string& area, const std::string& what, size_t total = 0);
    void skipped(const std::string& area, const std::string& why);

    // Whether it was found, requested or not: the identifier, or anything of an area that is broken.
    bool has(const std::string& id_or_area) const;
    bool has(const std::string& id, const std::string& subject) const;
    // Those requested, what is broken first.
    std::vector<Finding> all() const;
    // Whether none of the requested areas could be examined.
    bool saw_nothing() const { return all().empty() && seen_.empty(); }

    std::string to_text() const;
    std::string to_json() const;

  private:
    struct Note {
        std::string area;
        std::string text;
    };
    bool wants_kind(const std::string& id) const;
    std::string heading(const Finding& finding) const;

    Choice choice_;
    std::map<const Kind*, std::vector<Place>> found_;  // in the order of the document
    std::vector<Note> seen_;
    std::vector<Note> skipped_;
    size_t ports_ = 0;
};

// "5 ports", "1 port".
std::string counted(size_t count, const std::string& noun);
// The first ten, and how many there are beyond.
std::string first_of(const command_line::Words& words, const std::string& separator);
// With ASCII letters in lower case.
std::string lower(std::string text);
// Text of a file, of any bytes, as messages show it: in quotes, and cut when it is long.
std::string shown_text(const std::string& text);

}  // namespace tsport::doctor
