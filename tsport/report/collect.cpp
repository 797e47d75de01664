// The lines of a log, brought into a report.
#include <algorithm>
#include <cctype>

#include "tsport/report/job_history.h"

namespace tsport::report {
namespace {

bool same_letters(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

}  // namespace

Collector::Collector(const Options& options, Report& report, Sink history)
    : options_(options),
      report_(report),
      history_(options.job && history ? std::make_unique<JobHistory>(*options.job, std::move(history)) : nullptr),
      tracker_(report.texts, {[this](const Document& document) {
                                  if (!wanted(document)) return;
                                  report_.sums.add(document, report_.texts);
                                  report_.documents.add(document);
                              },
                              [this](std::string_view message) {
                                  const bool narrowed =
                                      options_.job || !options_.printer.empty() || options_.since || options_.until;
                                  if (!narrowed) report_.other_errors.add(message);
                              },
                              history_ == nullptr ? decltype(Listener::line)()
                                                  : [this](const LogLine& line, const Message& message,
                                                           const Document& document) {
                                                        if (wanted(document)) history_->add(line, message, document);
                                                    }}) {}

Collector::~Collector() = default;

void Collector::add(std::string_view text, bool complete) {
    ++report_.lines;
    LogLine line;
    const LineKind kind = complete ? parse_line(text, line) : LineKind::truncated;
    if (kind == LineKind::foreign) {
        ++report_.foreign_lines;
    } else if (kind == LineKind::truncated || !tracker_.process(line)) {
        ++report_.cut_lines;
    } else {
        report_.detailed_lines += line.detailed ? 1 : 0;
        if (!report_.first) report_.first = line.time;
        report_.last = line.time;
    }
}

void Collector::finish() {
    tracker_.finish();
    if (history_ != nullptr) history_->finish();
}

bool Collector::wanted(const Document& document) const {
    if (options_.since && document.start < *options_.since) return false;
    if (options_.until && document.start >= *options_.until) return false;
    if (options_.job && (!document.has_job || document.job != *options_.job)) return false;
    return options_.printer.empty() || same_letters(report_.texts[document.printer], options_.printer) ||
           same_letters(report_.texts[document.address], options_.printer);
}

}  // namespace tsport::report
