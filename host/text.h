// Text of tools: UTF-8 inside, UTF-16 for Windows; numbers for display.
#pragma once

#include <filesystem>

#include "host/command_line/options.h"
#include "winapi/winapi.h"

namespace host {

using Text = std::basic_string<WCHAR>;

Text to_text(const std::string& utf8);
std::string to_utf8(const Text& text);
// A path of this machine from and to UTF-8, whatever the encoding of its file names.
std::filesystem::path path_of(const std::string& utf8);
std::string utf8_of(const std::filesystem::path& path);
// For a function that tells why it failed: the reason, and false.
inline bool refuse(std::string& why, std::string reason) {
    why = std::move(reason);
    return false;
}
// "error 5, Access is denied"; without the text when the system has none.
std::string error_message(DWORD code);

// Parses "HOST:PORT", brackets around an IPv6 address removed; false when it is not that or the port is not 1 to 65535.
bool parse_host_port(const std::string& text, std::string& name, DWORD& port);
using command_line::parse_number;

std::string size_to_text(std::uint64_t bytes);                  // "512 B", "1.5 KiB", "64.0 MiB"
std::string rate_to_text(std::uint64_t bytes, double seconds);  // "1.5 KiB/s"
std::string seconds_to_text(double seconds);                    // "12.5 ms", "1.50 s"
// Pads with blanks to a width in characters; longer text is returned unchanged.
std::string padded(const std::string& text, size_t width);

}  // namespace host
