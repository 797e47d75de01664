// report: from log files alone, without a monitor.
#include <algorithm>
#include <cstdio>

#include "tools/tsport/answer.h"
#include "tools/tsport/help.h"
#include "tools/tsport/output.h"
#include "tools/tsport/report/report.h"

namespace tsport {

const char report_help[] = R"(usage: tsport report LOG... [options]

What became of the documents, from the monitor's logs: each with its times and its outcome, the causes of what went
wrong and what to do about them, sums of each printer, and what stands out. LOG is a file, a folder (the log in it with
all its numbered files, in order), or - for the standard input. Logs written with Debug=on tell documents apart; others
show only what went wrong.

  --html FILE      writes a page that opens in any browser, with pictures, besides
  --json, --csv    for scripts, and spreadsheets (the documents alone)
  --since TIME     only documents that started then or later ...
  --until TIME     ... and before then: 2026-03-01, "2026-03-01 09:05", or 90m, 24h, 7d ago
  --printer NAME   only those of one printer, by its name or its address
  --job N          the life of one job, line by line, in words
  --rows N         so many documents, the last ones (40 when left out); the sums count all

Exit status: 0 done, 2 the line is wrong, 3 a log cannot be read.

examples:
  tsport report "C:\Program Files\Tessaron\providers\print\win"
  tsport report print-monitor.log --since 24h --html report.html
  tsport report print-monitor.log* --job 1234
)";

// What a report says goes out as it is made: it may be longer than what should be held in memory.
Answer report_logs(const std::vector<std::string>& words) {
    Answer answer;
    const auto asks_for_help = [](const std::string& word) { return word == "--help" || word == "-h" || word == "/?"; };
    if (std::any_of(words.begin(), words.end(), asks_for_help)) {
        answer.out = report_help;
        return answer;
    }
    const report::Sink out = [](std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); };
    std::string why;
    answer.status = report::run(words, out, why);
    if (answer.status == report::reported) return answer;
    if (std::find(words.begin(), words.end(), "--json") != words.end()) {
        const char* const cause = answer.status == report::wrong_line ? "usage" : "file";
        answer.out = "{\"error\": " + quoted(host::to_text(why)) +
                     ", \"code\": 0, \"cause\": " + quoted(host::to_text(cause)) + "}\n";
    } else {
        answer.err = "tsport: " + why + "\n";
        if (answer.status == report::wrong_line) answer.err += "Try tsport report --help.\n";
    }
    return answer;
}

}  // namespace tsport
