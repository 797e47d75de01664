// The lines of logs, brought into a report.
#include "tsport/report/report.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iostream>

#include "host/text.h"

namespace tsport::report {
namespace {

bool same_letters(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

std::string describe(const Options& options) {
    std::string text = options.job ? "job " + std::to_string(*options.job) : "documents";
    if (!options.printer.empty()) text += " on " + sanitize(options.printer);
    if (options.since) text += " from " + to_text(*options.since) + " on";
    if (options.until) text += " before " + to_text(*options.until);
    return text == "documents" ? "" : text;
}

// The names, or the first of them.
std::string listed(const std::vector<std::string>& names) {
    constexpr size_t most = 20;
    std::string text;
    for (size_t i = 0; i < std::min(names.size(), most); ++i) text += (i == 0 ? "" : ", ") + names[i];
    return names.size() > most ? text + " and " + grouped(names.size() - most) + " more" : text;
}

// "1-3", "7"
std::vector<std::string> ranges_of(const std::set<std::uint32_t>& numbers) {
    std::vector<std::string> ranges;
    for (auto number = numbers.begin(); number != numbers.end();) {
        const std::uint32_t first = *number;
        std::uint32_t last = first;
        while (++number != numbers.end() && *number == last + 1) last = *number;
        ranges.push_back(std::to_string(first) + (last == first ? "" : "-" + std::to_string(last)));
    }
    return ranges;
}

bool read_log(const LogFiles::File& log, Collector& collector, Report& report, std::string& why) {
    std::vector<char> buffer(64 * 1024);
    std::ifstream file;
    const bool is_input = log.path == "-";
    file.rdbuf()->pubsetbuf(buffer.data(), static_cast<std::streamsize>(buffer.size()));
    if (!is_input) file.open(host::path_of(log.path), std::ios::binary);
    std::istream& stream = is_input ? std::cin : file;
    LineReader reader(stream);
    const std::uint64_t lines = report.lines;
    const std::uint64_t foreign = report.foreign_lines;
    while (reader.next()) collector.add(reader.line(), reader.complete());
    report.bytes += reader.bytes();
    const std::uint64_t count = report.lines - lines;
    why = (is_input ? "the standard input" : log.path) + " ";
    if ((!is_input && !file.is_open()) || stream.bad()) {
        why += "cannot be read";
    } else if (reader.is_utf16()) {
        why += "is UTF-16 and cannot be understood: save it as UTF-8, or give the log itself";
    } else if (count != 0 && report.foreign_lines - foreign == count) {
        why += "is no log of the monitor: it has " + counted(count, "line") + ", and none is the monitor's";
    } else {
        why.clear();
    }
    return why.empty();
}

}  // namespace

Collector::Collector(const Options& options, Report& report, Sink history)
    : options_(options), report_(report), tracker_(report.texts, listener()) {
    if (options.job && history) history_.emplace(*options.job, std::move(history));
    report.covers = describe(options);
}

Listener Collector::listener() {
    Listener listener;
    listener.document = [this](const Document& document, const EarlierAttempt* earlier) {
        if (!wanted(document)) return false;
        report_.sums.add(document, earlier, report_.texts);
        report_.documents.add(document);
        return true;
    };
    listener.other_error = [this](const LogLine& line, const Message& message) {
        if (options_.job || !options_.printer.empty() || !in_time(line.time)) return;
        const bool helper = message.event == Event::helper_not_found;
        report_.other_errors.add(line.message, helper ? std::optional(Cause::helper_missing_for_check) : std::nullopt);
    };
    if (options_.job) {
        listener.line = [this](const LogLine& line, const Message& message, const Document& document) {
            if (history_ && wanted(document)) history_->add(line, message, document);
        };
    }
    return listener;
}

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
    report_.seen = report_.last.value_or(Timestamp());
    // A log that was written to within a day may still be written to: what is under way in it has gone on since.
    const bool may_go_on = options_.now && *options_.now - report_.seen < std::chrono::days(1);
    if (may_go_on) report_.seen = std::max(report_.seen, *options_.now);
    tracker_.finish(report_.seen);
    report_.documents.mark_tried_again();
    if (history_) history_->finish();
    add_notes();
}

bool Collector::in_time(Timestamp time) const {
    return (!options_.since || time >= *options_.since) && (!options_.until || time < *options_.until);
}

bool Collector::wanted(const Document& document) {
    const std::string& printer = report_.texts[document.printer];
    const bool of_job = !options_.job || (document.has_job && document.job == *options_.job);
    const bool of_printer = options_.printer.empty() || same_letters(printer, options_.printer) ||
                            same_letters(report_.texts[document.address], options_.printer);
    latest_ = std::max(latest_.value_or(document.start), document.start);
    if (!in_time(document.start)) return false;
    if (of_printer && document.has_job && jobs_.size() < most_seen) jobs_.insert(document.job);
    if (of_job && !printer.empty() && printers_.size() < most_seen) printers_.insert(printer);
    return of_job && of_printer;
}

void Collector::add_notes() {
    const auto note = [this](const std::string& text) { report_.notes.push_back(text); };
    if (report_.cut_lines + report_.foreign_lines != 0) {
        note(counted(report_.cut_lines, "line") + " cut or broken, " + counted(report_.foreign_lines, "line") +
             " not of the monitor.");
    }
    if (report_.detailed_lines == 0) {
        note(std::string(report_.lines == 0 ? "The log is empty: either nothing was printed, or, with Debug=off, "
                                              "everything without trouble. "
                                            : "Written with Debug=off. ") +
             "Such a log tells only what failed: not which documents printed, were held or dropped by the helper, "
             "hang at this moment or are slow, nor their jobs, times and sizes, nor whether one that was lost was "
             "sent again.");
        note(
            "Set Debug=on in print-provider.conf and restart the spooler: "
            "the next report then distinguishes documents.");
    }
    const Totals& all = report_.sums.all();
    if (all.of(Outcome::under_way) != 0) note("Documents under way are as they were at " + to_text(report_.seen) + ".");
    if (all.documents != 0 || report_.covers.empty()) return;
    if (!jobs_.empty() && options_.job) {
        note("There is no job " + std::to_string(*options_.job) + ", but: " + listed(ranges_of(jobs_)) + ".");
    } else if (!printers_.empty() && !options_.printer.empty()) {
        note("There is no document on " + sanitize(options_.printer) +
             ", but on: " + listed({printers_.begin(), printers_.end()}) + ".");
    } else if (latest_) {
        note("The last document that the logs know started at " + to_text(*latest_) + ".");
    }
}

bool read_logs(const Options& options, const Sink& history, Report& report, std::string& why) {
    LogFiles logs;
    if (!find_logs(options.logs, logs, why)) return false;
    Collector collector(options, report, history);
    for (const LogFiles::File& file : logs.files) {
        if (read_log(file, collector, report, why)) {
            report.files.push_back(file.path);
        } else if (file.of_folder) {
            logs.left_out.push_back(why);
        } else {
            return false;
        }
    }
    for (const std::string& reason : logs.left_out) report.notes.push_back("Left out: " + sanitize(reason) + ".");
    collector.finish();
    return true;
}

std::vector<OtherErrors::Error> other_errors_of(const Report& report) {
    const Totals& all = report.sums.all();
    const bool is_told = all.of(Cause::helper_missing_for_check) + all.of(Cause::helper_missing_for_rewriting) != 0;
    std::vector<OtherErrors::Error> errors = report.other_errors.in_order();
    std::erase_if(errors, [&](const OtherErrors::Error& error) { return error.cause && is_told; });
    return errors;
}

}  // namespace tsport::report
