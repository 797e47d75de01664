#include <algorithm>
#include <cmath>
#include <fstream>

#include "bench/bench.h"
#include "host/text.h"

namespace bench {
namespace {

constexpr double kLeft = 60;
constexpr double kRight = 560;
constexpr double kTop = 40;
constexpr double kBottom = 350;
// Writes of 4 KiB to 1 MiB.
constexpr double kLeastLog = 12;
constexpr double kMostLog = 20;

double x_of(double bytes) {
    return kLeft + (std::log2(bytes) - kLeastLog) / (kMostLog - kLeastLog) * (kRight - kLeft);
}

void line(std::ostream& svg, double y, const std::string& style) {
    svg << "<line x1=\"" << kLeft << "\" y1=\"" << y << "\" x2=\"" << kRight << "\" y2=\"" << y << "\" " << style
        << "/>\n";
}

void text(std::ostream& svg, double x, double y, const char* anchor, const std::string& label,
          const std::string& colour = "#333") {
    svg << "<text x=\"" << x << "\" y=\"" << y << "\" text-anchor=\"" << anchor << "\" fill=\"" << colour << "\">"
        << label << "</text>\n";
}

}  // namespace

bool write_chart(const std::string& path, const std::vector<Series>& all) {
    double most = 1;
    for (const Series& series : all) {
        for (const auto& [bytes, rate] : series.points) most = std::max(most, std::ceil(rate * 1.05));
    }
    const auto y_of = [most](double rate) { return kBottom - rate / most * (kBottom - kTop); };
    std::ofstream svg(path);
    svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"720\" height=\"400\" font-family=\"sans-serif\" "
           "font-size=\"12\">\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    text(svg, kLeft, kTop - 16, "start", "Large documents: GiB/s over the size of writes");
    for (double rate = 0; rate <= most; rate += std::max(1.0, std::ceil(most / 8))) {
        line(svg, y_of(rate), "stroke=\"#ddd\"");
        text(svg, kLeft - 8, y_of(rate) + 4, "end", std::to_string(static_cast<int>(rate)));
    }
    for (double power = kLeastLog; power <= kMostLog; power += 2) {
        const double bytes = std::exp2(power);
        text(svg, x_of(bytes), kBottom + 20, "middle", host::size_to_text(static_cast<std::uint64_t>(bytes)));
    }
    double label_y = kTop + 10;
    for (const Series& series : all) {
        if (series.points.size() == 1) {
            line(svg, y_of(series.points[0].second), "stroke=\"" + series.colour + "\" stroke-dasharray=\"6 4\"");
        } else {
            svg << "<polyline fill=\"none\" stroke-width=\"2\" stroke=\"" << series.colour << "\" points=\"";
            for (const auto& [bytes, rate] : series.points) svg << x_of(bytes) << "," << y_of(rate) << " ";
            svg << "\"/>\n";
        }
        text(svg, kRight + 14, label_y, "start", series.name, series.colour);
        label_y += 18;
    }
    svg << "</svg>\n";
    return static_cast<bool>(svg.flush());
}

}  // namespace bench
