// Text of tools: UTF-8 inside, UTF-16 towards Windows, and numbers for people.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "winapi/winapi.h"

namespace host {

using Text = std::basic_string<WCHAR>;

Text to_text(const std::string& utf8);
std::string to_utf8(const Text& text);
// A path of this machine: its text here is UTF-8, whatever the machine's own names are in.
std::filesystem::path path_of(const std::string& utf8);
std::string utf8_of(const std::filesystem::path& path);
// "in 5 words" for an error code: its number and the system's text.
std::string error_in_words(DWORD code);

// "HOST:PORT"; false when it is not that or the port is not 1 to 65535.
bool parse_host_port(const std::string& text, std::string& name, DWORD& port);
// A decimal number from `least` to `most`, nothing else.
bool parse_number(const std::string& text, std::uint64_t least, std::uint64_t most, std::uint64_t& number);

// "512 B", "1.5 KiB", "64.0 MiB".
std::string size_in_words(std::uint64_t bytes);
std::string rate_in_words(std::uint64_t bytes, double seconds);
std::string seconds_in_words(double seconds);
// Text filled up with blanks to a width in characters; longer text stays whole.
std::string padded(const std::string& text, size_t width);

}  // namespace host
