#include "host/text.h"

#include <algorithm>
#include <cstdio>

namespace host {

Text to_text(const std::string& utf8) {
    const int size = static_cast<int>(utf8.size());
    if (size == 0) return Text();
    Text text(static_cast<size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0)), 0);
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, text.data(), static_cast<int>(text.size()));
    return text;
}

std::string to_utf8(const Text& text) {
    const int size = static_cast<int>(text.size());
    if (size == 0) return std::string();
    std::string utf8(
        static_cast<size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr)), 0);
    WideCharToMultiByte(CP_UTF8, 0, text.data(), size, utf8.data(), static_cast<int>(utf8.size()), nullptr, nullptr);
    return utf8;
}

std::filesystem::path path_of(const std::string& utf8) {
    return std::u8string(utf8.begin(), utf8.end());
}

std::string utf8_of(const std::filesystem::path& path) {
    const std::u8string text = path.generic_u8string();
    return {text.begin(), text.end()};
}

std::string error_message(DWORD code) {
    WCHAR buffer[512];
    DWORD size = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code,
                                MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), buffer, 512, nullptr);
    while (size != 0 && (buffer[size - 1] <= W(' ') || buffer[size - 1] == W('.'))) --size;
    const std::string number = "error " + std::to_string(code);
    return size == 0 ? number : number + ", " + to_utf8(Text(buffer, size));
}

bool parse_host_port(const std::string& text, std::string& name, DWORD& port) {
    const size_t colon = text.rfind(':');
    std::uint64_t number = 0;
    if (colon == std::string::npos || colon == 0) return false;
    if (!parse_number(text.substr(colon + 1), 1, 65535, number)) return false;
    name = text.substr(0, colon);
    if (name.size() > 2 && name.front() == '[' && name.back() == ']') name = name.substr(1, name.size() - 2);
    port = static_cast<DWORD>(number);
    return true;
}

std::string size_to_text(std::uint64_t bytes) {
    const char* const units[] = {"B", "KiB", "MiB", "GiB", "TiB"};
    double value = static_cast<double>(bytes);
    size_t unit = 0;
    while (value >= 1024 && unit + 1 < std::size(units)) {
        value /= 1024;
        ++unit;
    }
    char text[32];
    std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", value, units[unit]);
    return text;
}

std::string rate_to_text(std::uint64_t bytes, double seconds) {
    if (seconds <= 0) return "-";
    return size_to_text(static_cast<std::uint64_t>(static_cast<double>(bytes) / seconds)) + "/s";
}

std::string seconds_to_text(double seconds) {
    char text[32];
    if (seconds < 1) {
        std::snprintf(text, sizeof text, "%.1f ms", seconds * 1000);
    } else {
        std::snprintf(text, sizeof text, "%.2f s", seconds);
    }
    return text;
}

std::string padded(const std::string& text, size_t width) {
    // Every byte but a continuation byte begins a character.
    const auto characters =
        static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
    return characters < width ? text + std::string(width - characters, ' ') : text;
}

}  // namespace host
