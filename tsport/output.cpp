#include "tsport/output.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>

#include "host/platform.h"

namespace tsport {
namespace {

bool is_high(WCHAR c) {
    return (c & 0xFC00) == 0xD800;
}
bool is_low(WCHAR c) {
    return (c & 0xFC00) == 0xDC00;
}
// Those, and halves of pairs, as \uXXXX for which `escape`(character) is true; those of `marked` with a backslash.
template <typename Predicate>
std::string escaped(const Text& text, const Text& marked, Predicate escape) {
    Text result;
    for (size_t i = 0; i < text.size(); ++i) {
        const WCHAR c = text[i];
        if (is_high(c) && i + 1 < text.size() && is_low(text[i + 1])) {
            result += text.substr(i++, 2);
        } else if (escape(c) || is_high(c) || is_low(c)) {
            char code[8];
            std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(c));
            result += host::to_text(code);
        } else {
            if (marked.find(c) != Text::npos) result += W('\\');
            result += c;
        }
    }
    return host::to_utf8(result);
}

struct Range {
    std::uint32_t first;
    std::uint32_t last;
};
// Combining marks take no room on a terminal; East Asian letters and pictures take two places.
constexpr Range narrow[] = {{0x300, 0x36F}, {0x483, 0x489}, {0x591, 0x5BD}, {0x200B, 0x200F}, {0xFE00, 0xFE0F}};
constexpr Range wide[] = {{0x1100, 0x115F}, {0x2E80, 0x303E}, {0x3041, 0xA4CF}, {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},
                          {0xFE30, 0xFE6F}, {0xFF00, 0xFF60}, {0xFFE0, 0xFFE6}, {0x1F300, 0x1FAFF}, {0x20000, 0x3FFFD}};

template <size_t N>
bool in(const Range (&ranges)[N], std::uint32_t character) {
    return std::any_of(ranges, ranges + N,
                       [&](const Range& range) { return character >= range.first && character <= range.last; });
}

size_t width_of(const std::string& utf8) {
    const Text text = host::to_text(utf8);
    size_t width = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        std::uint32_t character = text[i];
        if (is_high(text[i]) && i + 1 < text.size()) {
            character = 0x10000 + ((character & 0x3FF) << 10) + (text[++i] & 0x3FFu);
        }
        if (!in(narrow, character)) width += in(wide, character) ? 2 : 1;
    }
    return width;
}

// The text's words from a column on, in as many lines as they take.
std::string wrapped(const std::string& text, size_t from, size_t width) {
    std::string lines;
    size_t column = from;
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find(' ', begin), text.size());
        const std::string word = text.substr(begin, end - begin);
        if (column != from && column + 1 + width_of(word) > width) {
            lines.append("\n").append(from, ' ');
            column = from;
        } else if (begin != 0) {
            lines += ' ';
            ++column;
        }
        lines += word;
        column += width_of(word);
        begin = end + 1;
    }
    return lines;
}

}  // namespace

bool steers_terminal(WCHAR c) {
    return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x61C || (c >= 0x200E && c <= 0x200F) ||
           (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069) || c == 0xFEFF || c >= 0xFFFE;
}

std::string quoted(const Text& text) {
    return '"' + escaped(text, W("\"\\"), steers_terminal) + '"';
}

std::string shown(const Text& text) {
    return escaped(text, Text(), steers_terminal);
}

std::string for_terminal(const std::string& utf8) {
    const Text text = host::to_text(utf8);
    return escaped(text.substr(text.starts_with(WCHAR{0xFEFF}) ? 1 : 0), Text(),
                   [](WCHAR c) { return steers_terminal(c) && c != W('\n'); });
}

std::string with_pages(std::string text) {
    for (const std::string page : {"LOG.html", "DOCTOR.html"}) {
        const size_t at = text.find(page);
        if (at == std::string::npos) continue;
        std::string path = host::executable_folder() + "/" + page;
        std::error_code error;
        const bool is_there = std::filesystem::exists(host::path_of(path), error);
        std::replace(path.begin(), path.end(), '/', static_cast<char>(std::filesystem::path::preferred_separator));
        text.replace(at, page.size(), is_there ? path : page + " in the package");
    }
    return text;
}

std::string in_columns(const Rows& rows, size_t width, const std::vector<size_t>& dispensable) {
    constexpr size_t most_of_last = 30;
    std::vector<size_t> widths;
    size_t of_last = 0;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (size_t i = 0; i + 1 < row.size(); ++i) widths[i] = std::max(widths[i], width_of(row[i]));
    }
    for (const auto& row : rows) {
        if (row.size() == widths.size() && !row.empty()) of_last = std::max(of_last, width_of(row.back()));
    }
    of_last = std::min(of_last, most_of_last);
    size_t before = 0;  // the last column
    for (size_t i = 0; i + 1 < widths.size(); ++i) before += widths[i] + 2;
    std::vector<bool> gone(widths.size());
    for (const size_t column : dispensable) {
        if (width == 0 || before + of_last <= width) break;
        gone[column] = true;
        before -= widths[column] + 2;
    }
    std::string text;
    for (const auto& row : rows) {
        size_t gap = 0;
        for (size_t i = 0; i < row.size(); ++i) {
            if (gone[i]) continue;
            const bool is_wrapped = i + 1 == widths.size() && before + of_last <= width;
            text.append(gap, ' ') += is_wrapped ? wrapped(row[i], before, width) : row[i];
            // A text that was wider than the column could not be measured before.
            gap = widths[i] - std::min(widths[i], width_of(row[i])) + 2;
        }
        text += '\n';
    }
    return text;
}

void write_members(JsonWriter& json, const Port& port) {
    json.member("name", port.name);
    json.member("address", port.address);
    json.member("port", port.number);
}

void write_member(JsonWriter& json, const char* name, const Port& port) {
    json.object(name, [&] { write_members(json, port); });
}

void write_member(JsonWriter& json, const char* name, const std::vector<Port>& ports) {
    json.array(name, [&] {
        for (const Port& port : ports) json.object([&] { write_members(json, port); });
    });
}

}  // namespace tsport
