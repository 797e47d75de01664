#include "tools/tsport/report/report.h"

#include <fstream>

#include "tools/host/text.h"
#include "tools/tsport/report/input.h"

namespace tsport::report {
namespace {

std::string in_words(const Options& options) {
    std::string words = options.job ? "job " + std::to_string(*options.job) : "documents";
    if (!options.printer.empty()) words += " on " + showable(options.printer);
    if (options.since) words += " from " + stamp_in_words(*options.since) + " on";
    if (options.until) words += " before " + stamp_in_words(*options.until);
    return words == "documents" ? "" : words;
}

bool read_logs(const Options& options, const Sink& out, Report& report, std::string& why) {
    if (!find_logs(options.logs, report.files, why)) return false;
    Sink life;
    if (options.format == Format::text) life = out;
    Collector collector(options, report, life);
    LineReader reader;
    reader.line = [&](std::string_view line, bool whole) { collector.take(line, whole); };
    for (const std::string& file : report.files) {
        if (!reader.read(file, why)) return false;
    }
    collector.finish();
    report.bytes = reader.bytes;
    report.utf16 = reader.utf16;
    report.covers = in_words(options);
    if (options.job && life && report.sums.all().documents != 0) out("\n");
    return true;
}

bool write_page(const std::string& path, const Report& report, std::string& why) {
    std::ofstream file(host::path_of(path), std::ios::binary);
    write_html(report,
               [&](std::string_view text) { file.write(text.data(), static_cast<std::streamsize>(text.size())); });
    why = path + " cannot be written";
    return static_cast<bool>(file.flush());
}

}  // namespace

int run(const std::vector<std::string>& words, const Sink& out, std::string& error) {
    Options options;
    if (!parse_options(words, local_now(), options, error)) return wrong_line;
    Report report;
    if (!read_logs(options, out, report, error)) return unreadable;
    if (!options.html.empty() && !write_page(options.html, report, error)) return unreadable;
    error.clear();
    switch (options.format) {
        case Format::text:
            write_text(report, options, out);
            break;
        case Format::json:
            write_json(report, out);
            break;
        case Format::csv:
            write_csv(report, out);
            break;
    }
    return reported;
}

}  // namespace tsport::report
