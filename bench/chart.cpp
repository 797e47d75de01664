#include "bench/chart.h"

#include <algorithm>
#include <cmath>
#include <fstream>

#include "host/text.h"

namespace bench {
namespace {

constexpr double kWidth = 720;
constexpr double kHeight = 400;
constexpr double kLeft = 60;
constexpr double kRight = 560;
constexpr double kTop = 40;
constexpr double kBottom = 350;

struct Axes {
    double least_log;
    double most_log;
    double most;

    double x(double bytes) const {
        return kLeft + (std::log2(bytes) - least_log) / std::max(most_log - least_log, 1.0) * (kRight - kLeft);
    }
    double y(double rate) const { return kBottom - rate / most * (kBottom - kTop); }
};

Axes axes_of(const std::vector<Series>& all) {
    Axes axes = {1e9, 0, 1};
    for (const Series& series : all) {
        for (const auto& [bytes, rate] : series.points) {
            if (series.points.size() > 1) {
                axes.least_log = std::min(axes.least_log, std::log2(bytes));
                axes.most_log = std::max(axes.most_log, std::log2(bytes));
            }
            axes.most = std::max(axes.most, std::ceil(rate * 1.05));
        }
    }
    return axes;
}

void line(std::ostream& svg, double x1, double y1, double x2, double y2, const std::string& style) {
    svg << "<line x1=\"" << x1 << "\" y1=\"" << y1 << "\" x2=\"" << x2 << "\" y2=\"" << y2 << "\" " << style << "/>\n";
}

void text(std::ostream& svg, double x, double y, const char* anchor, const std::string& label,
          const std::string& colour = "#333") {
    svg << "<text x=\"" << x << "\" y=\"" << y << "\" text-anchor=\"" << anchor << "\" fill=\"" << colour << "\">"
        << label << "</text>\n";
}

void draw_grid(std::ostream& svg, const Axes& axes) {
    const double step = std::max(1.0, std::ceil(axes.most / 8));
    for (double rate = 0; rate <= axes.most; rate += step) {
        line(svg, kLeft, axes.y(rate), kRight, axes.y(rate), "stroke=\"#ddd\"");
        text(svg, kLeft - 8, axes.y(rate) + 4, "end", std::to_string(static_cast<int>(rate)));
    }
    for (double power = axes.least_log; power <= axes.most_log; power += 2) {
        const auto bytes = static_cast<std::uint64_t>(std::exp2(power));
        text(svg, axes.x(std::exp2(power)), kBottom + 20, "middle", host::size_to_text(bytes));
    }
    text(svg, kLeft, kTop - 16, "start", "1 GiB document: GiB/s over the size of writes");
}

void draw(std::ostream& svg, const Axes& axes, const Series& series) {
    if (series.points.empty()) return;
    const double label_y = axes.y(series.points.back().second) + 4;
    if (series.points.size() == 1) {
        line(svg, kLeft, label_y - 4, kRight, label_y - 4, "stroke=\"" + series.colour + "\" stroke-dasharray=\"6 4\"");
    } else {
        svg << "<polyline fill=\"none\" stroke-width=\"2\" stroke=\"" << series.colour << "\" points=\"";
        for (const auto& [bytes, rate] : series.points) svg << axes.x(bytes) << "," << axes.y(rate) << " ";
        svg << "\"/>\n";
    }
}

}  // namespace

bool write_chart(const std::string& path, const std::vector<Series>& all) {
    const Axes axes = axes_of(all);
    std::ofstream svg(path);
    svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kWidth << "\" height=\"" << kHeight
        << "\" font-family=\"sans-serif\" font-size=\"12\">\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    draw_grid(svg, axes);
    double label_y = kTop + 10;
    for (const Series& series : all) {
        draw(svg, axes, series);
        if (!series.points.empty()) text(svg, kRight + 14, label_y, "start", series.name, series.colour);
        label_y += 18;
    }
    svg << "</svg>\n";
    return static_cast<bool>(svg.flush());
}

}  // namespace bench
