#include "tsport/report/options.h"

#include <ctime>

#include "host/text.h"

namespace tsport::report {

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

Timestamp local_now() {
    const std::time_t now = std::time(nullptr);
    char text[32] = "";
    if (const std::tm* const local = std::localtime(&now)) {
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S,000", local);
    }
    return parse_timestamp(text).value_or(Timestamp());
}

}  // namespace tsport::report
