#include "tools/tsport/report/line.h"

#include <array>
#include <bit>
#include <cstdio>
#include <cstring>

namespace tsport::report {
namespace {

constexpr size_t level_at = stamp_size + 1;
constexpr size_t text_at = level_at + 7;  // behind "DEBUG: "

bool is_digit(char character) {
    return character >= '0' && character <= '9';
}

// Eight characters at a time, of which those count that are not "_" in the picture: most lines of a large log need no
// more of their time than that.
struct Picture {
    std::uint64_t mask;
    std::uint64_t value;
    explicit constexpr Picture(const char (&picture)[9]) : mask(0), value(0) {
        std::array<unsigned char, 8> ones{};
        std::array<unsigned char, 8> characters{};
        for (size_t i = 0; i < 8; ++i) {
            if (picture[i] == '_') continue;
            ones[i] = 0xFF;
            characters[i] = static_cast<unsigned char>(picture[i]);
        }
        mask = std::bit_cast<std::uint64_t>(ones);
        value = std::bit_cast<std::uint64_t>(characters);
    }
    bool fits(const char* text) const {
        std::uint64_t eight = 0;
        std::memcpy(&eight, text, sizeof eight);
        return (eight & mask) == value;
    }
};
constexpr Picture date("____-__-");
constexpr Picture hour("__ __:__");
constexpr Picture second(":__,___ ");
constexpr Picture debug_level("DEBUG: _");
constexpr Picture dev_level("DEV  : _");
constexpr Picture info_level("INFO : _");
constexpr Picture error_level("ERROR: _");

bool has_stamp(const char* text) {
    return date.fits(text) && hour.fits(text + 8) && second.fits(text + 16);
}

bool take_level(const char* text, Line& line) {
    line.debug = debug_level.fits(text) || dev_level.fits(text);
    line.error = !line.debug && error_level.fits(text);
    return line.debug || line.error || info_level.fits(text);
}

// "file.cpp:123 - " in front of the message.
bool take_source(std::string_view& text) {
    const auto* const blank = static_cast<const char*>(std::memchr(text.data(), ' ', text.size()));
    if (blank == nullptr) return false;
    const auto length = static_cast<size_t>(blank - text.data());
    if (length < 3 || length + 3 > text.size() || blank[1] != '-' || blank[2] != ' ') return false;
    size_t colon = length - 1;
    while (colon > 0 && is_digit(text[colon])) --colon;
    if (colon + 1 == length || text[colon] != ':') return false;
    text.remove_prefix(length + 3);
    return true;
}

// Days from 1970-01-01 to a day of the Gregorian calendar. Years begin in March here, so that the leap day is the last.
std::int64_t days_to(std::int64_t year, int month, int day) {
    year -= month <= 2 ? 1 : 0;
    const std::int64_t era = year / 400;
    const std::int64_t year_of_era = year - era * 400;
    const std::int64_t day_of_year = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    return era * 146097 + year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year - 719468;
}

void day_of(std::int64_t days, int& year, int& month, int& day) {
    days += 719468;
    const std::int64_t era = days / 146097;
    const std::int64_t day_of_era = days - era * 146097;
    const std::int64_t year_of_era = (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
    const std::int64_t day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
    const std::int64_t shifted = (5 * day_of_year + 2) / 153;
    day = static_cast<int>(day_of_year - (153 * shifted + 2) / 5 + 1);
    month = static_cast<int>(shifted < 10 ? shifted + 3 : shifted - 9);
    year = static_cast<int>(year_of_era + era * 400 + (month <= 2 ? 1 : 0));
}

}  // namespace

std::optional<Stamp> parse_stamp(std::string_view text) {
    if (text.size() < stamp_size) return {};
    constexpr std::string_view picture = "0000-00-00 00:00:00,000";
    for (size_t i = 0; i < stamp_size; ++i) {
        if (picture[i] == '0' ? !is_digit(text[i]) : text[i] != picture[i]) return {};
    }
    const auto two = [&](size_t at) { return (text[at] - '0') * 10 + (text[at + 1] - '0'); };
    const int month = two(5);
    const int day = two(8);
    const int hours = two(11);
    const int minute = two(14);
    const int seconds = two(17);
    if (month < 1 || month > 12 || day < 1 || day > 31 || hours > 23 || minute > 59 || seconds > 60) return {};
    const std::int64_t days = days_to(two(0) * 100 + two(2), month, day);
    return ((days * 24 + hours) * 60 + minute) * 60'000 + seconds * 1000 + two(20) * 10 + (text[22] - '0');
}

std::string stamp_in_words(Stamp stamp) {
    constexpr Stamp day_ms = 86'400'000;
    const Stamp days = stamp >= 0 ? stamp / day_ms : (stamp - day_ms + 1) / day_ms;
    const auto rest = static_cast<int>(stamp - days * day_ms);
    int year = 0;
    int month = 0;
    int day = 0;
    day_of(days, year, month, day);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d", year, month, day, rest / 3'600'000,
                  rest / 60'000 % 60, rest / 1000 % 60, rest % 1000);
    return text;
}

Kind take_apart(std::string_view text, Line& line) {
    if (!text.empty() && text.back() == '\r') text.remove_suffix(1);
    if (text.size() < level_at || !has_stamp(text.data())) return Kind::foreign;
    if (text.size() <= text_at || !take_level(text.data() + level_at, line)) return Kind::cut;
    line.stamp = text.substr(0, stamp_size);
    line.message = text.substr(text_at);
    line.detailed = take_source(line.message);
    if (line.detailed) return line.message.ends_with(']') ? Kind::whole : Kind::cut;
    // Lines of these levels are only written in detail.
    return line.debug ? Kind::cut : Kind::whole;
}

bool take_thread(std::string_view& text, std::uint32_t& thread) {
    if (text.empty() || text.back() != ']') return false;
    size_t begin = text.size() - 1;
    std::uint64_t number = 0;
    std::uint64_t place = 1;
    while (begin > 0 && is_digit(text[begin - 1]) && place <= 10'000'000'000) {
        number += place * static_cast<unsigned>(text[--begin] - '0');
        place *= 10;
    }
    if (begin < 2 || place == 1 || number > UINT32_MAX || text[begin - 1] != '[' || text[begin - 2] != ' ')
        return false;
    thread = static_cast<std::uint32_t>(number);
    text.remove_suffix(text.size() - begin + 2);
    return true;
}

std::optional<std::int64_t> take_number(std::string_view& text) {
    // Nearly all are short, for which the runtime's conversion is slow.
    const bool negative = text.starts_with('-');
    size_t size = negative ? 1 : 0;
    const size_t first = size;
    std::int64_t number = 0;
    constexpr size_t most_digits = 18;
    while (size < text.size() && is_digit(text[size]) && size - first < most_digits) {
        number = number * 10 + (text[size++] - '0');
    }
    if (size == first || (size < text.size() && is_digit(text[size]))) return {};
    text.remove_prefix(size);
    return negative ? -number : number;
}

}  // namespace tsport::report
