// Metrics for Prometheus.
#include <rapidjson/document.h>

#include <ctime>
#include <map>
#include <sstream>

#include "host/command_line/options.h"
#include "tsport/report/report.h"

namespace tsport::report {
namespace {

std::string escaped(const std::string& value) {
    std::string text;
    for (const char c : value) text += c == '\\' ? "\\\\" : c == '"' ? "\\\"" : c == '\n' ? "\\n" : std::string(1, c);
    return text;
}

// As they stand in the file: {printer="Office",outcome="printed"}
std::string labels(std::initializer_list<std::pair<const char*, std::string>> pairs) {
    std::string text;
    for (const auto& [name, value] : pairs) {
        text += (text.empty() ? "{" : ",") + std::string(name) + "=\"" + escaped(value) + "\"";
    }
    return text + "}";
}

struct Family {
    const char* name;
    const char* type;
    const char* help;
};
enum Which : size_t { jobs, attempts, causes, bytes, held, start, closing, failing, last_line, build };
constexpr Family families[] = {
    {"tsport_jobs_total", "counter", "Jobs by printer and by the outcome of their last attempt."},
    {"tsport_attempts_total", "counter", "Attempts to print a job, by printer and outcome."},
    {"tsport_attempt_causes_total", "counter", "Attempts that went wrong or were delayed, by cause."},
    {"tsport_bytes_total", "counter", "Bytes that the monitor took from the spooler, by printer."},
    {"tsport_held_seconds_total", "counter", "Time that the helper program held jobs, by printer."},
    {"tsport_start_seconds", "histogram", "Time from StartDocPort until the document was started."},
    {"tsport_close_seconds", "histogram", "Time that a document waited for the printer to close the connection."},
    {"tsport_printer_failing", "gauge", "1 for a printer whose last attempt did not come out."},
    {"tsport_log_last_line_timestamp_seconds", "gauge", "Time of the log's last line."},
    {"tsport_build_info", "gauge", "The version of the program that wrote this file."},
};
// Of the histograms' buckets.
struct Limit {
    std::uint64_t milliseconds;
    const char* seconds;
};
constexpr Limit limits[] = {{10, "0.01"},  {100, "0.1"},  {1000, "1"},     {5000, "5"},         {10000, "10"},
                            {30000, "30"}, {60000, "60"}, {180000, "180"}, {UINT64_MAX, "+Inf"}};

class Metrics {
  public:
    bool load(const std::string& state, std::string& why) {
        if (state.empty()) return true;
        rapidjson::Document json;
        json.Parse(state.c_str());
        why = "it is no state of tsport's metrics; delete it, and counting begins anew";
        if (!json.IsObject() || !json.HasMember("through") || !json["through"].IsString() ||
            !json.HasMember("series") || !json["series"].IsObject()) {
            return false;
        }
        through_ = parse_timestamp(json["through"].GetString());
        for (const auto& member : json["series"].GetObject()) {
            if (!member.value.IsUint64()) return false;
            series_[member.name.GetString()] = member.value.GetUint64();
        }
        return through_.has_value();
    }

    void add(const Document& document, const Texts& texts) {
        const std::string& name = texts[document.printer != 0 ? document.printer : document.address];
        const bool too_many = failing_.size() >= most_printers && !failing_.contains(name);
        const std::string printer = too_many ? "(others)" : name.empty() ? "(not named)" : name;
        failing_[printer] = !document.is_open() && !document.came_out();
        if (document.is_open() || (through_ && document.end() <= *through_)) return;
        const std::string outcome = info_of(document.outcome).id;
        count(attempts, labels({{"printer", printer}, {"outcome", outcome}}), 1);
        if (!document.tried_again) count(jobs, labels({{"printer", printer}, {"outcome", outcome}}), 1);
        if (const auto cause = document.cause()) count(causes, labels({{"cause", info_of(*cause).id}}), 1);
        count(bytes, labels({{"printer", printer}}), document.taken);
        count(held, labels({{"printer", printer}}), document.held_ms);
        if (document.detailed && document.outcome != Outcome::not_started) {
            observe(start, document.start_ms);
            if (document.came_out()) observe(closing, document.close_ms);
        }
    }

    std::string text(std::optional<Timestamp> last) const {
        std::ostringstream out;
        for (size_t i = 0; i < std::size(families); ++i) {
            const std::string name = families[i].name;
            out << "# HELP " << name << " " << families[i].help << "\n# TYPE " << name << " " << families[i].type
                << "\n";
            if (i == start || i == closing) {
                for (const std::string& part : parts_of_histogram(name)) write(out, part);
            } else if (i == failing) {
                for (const auto& [printer, fails] : failing_)
                    out << name << labels({{"printer", printer}}) << " " << fails << "\n";
            } else if (i == last_line) {
                if (last) out << name << " " << unix_time_of(*last) << "\n";
            } else if (i == build) {
                out << name << labels({{"version", command_line::version()}}) << " 1\n";
            } else {
                for (const auto& [series, value] : series_) {
                    if (series.starts_with(name + "{")) write(out, series);
                }
            }
        }
        return out.str();
    }

    // "" when no line has a time.
    std::string state(std::optional<Timestamp> last) const {
        const std::optional<Timestamp> through = std::max(last, through_);
        if (!through) return "";
        std::string time = to_text(*through);
        time[19] = ',';
        return json_line([&](JsonWriter& json) {
            json.member("version", std::uint64_t{1});
            json.member("through", time);
            json.object("series", [&] {
                for (const auto& [name, value] : series_) {
                    json.break_line();
                    json.member(name, value);
                }
            });
        });
    }

  private:
    static constexpr size_t most_printers = 1000;

    void count(Which which, const std::string& labels, std::uint64_t by) {
        series_[families[which].name + labels] += by;
    }
    void observe(Which which, std::uint64_t milliseconds) {
        const std::vector<std::string> parts = parts_of_histogram(families[which].name);
        for (size_t i = 0; i < std::size(limits); ++i) {
            if (milliseconds <= limits[i].milliseconds) ++series_[parts[i]];
        }
        ++series_[parts[std::size(limits)]];
        series_[parts.back()] += milliseconds;
    }
    // The buckets, the count and the sum.
    static std::vector<std::string> parts_of_histogram(const std::string& name) {
        std::vector<std::string> parts;
        for (const Limit& limit : limits) parts.push_back(name + "_bucket" + labels({{"le", limit.seconds}}));
        parts.insert(parts.end(), {name + "_count", name + "_sum"});
        return parts;
    }
    // Times are kept in milliseconds and shown in seconds.
    void write(std::ostream& out, const std::string& series) const {
        const auto at = series_.find(series);
        const std::uint64_t value = at != series_.end() ? at->second : 0;
        const bool is_time = series.ends_with("_sum") || series.starts_with(families[held].name);
        out << series << " " << (is_time ? value / 1000 : value);
        if (is_time && value % 1000 != 0) out << "." << std::to_string(1000 + value % 1000).substr(1);
        out << "\n";
    }
    // The parts of a local time, broken down without a time zone, make the time in this machine's.
    static std::time_t unix_time_of(Timestamp time) {
        const std::time_t as_utc = std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
        const std::tm* const broken_down = std::gmtime(&as_utc);
        if (broken_down == nullptr) return -1;
        std::tm parts = *broken_down;
        parts.tm_isdst = -1;
        return std::mktime(&parts);
    }

    std::map<std::string, std::uint64_t> series_;  // by name and labels
    std::map<std::string, bool> failing_;          // by printer
    std::optional<Timestamp> through_;
};

}  // namespace

bool write_metrics(const Report& report, std::string& state, std::string& text, std::string& why) {
    Metrics metrics;
    if (!metrics.load(state, why)) return false;
    for (const Document* const document : report.documents.in_order()) metrics.add(*document, report.texts);
    text = metrics.text(report.last);
    state = metrics.state(report.last);
    return true;
}

}  // namespace tsport::report
