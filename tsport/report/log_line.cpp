#include "tsport/report/log_line.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <limits>

#include "host/text.h"

namespace tsport::report {
namespace {

constexpr size_t time_size = 23;
constexpr size_t level_at = time_size + 1;
constexpr size_t level_size = 7;  // "DEBUG: "

// "file.cpp:123 - " in front of the message.
bool take_source(std::string_view& text) {
    const size_t blank = text.find(' ');
    if (blank == std::string_view::npos || !text.substr(blank).starts_with(" - ")) return false;
    const size_t colon = text.substr(0, blank).find_last_not_of("0123456789");
    if (colon == std::string_view::npos || colon == 0 || colon + 1 == blank || text[colon] != ':') return false;
    text.remove_prefix(blank + 3);
    return true;
}

// " [5995]" behind it.
bool take_thread(std::string_view& text, std::uint32_t& thread) {
    const size_t bracket = text.rfind('[');
    if (bracket == std::string_view::npos || bracket == 0 || text[bracket - 1] != ' ' || text.back() != ']')
        return false;
    const char* const end = text.data() + text.size() - 1;
    const auto [stop, error] = std::from_chars(text.data() + bracket + 1, end, thread);
    if (error != std::errc() || stop != end) return false;
    text.remove_suffix(text.size() - bracket + 1);
    return true;
}

}  // namespace

std::optional<Timestamp> parse_timestamp(std::string_view text) {
    using namespace std::chrono;
    constexpr std::string_view shape = "0000-00-00 00:00:00,000";
    // Many lines of a log share a second.
    thread_local std::string last;
    thread_local Timestamp last_second;
    if (text.size() < shape.size()) return {};
    const bool is_known = text.starts_with(last) && !last.empty();
    int numbers[7] = {};
    size_t place = is_known ? 6 : 0;
    for (size_t i = is_known ? last.size() : 0; i < shape.size(); ++i) {
        const bool digit = text[i] >= '0' && text[i] <= '9';
        if (shape[i] == '0' ? !digit : text[i] != shape[i]) return {};
        if (!digit) ++place;
        if (digit) numbers[place] = numbers[place] * 10 + (text[i] - '0');
    }
    const auto& [years, month_number, day_number, hour, minute, second, thousandths] = numbers;
    if (!is_known) {
        const year_month_day date = year(years) / month_number / day_number;
        if (!date.ok() || hour > 23 || minute > 59 || second > 60) return {};
        last = text.substr(0, 20);
        last_second = local_days(date) + hours(hour) + minutes(minute) + seconds(second);
    }
    return last_second + milliseconds(thousandths);
}

std::optional<Timestamp> parse_time(const std::string& text, Timestamp now) {
    std::uint64_t count = 0;
    if (!text.empty() && host::parse_number(text.substr(0, text.size() - 1), 1, 100'000, count)) {
        if (text.back() == 'm') return now - std::chrono::minutes(count);
        if (text.back() == 'h') return now - std::chrono::hours(count);
        if (text.back() == 'd') return now - std::chrono::days(count);
        return {};
    }
    if (text.size() != 10 && text.size() != 16 && text.size() != 19) return {};
    std::string whole = text + std::string("0000-00-00 00:00:00,000").substr(text.size());
    if (whole[10] == 'T') whole[10] = ' ';
    return parse_timestamp(whole);
}

std::optional<Timestamp> local_time_of(std::time_t moment) {
    char text[32] = "";
    const std::tm* const local = std::localtime(&moment);
    if (local == nullptr || std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S,000", local) == 0) return {};
    return parse_timestamp(text);
}

Timestamp local_now() {
    return local_time_of(std::time(nullptr)).value_or(Timestamp());
}

std::string to_text(Timestamp time) {
    const auto midnight = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(midnight);
    const std::chrono::hh_mm_ss clock(time - midnight);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d.%03d", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()), static_cast<int>(clock.subseconds().count()));
    return text;
}

std::string second_text(Timestamp time) {
    return to_text(time).substr(0, 19);
}

std::uint32_t elapsed_ms(Timestamp from, Timestamp to) {
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>((to - from).count(), 0, UINT32_MAX));
}

// -- The reader ------------------------------------------------------------------------------------------------------

bool LineReader::next() {
    const bool first = bytes_ == 0;
    stream_.getline(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
    const auto size = static_cast<size_t>(stream_.gcount());
    bytes_ += size;
    if (size == 0 || stream_.bad()) return false;
    complete_ = !stream_.fail();
    // Without a line feed: one that is being written at this moment, or was cut by the end of the spooler.
    const bool ended = complete_ && !stream_.eof();
    line_ = {buffer_.data(), ended ? size - 1 : size};
    if (!complete_) {
        stream_.clear();
        stream_.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
        bytes_ += static_cast<std::uint64_t>(stream_.gcount());
    }
    if (first) {
        is_utf16_ = line_.starts_with("\xFF\xFE");
        // Editors leave a mark in front of UTF-8.
        if (line_.starts_with("\xEF\xBB\xBF")) line_.remove_prefix(3);
    }
    return true;
}

// -- One line --------------------------------------------------------------------------------------------------------

LineKind parse_line(std::string_view text, LogLine& line) {
    if (text.ends_with('\r')) text.remove_suffix(1);
    const auto time = parse_timestamp(text);
    if (!time || !text.substr(time_size).starts_with(' ')) return LineKind::foreign;
    if (text.size() <= level_at + level_size) return LineKind::truncated;
    const std::string_view level = text.substr(level_at, level_size);
    const bool debug = level == "DEBUG: " || level == "DEV  : ";
    line.error = level == "ERROR: ";
    if (!debug && !line.error && level != "INFO : ") return LineKind::truncated;
    line.time = *time;
    line.message = text.substr(level_at + level_size);
    line.detailed = take_source(line.message);
    if (line.detailed) return take_thread(line.message, line.thread) ? LineKind::complete : LineKind::truncated;
    // Lines of these levels are only written in detail.
    return debug ? LineKind::truncated : LineKind::complete;
}

std::optional<std::int64_t> take_number(std::string_view& text) {
    std::int64_t number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc()) return {};
    text.remove_prefix(static_cast<size_t>(stop - text.data()));
    return number;
}

}  // namespace tsport::report
