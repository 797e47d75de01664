// The lines of logs, brought into a report.
#include "tsport/report/report.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iostream>

#include "host/text.h"
#include "tsport/report/line_reader.h"

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

bool read_log(const std::string& path, Collector& collector, Report& report) {
    std::vector<char> buffer(64 * 1024);
    std::ifstream file;
    file.rdbuf()->pubsetbuf(buffer.data(), static_cast<std::streamsize>(buffer.size()));
    if (path != "-") file.open(host::path_of(path), std::ios::binary);
    std::istream& log = path == "-" ? std::cin : file;
    LineReader reader(log);
    while (reader.next()) collector.add(reader.line(), reader.complete());
    report.bytes += reader.bytes();
    report.utf16 = report.utf16 || reader.is_utf16();
    return (path == "-" || file.is_open()) && !log.bad();
}

}  // namespace

Collector::Collector(const Options& options, Report& report, Sink history)
    : options_(options), report_(report), tracker_(report.texts, listener()) {
    if (options.job && history) history_.emplace(*options.job, std::move(history));
    report.covers = describe(options);
}

Listener Collector::listener() {
    Listener listener;
    listener.document = [this](const Document& document) {
        if (!wanted(document)) return;
        report_.sums.add(document, report_.texts);
        report_.documents.add(document);
    };
    listener.other_error = [this](std::string_view message) {
        if (report_.covers.empty()) report_.other_errors.add(message);
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
    tracker_.finish();
    if (history_) history_->finish();
}

bool Collector::wanted(const Document& document) const {
    if (options_.since && document.start < *options_.since) return false;
    if (options_.until && document.start >= *options_.until) return false;
    if (options_.job && (!document.has_job || document.job != *options_.job)) return false;
    return options_.printer.empty() || same_letters(report_.texts[document.printer], options_.printer) ||
           same_letters(report_.texts[document.address], options_.printer);
}

bool read_logs(const Options& options, const Sink& history, Report& report, std::string& why) {
    if (!find_logs(options.logs, report.files, why)) return false;
    Collector collector(options, report, history);
    for (const std::string& file : report.files) {
        why = file + " cannot be read";
        if (!read_log(file, collector, report)) return false;
    }
    collector.finish();
    return true;
}

}  // namespace tsport::report
