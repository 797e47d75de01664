// A log, with settings of the report in front of it: the report's sums agree, each of its forms is well formed, and
// nothing from the log becomes markup of the page.
#include <cctype>
#include <utility>

#include "fuzz/support.h"
#include "tools/host/text.h"
#include "tools/tsport/report/report.h"

namespace {

bool is_utf8_without_controls(const std::string& text) {
    const auto is_control = [](unsigned char c) { return (c < 0x20 && c != '\n' && c != '\r') || c == 0x7F; };
    return std::none_of(text.begin(), text.end(), is_control) && host::to_utf8(host::to_text(text)) == text;
}

// Strings end and escape what they have to; outside them every bracket is closed.
bool is_json(std::string_view text) {
    std::string open;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"') {
            while (++i < text.size() && text[i] != '"') {
                if (text[i] == '\n' || (text[i] == '\\' && text[++i] != '"' && text[i] != '\\')) return false;
            }
        } else if (text[i] == '{' || text[i] == '[') {
            open += text[i] == '{' ? '}' : ']';
        } else if (text[i] == '}' || text[i] == ']') {
            if (open.empty() || open.back() != text[i]) return false;
            open.pop_back();
        } else if (std::isalnum(static_cast<unsigned char>(text[i])) == 0 && !std::strchr(":, \n", text[i])) {
            return false;
        }
    }
    return open.empty();
}

// What stands in <style> and <script> is the same for every log.
void cut_out(std::string& page, const std::string& open, const std::string& close) {
    const size_t begin = page.find(open) + open.size();
    const size_t end = page.find(close);
    REQUIRE(begin < end && end < page.size());
    page.erase(begin, end - begin);
}

// Every tag and every value in it ends: text of the log that was not escaped would leave one open.
void check_page(std::string page) {
    cut_out(page, "<style>", "</style>");
    cut_out(page, "<script>", "</script>");
    char open = 0;
    for (const char c : page) {
        if (c == '"' && open != 0) open = open == '"' ? '<' : '"';
        if (c == '<') REQUIRE(std::exchange(open, '<') == 0);
        if (c == '>') REQUIRE(std::exchange(open, 0) == '<');
    }
    REQUIRE(open == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    tsport::report::Options options;
    const uint8_t asked = input.byte();
    if ((asked & 1) != 0) options.job = input.byte();
    if ((asked & 2) != 0) options.printer = std::string(input.until('\n'));

    const auto report = std::make_unique<tsport::report::Report>();
    std::string life;
    std::string words;
    std::string json;
    std::string csv;
    std::string page;
    const auto into = [](std::string& text) { return [&text](std::string_view piece) { text += piece; }; };
    tsport::report::Collector collector(options, *report, into(life));
    uint64_t lines = 0;
    for (; !input.empty(); ++lines) {
        // Of its exact size, so that a look beyond it is seen.
        const std::string_view text = input.until('\n');
        const std::vector<char> line(text.begin(), text.end());
        collector.take({line.data(), line.size()});
    }
    collector.finish();
    REQUIRE(report->lines == lines);
    REQUIRE(report->cut_lines + report->foreign_lines <= lines);
    uint64_t documents = 0;
    for (const tsport::report::PrinterSums* const sums : report->sums.printers()) documents += sums->documents;
    REQUIRE(documents == report->sums.all().documents);
    REQUIRE(documents == report->documents.in_order().size() + report->documents.left_out());

    write_text(*report, options, into(words));
    write_json(*report, into(json));
    write_csv(*report, into(csv));
    write_html(*report, into(page));
    for (const std::string* const text : {&life, &words, &json, &csv, &page}) REQUIRE(is_utf8_without_controls(*text));
    REQUIRE(is_json(json));
    check_page(std::move(page));
    return 0;
}
