#include "tsport/ports/encoding.h"

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

bool decode_utf16(const std::string& bytes, size_t start, bool big_endian, Text& text) {
    for (size_t i = start; i + 1 < bytes.size(); i += 2) {
        const auto low = static_cast<unsigned char>(bytes[i + (big_endian ? 1 : 0)]);
        const auto high = static_cast<unsigned char>(bytes[i + (big_endian ? 0 : 1)]);
        text += static_cast<WCHAR>(low | high << 8);
    }
    return (bytes.size() - start) % 2 == 0;
}

// Line by line, so that a fault has its place.
bool decode_utf8(const std::string& bytes, size_t start, Text& text, Fault& fault) {
    for (size_t line = 1; start < bytes.size(); ++line) {
        const size_t end = bytes.find('\n', start);
        const std::string piece = bytes.substr(start, end == std::string::npos ? end : end + 1 - start);
        const Text decoded = host::to_text(piece);
        if (host::to_utf8(decoded) != piece) {
            size_t good = 0;
            const std::string back = host::to_utf8(decoded);
            while (back[good] == piece[good]) ++good;
            fault = {line, host::to_text(piece.substr(0, good)).size() + 1, "not UTF-8 text; save the file as UTF-8"};
            return false;
        }
        text += decoded;
        start += piece.size();
    }
    return true;
}

// The first CR that is not part of CR LF, and zero characters.
bool has_odd_characters(const Text& text, Fault& fault) {
    size_t line = 1;
    size_t begin = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        fault = {line, i - begin + 1, ""};
        if (text[i] == 0) {
            fault.why = "a zero character; save the file as UTF-8";
            return true;
        }
        if (text[i] == W('\r') && (i + 1 == text.size() || text[i + 1] != W('\n'))) {
            fault.why = "a carriage return without a line feed after it";
            return true;
        }
        if (text[i] == W('\n')) {
            ++line;
            begin = i + 1;
        }
    }
    return false;
}

}  // namespace

bool decode(const std::string& bytes, Encoding& encoding, Text& text, Fault& fault) {
    size_t start = 0;
    encoding = Encoding();
    text.clear();
    for (const Mark& mark : marks) {
        if (bytes.rfind(mark.bytes, 0) != 0) continue;
        encoding.form = mark.form;
        start = std::char_traits<char>::length(mark.bytes);
    }
    if (encoding.form == Form::utf16_le || encoding.form == Form::utf16_be) {
        fault = {1, 1, "UTF-16 text with half a character at its end"};
        if (!decode_utf16(bytes, start, encoding.form == Form::utf16_be, text)) return false;
    } else if (!decode_utf8(bytes, start, text, fault)) {
        return false;
    }
    encoding.cr_lf = text.find(W("\r\n")) != Text::npos;
    return !has_odd_characters(text, fault);
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
