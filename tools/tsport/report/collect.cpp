// The lines of a log, brought into a report.
#include <algorithm>
#include <cctype>
#include <cstring>

#include "tools/tsport/report/life.h"

namespace tsport::report {
namespace {

bool same_letters(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

}  // namespace

Collector::Collector(const Options& options, Report& report, Sink life)
    : options_(options),
      report_(report),
      life_(options.job && life ? std::make_shared<Life>(*options.job, std::move(life)) : nullptr),
      follower_(report.texts, {[this](const Document& document) {
                                   if (!wanted(document)) return;
                                   report_.sums.add(document, report_.texts);
                                   report_.documents.add(document);
                               },
                               [this](std::string_view message) {
                                   const bool narrowed =
                                       options_.job || !options_.printer.empty() || options_.since || options_.until;
                                   if (!narrowed) report_.other_errors.add(message);
                               },
                               {}}) {
    if (life_ != nullptr) {
        follower_.listen_to_lines([this](const Line& line, const Message& message, const Document& document) {
            if (wanted(document)) life_->take(line, message, document);
        });
    }
}

void Collector::take(std::string_view text, bool whole) {
    ++report_.lines;
    Line line;
    const Kind kind = whole ? take_apart(text, line) : Kind::cut;
    if (kind == Kind::foreign) {
        ++report_.foreign_lines;
        return;
    }
    if (kind == Kind::cut || !follower_.take(line)) {
        ++report_.cut_lines;
        return;
    }
    report_.detailed_lines += line.detailed ? 1 : 0;
    std::memcpy(last_stamp_, line.stamp.data(), stamp_size);
    if (!report_.first.empty()) return;
    if (const auto first = parse_stamp(line.stamp)) report_.first = stamp_in_words(*first);
}

void Collector::finish() {
    follower_.finish();
    if (life_ != nullptr) life_->finish();
    if (const auto last = parse_stamp({last_stamp_, stamp_size})) report_.last = stamp_in_words(*last);
}

bool Collector::wanted(const Document& document) const {
    if (options_.since && document.start < *options_.since) return false;
    if (options_.until && document.start >= *options_.until) return false;
    if (options_.job && (!document.has_job || document.job != *options_.job)) return false;
    return options_.printer.empty() || same_letters(report_.texts[document.printer], options_.printer) ||
           same_letters(report_.texts[document.address], options_.printer);
}

}  // namespace tsport::report
