// A log, with settings of the report in front of it: every form of the report holds together, and nothing from the log
// is markup of the page.
#include <cctype>
#include <string>

#include "fuzz/support.h"
#include "tools/tsport/report/report.h"

namespace {

using tsport::report::Sink;

bool is_utf8_without_controls(std::string_view text) {
    for (size_t i = 0; i < text.size(); ++i) {
        const auto first = static_cast<unsigned char>(text[i]);
        if (first < 0x20 && first != '\n' && first != '\r') return false;
        if (first == 0x7F) return false;
        if (first < 0x80) continue;
        const int more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : first >= 0xC2 ? 1 : -1;
        if (more < 0 || i + static_cast<size_t>(more) >= text.size() || first > 0xF4) return false;
        for (int rest = 0; rest < more; ++rest) {
            if ((static_cast<unsigned char>(text[++i]) & 0xC0) != 0x80) return false;
        }
    }
    return true;
}

// -- JSON ------------------------------------------------------------------------------------------------------------

bool skip_value(std::string_view& text);

void skip_blanks(std::string_view& text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\n')) text.remove_prefix(1);
}

bool skip(std::string_view& text, char expected) {
    skip_blanks(text);
    if (text.empty() || text.front() != expected) return false;
    text.remove_prefix(1);
    return true;
}

bool skip_string(std::string_view& text) {
    if (!skip(text, '"')) return false;
    for (; !text.empty() && text.front() != '"'; text.remove_prefix(1)) {
        if (text.front() == '\\') {
            text.remove_prefix(1);
            if (text.empty() || (text.front() != '"' && text.front() != '\\')) return false;
        } else if (text.front() == '\n') {
            return false;
        }
    }
    return skip(text, '"');
}

bool skip_list(std::string_view& text, char open, char close, bool named) {
    if (!skip(text, open)) return false;
    if (skip(text, close)) return true;
    do {
        if (named && (!skip_string(text) || !skip(text, ':'))) return false;
        if (!skip_value(text)) return false;
    } while (skip(text, ','));
    return skip(text, close);
}

bool skip_value(std::string_view& text) {
    skip_blanks(text);
    if (text.empty()) return false;
    if (text.front() == '{') return skip_list(text, '{', '}', true);
    if (text.front() == '[') return skip_list(text, '[', ']', false);
    if (text.front() == '"') return skip_string(text);
    size_t size = 0;
    while (size < text.size() && std::isalnum(static_cast<unsigned char>(text[size])) != 0) ++size;
    const std::string_view word = text.substr(0, size);
    text.remove_prefix(size);
    const bool number = !word.empty() && word.find_first_not_of("0123456789") == std::string_view::npos;
    return number || word == "true" || word == "false" || word == "null";
}

// -- The page --------------------------------------------------------------------------------------------------------

constexpr std::string_view known_names =
    " !DOCTYPE html head meta title style body header h1 h2 p main footer dl div dt dd section ul li strong code table "
    "caption thead tbody tr th td button br span svg desc line text rect script ";
constexpr std::string_view known_attributes =
    " html lang charset http-equiv content name class id data-v data-cause data-finding data-count scope type role "
    "tabindex aria-label aria-labelledby viewBox x y x1 y1 x2 y2 width height text-anchor ";

bool is_known(std::string_view list, std::string_view name) {
    return !name.empty() && list.find(" " + std::string(name) + " ") != std::string_view::npos;
}

// The inside of a tag: a name of ours, and attributes of ours with their values in quotes.
bool is_tag(std::string_view tag) {
    if (tag.starts_with('/')) tag.remove_prefix(1);
    if (tag.ends_with('/')) tag.remove_suffix(1);
    const size_t name = std::min(tag.find(' '), tag.size());
    if (!is_known(known_names, tag.substr(0, name))) return false;
    tag.remove_prefix(name);
    while (!tag.empty()) {
        tag.remove_prefix(1);  // the blank
        const size_t end = tag.find_first_of(" =");
        if (!is_known(known_attributes, tag.substr(0, end))) return false;
        if (end == std::string_view::npos) return true;
        tag.remove_prefix(end);
        if (tag.front() == ' ') continue;
        if (!tag.starts_with("=\"")) return false;
        const size_t close = tag.find('"', 2);
        if (close == std::string_view::npos) return false;
        tag.remove_prefix(close + 1);
        if (!tag.empty() && tag.front() != ' ') return false;
    }
    return true;
}

// What stands in <style> and <script> is the same for every log.
void cut_out(std::string& page, const std::string& open, const std::string& close) {
    const size_t begin = page.find(open);
    const size_t end = page.find(close);
    REQUIRE(begin != std::string::npos && end != std::string::npos && begin < end);
    page.erase(begin + open.size(), end - begin - open.size());
    REQUIRE(page.find(open, begin + 1) == std::string::npos);
}

void check_page(std::string page) {
    cut_out(page, "<style>", "</style>");
    cut_out(page, "<script>", "</script>");
    for (size_t place = 0; (place = page.find('<', place)) != std::string::npos;) {
        const size_t end = page.find('>', place);
        REQUIRE(end != std::string::npos);
        REQUIRE(is_tag(std::string_view(page).substr(place + 1, end - place - 1)));
        place = end;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    tsport::report::Options options;
    const uint8_t asked = input.byte();
    if ((asked & 1) != 0) options.job = input.byte();
    if ((asked & 2) != 0) options.printer = std::string(input.until('\n'));

    const std::string_view log = input.rest();
    const auto report = std::make_unique<tsport::report::Report>();
    std::string life;
    std::string words;
    std::string json;
    std::string csv;
    std::string page;
    const auto into = [](std::string& text) -> Sink { return [&text](std::string_view piece) { text += piece; }; };
    tsport::report::Collector collector(options, *report, into(life));
    uint64_t lines = 0;
    for (std::string_view rest = log; !rest.empty(); ++lines) {
        const size_t end = std::min(rest.find('\n'), rest.size());
        // Of its exact size, so that a look beyond it is seen.
        const fuzz::ExactBuffer line(rest.data(), end);
        collector.take({reinterpret_cast<const char*>(line.get()), end});
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    collector.finish();
    REQUIRE(report->lines == lines);
    REQUIRE(report->cut_lines + report->foreign_lines <= lines);

    uint64_t documents = 0;
    for (const tsport::report::PrinterSums* const sums : report->sums.printers()) documents += sums->documents;
    REQUIRE(documents == report->sums.all().documents);
    REQUIRE(documents == report->documents.in_order().size() + report->documents.left_out());
    REQUIRE(documents <= 2 * lines);

    write_text(*report, options, into(words));
    write_json(*report, into(json));
    write_csv(*report, into(csv));
    write_html(*report, into(page));
    for (const std::string* const text : {&life, &words, &json, &csv, &page}) REQUIRE(is_utf8_without_controls(*text));
    std::string_view value = json;
    REQUIRE(skip_value(value) && value == "\n");
    check_page(std::move(page));
    return 0;
}
