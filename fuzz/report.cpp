// A log, with settings of the report in front of it: the report's sums agree, each of its forms is well formed, and
// nothing from the log becomes markup of the page.
#include <rapidjson/document.h>

#include "fuzz/support.h"
#include "host/text.h"
#include "tsport/report/report.h"

namespace {

bool is_utf8_without_controls(const std::string& text) {
    const auto is_control = [](unsigned char c) { return (c < 0x20 && c != '\n' && c != '\r') || c == 0x7F; };
    return std::none_of(text.begin(), text.end(), is_control) && host::to_utf8(host::to_text(text)) == text;
}

rapidjson::Document parsed(const std::string& json) {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseValidateEncodingFlag>(json.c_str());
    REQUIRE(!document.HasParseError());
    return document;
}

// What the log says stands in the page's JSON alone, where nothing can end the element around it; and it is the same.
void check_page(const std::string& page, const std::string& report) {
    const std::string begin = "<script type=\"application/json\" id=\"report\">";
    const size_t data = page.find(begin) + begin.size();
    const std::string json = page.substr(data, page.find("</script>", data) - data);
    REQUIRE(json.find_first_of("<>&") == std::string::npos);
    REQUIRE(parsed(json) == parsed(report));
    static const std::string end = page.substr(data + json.size());
    REQUIRE(page.substr(data + json.size()) == end);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    tsport::report::Options options;
    const uint8_t asked = input.byte();
    if ((asked & 1) != 0) options.job = input.byte();
    if ((asked & 2) != 0) options.printer = std::string(input.until('\n'));

    const auto report = std::make_unique<tsport::report::Report>();
    std::string history;
    std::string words;
    std::string json;
    std::string csv;
    std::string page;
    const auto into = [](std::string& text) { return [&text](std::string_view piece) { text += piece; }; };
    tsport::report::Collector collector(options, *report, into(history));
    uint64_t lines = 0;
    for (; !input.empty(); ++lines) {
        // Of its exact size, so that a look beyond it is seen.
        const std::string_view text = input.until('\n');
        const std::vector<char> line(text.begin(), text.end());
        collector.add({line.data(), line.size()});
    }
    collector.finish();
    REQUIRE(report->lines == lines);
    REQUIRE(report->cut_lines + report->foreign_lines <= lines);
    uint64_t documents = 0;
    for (const tsport::report::PrinterSums* const sums : report->sums.printers()) documents += sums->documents;
    REQUIRE(documents == report->sums.all().documents);
    REQUIRE(documents <= report->sums.all().attempts);
    REQUIRE(report->sums.all().attempts == report->documents.in_order().size() + report->documents.left_out());

    write_text(*report, options, into(words));
    write_json(*report, into(json));
    write_csv(*report, into(csv));
    write_html(*report, into(page));
    for (const std::string* const text : {&history, &words, &json, &csv, &page})
        REQUIRE(is_utf8_without_controls(*text));
    check_page(page, json);
    return 0;
}
