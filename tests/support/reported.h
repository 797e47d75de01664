// A report on a log.
#pragma once

#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tsport/report/report.h"

namespace test {

struct Reported {
    explicit Reported(const std::string& log, const tsport::report::Options& options = {})
        : report(std::make_unique<tsport::report::Report>()) {
        tsport::report::Collector collector(options, *report, [this](std::string_view text) { history += text; });
        std::istringstream lines(log);
        for (std::string line; std::getline(lines, line);) collector.add(line);
        collector.finish();
        documents = report->documents.in_order();
        tsport::report::write_text(*report, options, [this](std::string_view text) { report_text += text; });
        tsport::report::write_json(*report, [this](std::string_view text) { json += text; });
    }

    const std::string& text(tsport::report::TextId id) const { return report->texts[id]; }
    // Everything that the text report names by its identifier: causes, and what stands out.
    std::multiset<std::string> named() const {
        std::multiset<std::string> all;
        for (size_t end = report_text.find("]\n"); end != std::string::npos; end = report_text.find("]\n", end + 1)) {
            const size_t begin = report_text.rfind('[', end) + 1;
            all.insert(report_text.substr(begin, end - begin));
        }
        return all;
    }

    std::unique_ptr<tsport::report::Report> report;
    tsport::report::DocumentList documents;
    std::string report_text;
    std::string history;
    std::string json;
};

}  // namespace test
