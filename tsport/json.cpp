#include "tsport/json.h"

#include <rapidjson/stringbuffer.h>

#include <algorithm>

namespace tsport {
namespace {

rapidjson::SizeType size_of(std::string_view text) {
    return static_cast<rapidjson::SizeType>(text.size());
}

bool is_ascii(std::string_view text) {
    return std::none_of(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; });
}

// U+0080 to U+009F and the separators U+2028 and U+2029. RapidJSON escapes other controls by itself.
bool has_control_beyond_ascii(std::string_view utf8) {
    for (size_t i = utf8.find_first_of("\xC2\xE2"); i != std::string_view::npos;
         i = utf8.find_first_of("\xC2\xE2", i + 1)) {
        const std::string_view rest = utf8.substr(i);
        if (rest[0] == '\xC2' && static_cast<unsigned char>(rest[1]) < 0xA0) return true;
        if (rest.starts_with("\xE2\x80\xA8") || rest.starts_with("\xE2\x80\xA9")) return true;
    }
    return false;
}

}  // namespace

void JsonWriter::Stream::Put(char c) {
    buffer += c;
    last = c;
    if (in_string) {
        in_string = escaped || c != '"';
        escaped = !escaped && c == '\\';
        return;
    }
    in_string = c == '"';
    if (c == ':') buffer += ' ';
    if (c != ',') return;
    buffer += separator;
    separator = ' ';
    if (buffer.size() >= 65536) Flush();
}

void JsonWriter::Stream::Flush() {
    if (!buffer.empty()) sink(buffer);
    buffer.clear();
}

void JsonWriter::break_line() {
    if (stream_.last == '[' || stream_.last == '{') {
        stream_.buffer += '\n';
    } else {
        stream_.separator = '\n';
    }
}

void JsonWriter::value(std::string_view utf8) {
    if (is_ascii(utf8)) {
        writer_.String(utf8.data(), size_of(utf8));
        return;
    }
    const std::string valid = host::to_utf8(host::to_text(std::string(utf8)));
    if (!has_control_beyond_ascii(valid)) {
        writer_.String(valid.data(), size_of(valid));
        return;
    }
    rapidjson::StringBuffer escaped;
    rapidjson::Writer<rapidjson::StringBuffer, rapidjson::UTF8<>, rapidjson::ASCII<>> ascii_writer(escaped);
    ascii_writer.String(valid.data(), size_of(valid));
    writer_.RawValue(escaped.GetString(), escaped.GetSize(), rapidjson::kStringType);
}

std::string json_line(const JsonMembers& members) {
    std::string text;
    {
        JsonWriter json([&text](std::string_view piece) { text += piece; });
        json.object([&] { members(json); });
    }
    return text + "\n";
}

}  // namespace tsport
