#include "tsport/ports/encoding.h"

#include <algorithm>

namespace tsport {
namespace {

using host::Text;
using Form = Encoding::Form;

struct Mark {
    const char* bytes;
    Form form;
};
constexpr Mark marks[] = {
    {"\xEF\xBB\xBF", Form::utf8_with_mark}, {"\xFF\xFE", Form::utf16_le}, {"\xFE\xFF", Form::utf16_be}};

Text decode_utf16(const std::string& bytes, size_t start, bool big_endian) {
    Text text;
    for (size_t i = start; i + 1 < bytes.size(); i += 2) {
        const auto low = static_cast<unsigned char>(bytes[i + (big_endian ? 1 : 0)]);
        const auto high = static_cast<unsigned char>(bytes[i + (big_endian ? 0 : 1)]);
        text += static_cast<WCHAR>(low | high << 8);
    }
    return text;
}

}  // namespace

Fault fault_at(const Text& text, size_t at, const std::string& why) {
    const Text before = text.substr(0, at);
    const auto line_ends = static_cast<size_t>(std::count(before.begin(), before.end(), W('\n')));
    return {line_ends + 1, at - (before.rfind(W('\n')) + 1) + 1, why};
}

bool decode(const std::string& bytes, Encoding& encoding, Text& text, Fault& fault) {
    size_t start = 0;
    encoding = Encoding();
    for (const Mark& mark : marks) {
        if (bytes.rfind(mark.bytes, 0) != 0) continue;
        encoding.form = mark.form;
        start = std::char_traits<char>::length(mark.bytes);
    }
    if (encoding.form == Form::utf16_le || encoding.form == Form::utf16_be) {
        text = decode_utf16(bytes, start, encoding.form == Form::utf16_be);
        fault = {1, 1, "UTF-16 text with half a character at its end"};
        if ((bytes.size() - start) % 2 != 0) return false;
    } else {
        text = host::to_text(bytes.substr(start));
        const std::string back = host::to_utf8(text);
        const auto different =
            std::mismatch(back.begin(), back.end(), bytes.begin() + static_cast<std::ptrdiff_t>(start), bytes.end());
        fault = fault_at(text, host::to_text(std::string(back.begin(), different.first)).size(),
                         "not UTF-8 text; save the file as UTF-8");
        if (different.first != back.end() || different.second != bytes.end()) return false;
    }
    encoding.cr_lf = text.find(W("\r\n")) != Text::npos;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool lone = text[i] == W('\r') && text.compare(i + 1, 1, W("\n")) != 0;
        if (text[i] != 0 && !lone) continue;
        fault = fault_at(
            text, i,
            lone ? "a carriage return without a line feed after it" : "a zero character; save the file as UTF-8");
        return false;
    }
    return true;
}

std::string encode(const Text& text, const Encoding& encoding) {
    Text ended;
    for (const WCHAR c : text) {
        if (c == W('\n') && encoding.cr_lf) ended += W('\r');
        ended += c;
    }
    std::string bytes;
    for (const Mark& mark : marks) {
        if (mark.form == encoding.form) bytes = mark.bytes;
    }
    if (encoding.form == Form::utf8 || encoding.form == Form::utf8_with_mark) return bytes + host::to_utf8(ended);
    for (const WCHAR c : ended) {
        const char low = static_cast<char>(c & 0xFF);
        const char high = static_cast<char>(c >> 8);
        bytes += encoding.form == Form::utf16_le ? low : high;
        bytes += encoding.form == Form::utf16_le ? high : low;
    }
    return bytes;
}

std::string to_text(const std::vector<Fault>& faults, const std::string& file) {
    constexpr size_t most = 20;
    std::string text;
    for (size_t i = 0; i < std::min(most, faults.size()); ++i) {
        const auto& [line, column, why] = faults[i];
        const std::string place = file + ":" + std::to_string(line) + ":" + std::to_string(column) + ": ";
        text += (i == 0 ? "" : "\n") + (line != 0 ? place : "") + why;
    }
    return text + (faults.size() > most ? "\nand " + std::to_string(faults.size() - most) + " more" : "");
}

std::vector<Text> lines_of(const Text& text) {
    std::vector<Text> lines;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find(W('\n'), start), text.size());
        lines.push_back(text.substr(start, end - start));
        if (!lines.back().empty() && lines.back().back() == W('\r')) lines.back().pop_back();
        start = end + 1;
    }
    return lines;
}

bool is_typographic_quote(WCHAR c) {
    return (c >= 0x2018 && c <= 0x201F) || c == 0xAB || c == 0xBB;
}

}  // namespace tsport
