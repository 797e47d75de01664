// tsport report: what became of the documents, from the monitor's logs.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/tsport/report/follow.h"
#include "tools/tsport/report/sums.h"

namespace tsport::report {

enum class Format { text, json, csv };

struct Options {
    std::vector<std::string> logs;
    Format format = Format::text;
    std::string html;            // a file's path; the page is written there, and what was asked for besides
    std::optional<Stamp> since;  // documents that started ...
    std::optional<Stamp> until;  // ... in between
    std::string printer;         // of a printer of this name or address
    std::optional<std::uint32_t> job;
    std::size_t rows = 40;  // of documents, for people; scripts and the page get all that are kept
};

// Parses the arguments after the verb; false with the reason. `now` is what spans like "24h" count from.
bool parse_options(const std::vector<std::string>& words, Stamp now, Options& options, std::string& why);
// The current local time.
Stamp local_now();

// The results and their sources.
struct Report {
    Texts texts;
    Sums sums;
    KeptDocuments documents;
    OtherErrors other_errors;
    std::vector<std::string> files;
    std::uint64_t lines = 0;
    std::uint64_t bytes = 0;
    std::uint64_t cut_lines = 0;
    std::uint64_t foreign_lines = 0;
    std::uint64_t detailed_lines = 0;
    bool utf16 = false;
    std::string first;  // times of the first and the last line
    std::string last;
    std::string covers;  // what was asked for, in words: "job 7, printer Office"
};

// Adds log lines to a report.
class Collector {
  public:
    // `life`, when it is set, gets the lines of the one job that was asked for, in words.
    Collector(const Options& options, Report& report, std::function<void(std::string_view)> life = {});
    void take(std::string_view line, bool whole = true);
    void finish();

  private:
    class Life;
    bool wanted(const Document& document) const;

    const Options& options_;
    Report& report_;
    std::shared_ptr<Life> life_;
    Follower follower_;
    char last_stamp_[stamp_size] = {};
};

using Sink = std::function<void(std::string_view)>;

void write_text(const Report& report, const Options& options, const Sink& sink);
void write_json(const Report& report, const Sink& sink);
void write_csv(const Report& report, const Sink& sink);
void write_html(const Report& report, const Sink& sink);

enum Result { reported = 0, wrong_line = 2, unreadable = 3 };
// The verb, with the words behind it: its exit status. What people or scripts are to read goes to `out`.
int run(const std::vector<std::string>& words, const Sink& out, std::string& error);

}  // namespace tsport::report
