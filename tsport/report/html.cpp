// The page: report/page/ as the build joins it, with the report's JSON in it, which the page's script draws. Nothing
// from a log stands anywhere else in the page.
#include <algorithm>

#include "host/text.h"
#include "tsport/report/report.h"

namespace tsport::report {
extern const std::string_view page_template;  // by cmake/ReportPage.cmake

namespace {

// Each stands in it once: rows of a table of sums, and the report's JSON, belong in their places.
constexpr std::string_view sums_mark = "@SUMS@";
constexpr std::string_view report_mark = "@REPORT@";
constexpr size_t most_rows = 10'000;

// The documents that the page lists. When not all fit, printed ones are left out first, the oldest ones of each kind.
DocumentList listed(const Report& report) {
    DocumentList all = report.documents.in_order();
    for (const bool printed : {true, false}) {
        size_t too_many = all.size() - std::min(all.size(), most_rows);
        std::erase_if(all, [&](const Document* document) {
            if (too_many == 0 || (document->outcome == Outcome::printed) != printed) return false;
            --too_many;
            return true;
        });
    }
    return all;
}

// JSON in which nothing can end the element around it or begin another one.
std::string escaped(std::string_view json) {
    std::string text;
    for (const char c : json) {
        text += c == '&' ? "\\u0026" : c == '<' ? "\\u003c" : c == '>' ? "\\u003e" : std::string(1, c);
    }
    return text;
}

// What a reader without scripts sees.
std::string sums_rows(const Totals& all) {
    const std::pair<const char*, std::string> rows[] = {
        {"Documents", grouped(all.documents)},
        {"Printed", grouped(all.of(Outcome::printed))},
        {"Printed late", grouped(all.of(Outcome::late))},
        {"Not printed", grouped(all.failed())},
        {"End unknown", grouped(all.of(Outcome::unknown))},
        {"Under way", grouped(all.of(Outcome::under_way))},
        {"Data", host::size_to_text(all.taken)},
        {"Held in all", duration_text(all.held_ms)},
    };
    std::string text;
    for (const auto& [name, figure] : rows) {
        text += std::string("<tr><th scope=\"row\">") + name + "</th><td class=\"n\">" + figure + "</td></tr>\n";
    }
    return text;
}

}  // namespace

void write_html(const Report& report, const Sink& sink) {
    const std::string_view page = page_template;
    const size_t sums = page.find(sums_mark);
    const size_t data = page.find(report_mark);
    sink(page.substr(0, sums));
    sink(sums_rows(report.sums.all()));
    sink(page.substr(sums + sums_mark.size(), data - sums - sums_mark.size()));
    write_json(report, listed(report), [&](std::string_view json) { sink(escaped(json)); });
    sink(page.substr(data + report_mark.size()));
}

}  // namespace tsport::report
