#include "tsport/doctor/conf_lines.h"

#include <algorithm>
#include <cstring>

namespace tsport::doctor {
namespace {

constexpr size_t longest_piece = 8191;  // of a line, with its line feed

ConfLine take_apart(std::string text, size_t number, ConfFile file) {
    ConfLine line;
    line.number = number;
    line.cut_by_nul = text.find('\0') != std::string::npos;
    text.resize(std::strlen(text.c_str()));
    const auto skip_blanks = [&text](size_t at) {
        while (at < text.size() && is_conf_blank(text[at])) ++at;
        return at;
    };
    const size_t visible = text.find_last_not_of("\r\n");
    line.text = visible == std::string::npos ? "" : text.substr(0, visible + 1);
    line.cut_by_cr = line.text.find('\r') != std::string::npos;
    const size_t name = skip_blanks(0);
    if (name == text.size() || text[name] == ';' || text[name] == '#') return line;
    const size_t end = std::min(text.find_first_of("=\n\r", name), text.size());
    line.kind = ConfLine::Kind::no_equals;
    if (end == text.size() || text[end] != '=') return line;
    line.kind = ConfLine::Kind::no_name;
    if (end == name) return line;
    line.name = text.substr(name, end - name);
    line.value = text.substr(skip_blanks(end + 1));
    if (file == ConfFile::settings) {
        while (!line.value.empty() && is_conf_blank(line.value.back())) line.value.pop_back();
    }
    line.value.resize(
        std::min(line.value.size(), line.value.find_first_of(file == ConfFile::settings ? "\n\r" : "=\n\r")));
    line.kind = line.value.empty() ? ConfLine::Kind::empty_value : ConfLine::Kind::entry;
    return line;
}

}  // namespace

bool is_conf_blank(char c) {
    return c == ' ' || c == '\b' || c == '\n' || c == '\r';
}

std::string readable_part(const std::string& bytes) {
    std::string text;
    const size_t end = std::min(bytes.find('\x1A'), bytes.size());
    for (size_t i = 0; i < end; ++i) {
        if (bytes[i] != '\r' || i + 1 == bytes.size() || bytes[i + 1] != '\n') text += bytes[i];
    }
    return text;
}

std::vector<ConfLine> split_conf(const std::string& bytes, ConfFile file) {
    const std::string text = readable_part(bytes);
    std::vector<ConfLine> lines;
    bool within_line = false;
    for (size_t begin = 0; begin < text.size();) {
        const size_t feed = text.find('\n', begin);
        const size_t rest = (feed == std::string::npos ? text.size() : feed + 1) - begin;
        const size_t size = std::min(rest, longest_piece);
        lines.push_back(take_apart(text.substr(begin, size), lines.size() + 1, file));
        lines.back().is_piece = within_line || size < rest;
        within_line = size < rest;
        begin += size;
    }
    return lines;
}

}  // namespace tsport::doctor
