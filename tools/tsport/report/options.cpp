#include <chrono>
#include <ctime>

#include "tools/host/text.h"
#include "tools/tsport/report/report.h"

namespace tsport::report {
namespace {

// "2026-03-01", with "09:05" or "09:05:07" behind it, or a span like "90m", "24h", "7d" before now.
std::optional<Stamp> parse_time(const std::string& text, Stamp now) {
    std::uint64_t count = 0;
    if (!text.empty() && host::parse_number(text.substr(0, text.size() - 1), 1, 100'000, count)) {
        const auto back = static_cast<Stamp>(count);
        switch (text.back()) {
            case 'm':
                return now - back * 60'000;
            case 'h':
                return now - back * 3'600'000;
            case 'd':
                return now - back * 86'400'000;
            default:
                return {};
        }
    }
    constexpr std::string_view rest = "0000-00-00 00:00:00,000";
    if (text.size() != 10 && text.size() != 16 && text.size() != 19) return {};
    std::string whole = text + std::string(rest.substr(text.size()));
    if (whole[10] == 'T') whole[10] = ' ';
    return parse_stamp(whole);
}

bool take_time(const std::string& name, const std::string& value, Stamp now, std::optional<Stamp>& time,
               std::string& why) {
    time = parse_time(value, now);
    if (!time) why = name + " takes a time like 2026-03-01, \"2026-03-01 09:05\", 90m, 24h or 7d, not " + value;
    return time.has_value();
}

bool take_value(const std::string& name, const std::string& value, Stamp now, Options& options, std::string& why) {
    std::uint64_t number = 0;
    if (name == "--since") return take_time(name, value, now, options.since, why);
    if (name == "--until") return take_time(name, value, now, options.until, why);
    if (name == "--printer") {
        options.printer = value;
    } else if (name == "--html") {
        options.html = value;
    } else if (name == "--job") {
        why = "--job takes a number, not " + value;
        if (!host::parse_number(value, 0, UINT32_MAX, number)) return false;
        options.job = static_cast<std::uint32_t>(number);
    } else {
        why = "--rows takes a number from 1, not " + value;
        if (!host::parse_number(value, 1, 1'000'000, number)) return false;
        options.rows = static_cast<std::size_t>(number);
    }
    why = name + " takes a value";
    return !value.empty();
}

}  // namespace

bool parse_options(const std::vector<std::string>& words, Stamp now, Options& options, std::string& why) {
    bool only_logs = false;
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (only_logs || word.rfind("--", 0) != 0) {
            options.logs.push_back(word);
        } else if (word == "--") {
            only_logs = true;
        } else if (word == "--json" || word == "--csv") {
            const Format format = word == "--json" ? Format::json : Format::csv;
            why = "--json and --csv are one or the other";
            if (options.format != Format::text && options.format != format) return false;
            options.format = format;
        } else if (word == "--since" || word == "--until" || word == "--printer" || word == "--html" ||
                   word == "--job" || word == "--rows") {
            why = word + " takes a value";
            if (i + 1 == words.size() || !take_value(word, words[++i], now, options, why)) return false;
        } else {
            why = "unknown option " + word;
            return false;
        }
    }
    why = "report takes at least one log, a folder with logs, or - for the standard input";
    return !options.logs.empty();
}

Stamp local_now() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto seconds = static_cast<std::time_t>(std::chrono::duration_cast<std::chrono::seconds>(now).count());
    char text[32] = "";
    if (const std::tm* const local = std::localtime(&seconds))
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S,000", local);
    return parse_stamp(text).value_or(0);
}

}  // namespace tsport::report
