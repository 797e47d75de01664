#include "tsport/report/report.h"

#include <fstream>
#include <iostream>

#include "host/text.h"
#include "tsport/report/line_reader.h"
#include "tsport/report/log_files.h"

namespace tsport::report {
namespace {

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

bool read_logs(const Options& options, const Sink& history, Report& report, std::string& why) {
    if (!find_logs(options.logs, report.files, why)) return false;
    Collector collector(options, report, history);
    for (const std::string& file : report.files) {
        why = file + " cannot be read";
        if (!read_log(file, collector, report)) return false;
    }
    collector.finish();
    report.covers = describe(options);
    return true;
}

}  // namespace tsport::report
