#include "tsport/doctor/conf_lines.h"

#include <algorithm>
#include <cstring>

namespace tsport::doctor {
namespace {

constexpr size_t longest_piece = CONFIG_LINE_SIZE - 1;  // of a line, with its line feed

ConfLine take_apart(std::string text, size_t number, ConfigFile file) {
    ConfLine line;
    line.number = number;
    line.cut_by_nul = text.find('\0') != std::string::npos;
    text.resize(std::strlen(text.c_str()));
    const size_t visible = text.find_last_not_of("\r\n");
    line.text = visible == std::string::npos ? "" : text.substr(0, visible + 1);
    line.cut_by_cr = line.text.find('\r') != std::string::npos;
    const ConfigLine parts = config_split_line(text.data(), file);
    line.kind = parts.kind;
    if (parts.name != nullptr) line.name = parts.name;
    if (parts.value != nullptr) line.value = parts.value;
    return line;
}

}  // namespace

std::string readable_part(const std::string& bytes) {
    std::string text;
    const size_t end = std::min(bytes.find('\x1A'), bytes.size());
    for (size_t i = 0; i < end; ++i) {
        if (bytes[i] != '\r' || i + 1 == bytes.size() || bytes[i + 1] != '\n') text += bytes[i];
    }
    return text;
}

std::vector<ConfLine> split_conf(const std::string& bytes, ConfigFile file) {
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
