// The page without its report, joined by the build from the files in page/ (cmake/ReportPage.cmake).
#pragma once

#include <string_view>

namespace tsport::report {

extern const std::string_view page_template;
// Each stands in it once: rows of a table of sums, and the report's JSON, belong in their places.
constexpr std::string_view page_sums_mark = "@SUMS@";
constexpr std::string_view page_report_mark = "@REPORT@";

}  // namespace tsport::report
