// tsport report: what became of the documents, from the monitor's logs.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tsport/json.h"
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
    std::optional<Timestamp> first;  // times of the first and the last line
    std::optional<Timestamp> last;
    Timestamp seen{};                // when what is under way was looked at
    std::string covers;              // what was asked for: "job 7 on Office"; empty: everything
    std::vector<std::string> notes;  // what has to be known to read it: what the logs cannot tell, what was left out
};

// The history of one job: its log lines in plain words.
class JobHistory {
  public:
    JobHistory(std::uint32_t job, Sink sink) : job_(job), sink_(std::move(sink)) {}

    // A line and its document, which may be another job's.
    void add(const LogLine& line, const Message& message, const Document& document);
    void finish() { write_buffers(); }

  private:
    // Buffers one after the other make one line.
    struct Buffers {
        std::uint64_t count = 0;
        std::uint64_t bytes = 0;
        Timestamp first;
        const char* where = "";
    };
    bool add_buffer(const LogLine& line, const Message& message);
    void write_buffers();
    void write(Timestamp time, const std::string& text);

    const std::uint32_t job_;
    const Sink sink_;
    Buffers buffers_;
    std::uint32_t thread_ = 0;
    bool begun_ = false;
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
    static constexpr size_t most_seen = 10'000;

    Listener listener();
    bool in_time(Timestamp time) const;
    bool wanted(const Document& document);
    void add_notes();

    const Options& options_;
    Report& report_;
    std::optional<JobHistory> history_;
    DocumentTracker tracker_;
    std::set<std::uint32_t> jobs_;     // that the log has, of the printer and the time that were asked for
    std::set<std::string> printers_;   // and printers
    std::optional<Timestamp> latest_;  // start of a document
};

// Logs to be read, and what was left out.
struct LogFiles {
    struct File {
        std::string path;        // "-": the standard input
        bool of_folder = false;  // nobody has named it
    };
    std::vector<File> files;  // the oldest first
    std::vector<std::string> left_out;
};
// What the arguments name. A folder stands for the log in it, "print-monitor.log", with its numbered files; the folder
// may be a base directory or the install folder. Files that are numbers of the same log come in their order, logs in
// that of their times. False with the reason when one does not exist or is no file.
bool find_logs(const std::vector<std::string>& arguments, LogFiles& logs, std::string& why);
// Reads the logs; false with the reason when one cannot be read, or is none. `history` as above.
bool read_logs(const Options& options, const Sink& history, Report& report, std::string& why);

// Those whose cause no document has.
std::vector<OtherErrors::Error> other_errors_of(const Report& report);

void write_text(const Report& report, const Options& options, const Sink& sink);
void write_json(const Report& report, const Sink& sink);
// The same with these documents one by one.
void write_json(const Report& report, const DocumentList& documents, const Sink& sink);
void write_csv(const Report& report, const Sink& sink);
// Each attempt as an object of its own line; fields that the Elastic Common Schema has by its names.
void write_ndjson(const Report& report, const Sink& sink);
void write_html(const Report& report, const Sink& sink);
// The file `text` of metrics for Prometheus, in the text format of node_exporter's and windows_exporter's textfile
// collectors. Counters go on counting over rotations of the log: `state` is the text that the last call left, "" for
// none, and becomes the one for the next. Documents that ended before that call's last line are not counted again.
// False with the reason when `state` is none.
bool write_metrics(const Report& report, std::string& state, std::string& text, std::string& why);

}  // namespace tsport::report
