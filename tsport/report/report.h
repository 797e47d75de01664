// tsport report: what became of the documents, from the monitor's logs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tsport/report/job_history.h"
#include "tsport/report/options.h"
#include "tsport/report/sums.h"
#include "tsport/report/tracker.h"

namespace tsport::report {

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
    bool utf16 = false;              // a file was UTF-16: none of its lines can be understood
    std::optional<Timestamp> first;  // times of the first and the last line
    std::optional<Timestamp> last;
    std::string covers;  // what was asked for: "job 7 on Office"; empty: everything
};

// Adds log lines to a report.
class Collector {
  public:
    // Options and report have to outlive the collector. `history`, when it is set, gets the history of the one job that
    // was asked for.
    Collector(const Options& options, Report& report, Sink history = {});
    // A line without its line feed; `complete` as the line reader says.
    void add(std::string_view line, bool complete = true);
    // The log is over.
    void finish();

  private:
    Listener listener();
    bool wanted(const Document& document) const;

    const Options& options_;
    Report& report_;
    std::optional<JobHistory> history_;
    DocumentTracker tracker_;
};

// The files that the arguments name, the oldest first. A folder stands for the log in it, "print-monitor.log", with its
// numbered files; of files given one by one those that are numbers of the same log come in their order. "-" is the
// standard input. False with the reason when one does not exist.
bool find_logs(const std::vector<std::string>& arguments, std::vector<std::string>& files, std::string& why);
// Reads the logs; false with the reason when one cannot be read. `history` as above.
bool read_logs(const Options& options, const Sink& history, Report& report, std::string& why);

void write_text(const Report& report, const Options& options, const Sink& sink);
void write_json(const Report& report, const Sink& sink);
// The same with these documents one by one.
void write_json(const Report& report, const DocumentList& documents, const Sink& sink);
void write_csv(const Report& report, const Sink& sink);
void write_html(const Report& report, const Sink& sink);

}  // namespace tsport::report
