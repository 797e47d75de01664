// The charts of the page: inline SVG without external resources.
#include <algorithm>
#include <array>
#include <cstdio>
#include <map>

#include "tools/host/text.h"
#include "tools/tsport/report/html.h"

namespace tsport::report::html {
namespace {

constexpr double width = 1240;
constexpr double names = 205;  // room for printers' names in front
constexpr size_t most_lanes = 30;

// A place in the picture, to a tenth.
std::string at(double place) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", place);
    return text;
}

// A name that fits in front of its lane; the whole of it is in the table.
std::string cut(const std::string& name) {
    constexpr size_t most = 24;
    size_t characters = 0;
    for (size_t i = 0; i < name.size(); ++i) {
        if ((static_cast<unsigned char>(name[i]) & 0xC0) == 0x80 || ++characters <= most) continue;
        std::string shorter = name.substr(0, i);
        return shorter.append("\xE2\x80\xA6");
    }
    return name;
}

void put_line(Writer& out, double x1, double y1, double x2, double y2) {
    out << "<line class=\"grid\" x1=\"" << at(x1) << "\" y1=\"" << at(y1) << "\" x2=\"" << at(x2) << "\" y2=\""
        << at(y2) << "\"/>\n";
}

void put_text(Writer& out, double x, double y, std::string_view text, const char* attributes = "") {
    out << "<text x=\"" << at(x) << "\" y=\"" << at(y) << "\"" << attributes << ">" << Shown{text} << "</text>\n";
}

void put_bar(Writer& out, const char* look, double x, double y, double w, double h, const std::string& title = {}) {
    out << "<rect class=\"" << look << "\" x=\"" << at(x) << "\" y=\"" << at(y) << "\" width=\"" << at(w)
        << "\" height=\"" << at(h) << "\"";
    if (title.empty()) {
        out << "/>\n";
    } else {
        out << "><title>" << Shown{title} << "</title></rect>\n";
    }
}

void open_picture(Writer& out, const char* id, double height, const std::string& title,
                  const std::string& description) {
    out << "<div class=\"wide\" tabindex=\"0\" role=\"region\" aria-label=\"" << Shown{title} << "\"><svg id=\"" << id
        << "\" viewBox=\"0 0 " << at(width) << " " << at(height) << "\" role=\"img\" aria-labelledby=\"" << id
        << "-title " << id << "-desc\"><title id=\"" << id << "-title\">" << Shown{title} << "</title><desc id=\"" << id
        << "-desc\">" << Shown{description} << "</desc>\n";
}

void put_legend(Writer& out, const std::vector<std::pair<std::string, std::string>>& entries) {
    out << "<ul class=\"legend\">";
    for (const auto& [look, words] : entries)
        out << "<li><span class=\"" << look << "\"></span>" << Shown{words} << "</li>";
    out << "</ul>\n";
}

// -- Time as an axis -------------------------------------------------------------------------------------------------

constexpr Stamp minute = 60'000;
constexpr Stamp hour = 60 * minute;
constexpr Stamp day = 24 * hour;
constexpr Stamp steps[] = {100,         200,     500,      1000,       2000,       5000,        10'000,
                           15'000,      30'000,  minute,   2 * minute, 5 * minute, 10 * minute, 15 * minute,
                           30 * minute, hour,    2 * hour, 3 * hour,   6 * hour,   12 * hour,   day,
                           2 * day,     7 * day, 14 * day, 28 * day,   91 * day,   365 * day,   3650 * day};

// The smallest step of which no more than so many cover the time.
Stamp step_for(Stamp from, Stamp to, Stamp most) {
    for (const Stamp step : steps) {
        if ((to - from) / step < most) return step;
    }
    return (to - from) / most + 1;
}

Stamp floor_to(Stamp stamp, Stamp step) {
    const Stamp rest = stamp % step;
    return stamp - (rest < 0 ? rest + step : rest);
}

std::string time_on_axis(Stamp stamp, Stamp step) {
    const std::string text = stamp_in_words(stamp);
    if (step >= day) return text.substr(0, 10);
    if (step >= minute) return stamp % day == 0 ? text.substr(5, 5) : text.substr(11, 5);
    return step >= 1000 ? text.substr(11, 8) : text.substr(14, 7);
}

struct TimeAxis {
    Stamp from;
    Stamp to;
    double left;
    double right;
    double place(Stamp stamp) const {
        return left +
               (right - left) * static_cast<double>(stamp - from) / static_cast<double>(std::max<Stamp>(to - from, 1));
    }
};

void put_time_axis(Writer& out, const TimeAxis& axis, double top, double bottom) {
    const Stamp step = step_for(axis.from, axis.to, 11);
    for (Stamp tick = floor_to(axis.from + step - 1, step); tick <= axis.to; tick += step) {
        const double x = axis.place(tick);
        put_line(out, x, top, x, bottom);
        put_text(out, x, bottom + 16, time_on_axis(tick, step), " text-anchor=\"middle\"");
    }
}

TimeAxis axis_of(const Documents& documents, double left) {
    TimeAxis axis{documents.front()->start, documents.front()->start, left, width - 30};
    for (const Document* const document : documents) axis.to = std::max(axis.to, document->end());
    return axis;
}

}  // namespace

// -- Failures over time ----------------------------------------------------------------------------------------------

namespace {

constexpr size_t most_colours = 8;

// The causes in the order of their counts; the last place stands for all further ones.
std::vector<size_t> ranked_causes(const Documents& documents, std::array<std::uint64_t, troubles>& counts) {
    for (const Document* const document : documents) {
        if (document->cause() != troubles) ++counts[document->cause()];
    }
    std::vector<size_t> ranked;
    for (size_t i = 0; i < troubles; ++i) {
        if (counts[i] != 0) ranked.push_back(i);
    }
    std::stable_sort(ranked.begin(), ranked.end(), [&](size_t a, size_t b) { return counts[a] > counts[b]; });
    return ranked;
}

std::string colour(size_t rank) {
    std::string name = "c";
    return name.append(std::to_string(std::min(rank, most_colours - 1)));
}

using Column = std::array<std::uint64_t, most_colours>;

void put_columns(Writer& out, const std::map<Stamp, Column>& columns, const TimeAxis& axis, Stamp step, double top,
                 double bottom, std::uint64_t most) {
    const double gap = 1;
    for (const auto& [begin, column] : columns) {
        double y = bottom;
        const double x = axis.place(begin);
        const double w = std::max(axis.place(begin + step) - x - gap, 1.0);
        for (size_t rank = 0; rank < most_colours; ++rank) {
            if (column[rank] == 0) continue;
            const double h = (bottom - top) * static_cast<double>(column[rank]) / static_cast<double>(most);
            y -= h;
            put_bar(out, colour(rank).c_str(), x, y, w, h, stamp_in_words(begin) + ": " + std::to_string(column[rank]));
        }
    }
}

}  // namespace

void put_failures_over_time(Writer& out, const Documents& documents) {
    std::array<std::uint64_t, troubles> counts{};
    const std::vector<size_t> ranked = ranked_causes(documents, counts);
    if (ranked.empty()) return;
    TimeAxis axis = axis_of(documents, 46);
    const Stamp step = step_for(axis.from, axis.to, 60);
    axis.from = floor_to(axis.from, step);
    axis.to = floor_to(axis.to, step) + step;

    std::map<Stamp, Column> columns;
    for (const Document* const document : documents) {
        if (document->cause() == troubles) continue;
        const auto rank =
            static_cast<size_t>(std::find(ranked.begin(), ranked.end(), document->cause()) - ranked.begin());
        ++columns[floor_to(document->start, step)][std::min(rank, most_colours - 1)];
    }
    std::uint64_t most = 1;
    std::uint64_t all = 0;
    for (const auto& [begin, column] : columns) {
        std::uint64_t height = 0;
        for (const std::uint64_t count : column) height += count;
        most = std::max(most, height);
        all += height;
    }

    out << "<section aria-labelledby=\"failures\"><h2 id=\"failures\">Failures and delays over time, by cause</h2>\n";
    open_picture(out, "failures-chart", 250, "Failures and delays over time, by cause",
                 counted(all, "document") + " with a cause between " + stamp_in_words(axis.from) + " and " +
                     stamp_in_words(axis.to) + "; a column stands for " +
                     time_in_words(static_cast<std::uint64_t>(step)) + ". The table of causes has the sums.");
    const double top = 14;
    const double bottom = 220;
    const std::uint64_t line_step = std::max<std::uint64_t>(most / 4, 1);
    for (std::uint64_t value = 0; value <= most; value += line_step) {
        const double y = bottom - (bottom - top) * static_cast<double>(value) / static_cast<double>(most);
        put_line(out, axis.left, y, axis.right, y);
        put_text(out, axis.left - 8, y + 4, grouped(value), " text-anchor=\"end\"");
    }
    put_time_axis(out, axis, bottom, bottom);
    put_columns(out, columns, axis, step, top, bottom, most);
    out << "</svg></div>\n";
    std::vector<std::pair<std::string, std::string>> legend;
    std::uint64_t further = 0;
    for (size_t rank = 0; rank < ranked.size(); ++rank) {
        if (rank + 1 < most_colours || ranked.size() == most_colours) {
            legend.emplace_back(colour(rank), text_of(static_cast<Trouble>(ranked[rank])).words + std::string(" (") +
                                                  grouped(counts[ranked[rank]]) + ")");
        } else {
            further += counts[ranked[rank]];
        }
    }
    if (further != 0) legend.emplace_back(colour(most_colours - 1), "all further causes (" + grouped(further) + ")");
    put_legend(out, legend);
    out << "</section>\n";
}

// -- Timeline --------------------------------------------------------------------------------------------------------

namespace {

std::string title_of(const Document& document, const Texts& texts) {
    std::string title = stamp_in_words(document.start) + ", ";
    if (document.has_job) title += "job " + std::to_string(document.job) + ", ";
    title += text_of(document.outcome).words;
    const std::string cause = cause_in_words(document, texts);
    if (!cause.empty()) title.append(": ").append(cause);
    if (document.held_ms != 0) title += ", held " + time_in_words(document.held_ms);
    return title;
}

// A printer's documents. Those that printed without trouble and lie too close to be seen apart make one bar; the
// others come on top, each with its words, and failures stand out by their height too.
void put_lane(Writer& out, const Documents& documents, const Texts& texts, const TimeAxis& axis, double top) {
    constexpr double least = 2;
    constexpr double height = 24;
    double begin = 0;
    double end = -1;
    const auto put_run = [&] {
        if (end >= begin) put_bar(out, "p", begin, top + 7, end - begin, height - 14);
    };
    for (const Document* const document : documents) {
        if (look_of(*document) != Look::printed || document->trouble != 0) continue;
        const double x = axis.place(document->start);
        const double right = std::max(axis.place(document->end()), x + least);
        if (x > end + 0.5) {
            put_run();
            begin = x;
            end = right;
        }
        end = std::max(end, right);
    }
    put_run();
    for (const Document* const document : documents) {
        const Look look = look_of(*document);
        if (look == Look::printed && document->trouble == 0) continue;
        const double x = axis.place(document->start);
        const double w = std::max(axis.place(document->end()) - x, least + 1);
        const bool tall = look == Look::failed || look == Look::kept_back;
        put_bar(out, class_of(look), x, top + (tall ? 3 : 7), w, height - (tall ? 6 : 14), title_of(*document, texts));
        if (document->held_ms == 0) continue;
        const double held = axis.place(document->start + document->held_ms) - x;
        if (held >= 1) put_bar(out, "h", x, top + 10, std::min(held, w), height - 20, title_of(*document, texts));
    }
}

}  // namespace

void put_timeline(Writer& out, const Report& report, const Documents& documents) {
    if (documents.empty()) return;
    std::map<std::uint64_t, Documents> by_printer;
    for (const Document* const document : documents) {
        const TextId place = document->printer == 0 ? document->address : 0;
        by_printer[static_cast<std::uint64_t>(document->printer) << 32 | place].push_back(document);
    }
    std::vector<std::pair<std::uint64_t, const Documents*>> lanes;
    for (const auto& [key, lane] : by_printer) lanes.emplace_back(key, &lane);
    std::stable_sort(lanes.begin(), lanes.end(),
                     [](const auto& a, const auto& b) { return a.second->size() > b.second->size(); });
    const size_t hidden = lanes.size() > most_lanes ? lanes.size() - most_lanes : 0;
    lanes.resize(lanes.size() - hidden);

    const TimeAxis axis = axis_of(documents, names);
    constexpr double lane_height = 26;
    const double bottom = 8 + lane_height * static_cast<double>(lanes.size());
    out << "<section aria-labelledby=\"timeline\"><h2 id=\"timeline\">Timeline</h2>\n";
    open_picture(out, "timeline-chart", bottom + 26, "Timeline of each printer",
                 counted(documents.size(), "document") + " on " + counted(lanes.size(), "printer") + " from " +
                     stamp_in_words(axis.from) + " to " + stamp_in_words(axis.to) +
                     ". The table of documents has the same in words.");
    put_time_axis(out, axis, 4, bottom);
    for (size_t i = 0; i < lanes.size(); ++i) {
        const double top = 4 + lane_height * static_cast<double>(i);
        const auto printer = static_cast<TextId>(lanes[i].first >> 32);
        const auto address = static_cast<TextId>(lanes[i].first);
        std::string name = printer != 0 ? report.texts[printer] : address != 0 ? report.texts[address] : "(not named)";
        put_line(out, axis.left, top + lane_height, axis.right, top + lane_height);
        put_text(out, axis.left - 10, top + 17, cut(name), " class=\"name\" text-anchor=\"end\"");
        put_lane(out, *lanes[i].second, report.texts, axis, top);
    }
    out << "</svg></div>\n";
    put_legend(out, {{"p", "printed"},
                     {"l", "printed late"},
                     {"h", "held meanwhile"},
                     {"f", "did not come out"},
                     {"k", "refused or dropped"},
                     {"u", "end unknown"}});
    if (hidden != 0)
        out << "<p class=\"quiet\">" << counted(hidden, "further printer") << " with fewer documents.</p>\n";
    out << "</section>\n";
}

// -- Throughput and waiting ------------------------------------------------------------------------------------------

void put_speed(Writer& out, const Report& report) {
    std::vector<const PrinterSums*> printers;
    std::uint64_t most_rate = 1;
    std::uint64_t most_wait = 1;
    const auto wait_of = [](const PrinterSums& sums) {
        return sums.connect.median() + (sums.held_ms + sums.close_ms) / std::max<std::uint64_t>(sums.documents, 1);
    };
    for (const PrinterSums* const sums : report.sums.printers()) {
        if (printers.size() == most_lanes) break;
        printers.push_back(sums);
        most_rate = std::max(most_rate, sums->throughput.p95());
        most_wait = std::max(most_wait, wait_of(*sums));
    }
    if (printers.empty()) return;
    constexpr double row = 24;
    constexpr double head = 26;
    const double room = (width - names - 200) / 2;
    const double second = names + room + 130;
    open_picture(
        out, "speed-chart", head + row * static_cast<double>(printers.size()) + 6,
        "Throughput and waiting of each printer",
        "Left, the median throughput; right, what a document waited on average: connecting, held by a problem of the "
        "device, and for the printer to take the rest and close. The table below has the figures.");
    put_text(out, names, 16, "Throughput, median");
    put_text(out, second, 16, "Waiting of a document, on average");
    for (size_t i = 0; i < printers.size(); ++i) {
        const PrinterSums& sums = *printers[i];
        const double top = head + row * static_cast<double>(i);
        put_text(out, names - 10, top + 15, cut(sums.name), " class=\"name\" text-anchor=\"end\"");
        const double rate = room * static_cast<double>(sums.throughput.median()) / static_cast<double>(most_rate);
        if (sums.throughput.count() != 0) put_bar(out, "p", names, top + 4, std::max(rate, 1.0), row - 10);
        put_text(out, names + rate + 6, top + 15,
                 sums.throughput.count() == 0 ? "-" : host::size_in_words(sums.throughput.median()) + "/s");
        double x = second;
        const std::uint64_t parts[] = {sums.connect.median(), sums.held_ms / std::max<std::uint64_t>(sums.documents, 1),
                                       sums.close_ms / std::max<std::uint64_t>(sums.documents, 1)};
        constexpr const char* looks[] = {"c1", "c2", "c3"};
        for (size_t part = 0; part < 3; ++part) {
            const double w = room * static_cast<double>(parts[part]) / static_cast<double>(most_wait);
            if (w > 0) put_bar(out, looks[part], x, top + 4, w, row - 10, time_in_words(parts[part]));
            x += w;
        }
        put_text(out, x + 6, top + 15, time_in_words(wait_of(sums)));
    }
    out << "</svg></div>\n";
    put_legend(out, {{"c1", "connecting (median)"},
                     {"c2", "held by a problem of the device"},
                     {"c3", "for the printer to take the rest and close"}});
}

}  // namespace tsport::report::html
