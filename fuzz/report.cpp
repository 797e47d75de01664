// A log, with settings of the report in front of it: the report's sums agree, each of its forms is well formed, and
// nothing from the log becomes markup of the page.
#include <cctype>

#include "fuzz/support.h"
#include "tools/tsport/report/report.h"

namespace {

bool is_utf8_without_controls(std::string_view text) {
    for (size_t i = 0; i < text.size(); ++i) {
        const auto first = static_cast<unsigned char>(text[i]);
        if ((first < 0x20 && first != '\n' && first != '\r') || first == 0x7F) return false;
        if (first < 0x80) continue;
        const int more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : first >= 0xC2 ? 1 : -1;
        if (more < 0 || first > 0xF4) return false;
        for (int rest = 0; rest < more; ++rest) {
            if (++i == text.size() || (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) return false;
        }
    }
    return true;
}

// Strings end and escape what they have to; outside them every bracket is closed and every word is one of JSON's.
bool is_json(std::string_view text) {
    std::string open;
    std::string word;
    for (size_t i = 0; i < text.size(); ++i) {
        if (std::isalnum(static_cast<unsigned char>(text[i])) != 0) {
            word += text[i];
            continue;
        }
        const bool is_number = word.find_first_not_of("0123456789") == std::string::npos;
        if (!is_number && word != "true" && word != "false" && word != "null") return false;
        word.clear();
        if (text[i] == '"') {
            while (++i < text.size() && text[i] != '"') {
                if (text[i] == '\n') return false;
                if (text[i] == '\\' && text[++i] != '"' && text[i] != '\\') return false;
            }
            if (i >= text.size()) return false;
        } else if (text[i] == '{' || text[i] == '[') {
            open += text[i];
        } else if (text[i] == '}' || text[i] == ']') {
            if (open.empty() || open.back() != (text[i] == '}' ? '{' : '[')) return false;
            open.pop_back();
        } else if (std::string_view(":, \n").find(text[i]) == std::string_view::npos) {
            return false;
        }
    }
    return open.empty() && word.empty();
}

// What stands in <style> and <script> is the same for every log.
void cut_out(std::string& page, const std::string& open, const std::string& close) {
    const size_t begin = page.find(open) + open.size();
    const size_t end = page.find(close);
    REQUIRE(begin < end && end < page.size());
    page.erase(begin, end - begin);
}

// The inside of a tag without its values: names of ours.
void check_tag(std::string_view tag) {
    static constexpr std::string_view kNames =
        " !DOCTYPE html head meta title style body header h1 h2 p main footer dl div dt dd section ul li strong code "
        "table caption thead tbody tr th td button br span svg desc line text rect script lang= charset= http-equiv= "
        "content= name= class= id= data-v= data-cause= data-finding= data-count= scope= type= role= tabindex= "
        "aria-label= aria-labelledby= viewBox= x= y= x1= y1= x2= y2= width= height= text-anchor= ";
    if (tag.starts_with('/')) tag.remove_prefix(1);
    if (tag.ends_with('/')) tag.remove_suffix(1);
    for (std::string_view word; !tag.empty(); tag.remove_prefix(std::min(word.size() + 1, tag.size()))) {
        word = tag.substr(0, tag.find(' '));
        REQUIRE(!word.empty() && kNames.find(" " + std::string(word) + " ") != std::string_view::npos);
    }
}

void check_page(std::string page) {
    cut_out(page, "<style>", "</style>");
    cut_out(page, "<script>", "</script>");
    for (size_t begin = 0; (begin = page.find('<', begin)) != std::string::npos;) {
        const size_t end = page.find('>', begin);
        REQUIRE(end != std::string::npos);
        std::string tag = page.substr(begin + 1, end - begin - 1);
        for (size_t quote = 0; (quote = tag.find('"')) != std::string::npos;) {
            const size_t close = tag.find('"', quote + 1);
            REQUIRE(close != std::string::npos);
            tag.erase(quote, close - quote + 1);
        }
        check_tag(tag);
        begin = end;
    }
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
