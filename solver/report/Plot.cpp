#include "report/Plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace gensolver {

namespace {

constexpr double kWidth = 860, kPanel = 260;
constexpr double kLeft = 90, kRight = 230, kTop = 50, kBottom = 10;
const char* const kColours[] = {"#1f77b4", "#d62728", "#2ca02c", "#ff7f0e", "#9467bd",
                                "#8c564b", "#e377c2", "#7f7f7f", "#bcbd22", "#17becf"};

std::string num(double x) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.2f", x);
    return buf;
}

std::string label(double x) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.6g", x);
    return buf;
}

std::string escape(const std::string& s) {
    std::string out;
    for (const char c : s) {
        switch (c) {
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '&':
            out += "&amp;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

// Tick positions at a 1, 2 or 5 times a power of ten spacing, about five of them.
std::vector<double> ticks(double lo, double hi) {
    const double raw = (hi - lo) / 5.0;
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    double step = power;
    for (const double f : {1.0, 2.0, 5.0, 10.0})
        if (raw <= f * power) {
            step = f * power;
            break;
        }
    std::vector<double> out;
    for (double t = std::ceil(lo / step) * step; t <= hi + step * 1e-9; t += step)
        out.push_back(std::fabs(t) < step * 1e-9 ? 0.0 : t);
    return out;
}

struct Series {
    std::vector<std::pair<double, double>> points;
    std::vector<double> longRun;
};

} // namespace

void writePlot(std::ostream& out, const Solution& s, const PlotOptions& /*options*/) {
    std::map<std::string, Series> series;
    std::vector<std::string> names;
    double xhi = 0.0;
    bool anyX = false;
    for (const Result& r : s.results) {
        if (r.untilAbsorption)
            continue; // no time axis: accumulated until a random time
        if (!series.count(r.variable))
            names.push_back(r.variable);
        Series& se = series[r.variable];
        if (r.longRun || r.type == RewardType::SteadyState) {
            se.longRun.push_back(r.value);
        } else {
            const double x = r.type == RewardType::InstantOfTime ? r.start : r.stop;
            se.points.emplace_back(x, r.value);
            xhi = anyX ? std::max(xhi, x) : x;
            anyX = true;
        }
    }
    const double xlo = 0.0;
    if (!anyX || xhi <= xlo)
        xhi = xlo + 1.0;
    const double panels = static_cast<double>(std::max<std::size_t>(names.size(), 1));
    const double height = kTop + panels * kPanel + kBottom;
    const double pw = kWidth - kLeft - kRight;
    auto px = [&](double x) { return kLeft + (x - xlo) / (xhi - xlo) * pw; };

    out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kWidth << "\" height=\""
        << height << "\" viewBox=\"0 0 " << kWidth << ' ' << height
        << "\" font-family=\"sans-serif\" font-size=\"13\">\n"
        << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
        << "<text x=\"" << num(kLeft + pw / 2) << "\" y=\"28\" text-anchor=\"middle\" "
        << "font-size=\"16\">" << escape(s.stem) << ": performance variables</text>\n";
    // One panel per variable, each with its own value axis, one above the other
    // over the same time axis.
    for (std::size_t i = 0; i < names.size(); ++i) {
        const char* colour = kColours[i % (sizeof kColours / sizeof kColours[0])];
        Series& se = series[names[i]];
        std::sort(se.points.begin(), se.points.end());
        double ylo = 0.0, yhi = 0.0;
        bool anyY = false;
        auto include = [&](double y) {
            ylo = anyY ? std::min(ylo, y) : y;
            yhi = anyY ? std::max(yhi, y) : y;
            anyY = true;
        };
        for (const auto& p : se.points)
            include(p.second);
        for (const double y : se.longRun)
            include(y);
        const double spread = yhi - ylo;
        const double magnitude = std::max(std::fabs(yhi), std::fabs(ylo));
        if (spread <= 1e-9 * magnitude || spread == 0.0) {
            const double pad = magnitude > 0.0 ? magnitude * 0.05 : 1.0;
            ylo -= pad;
            yhi += pad;
        } else {
            ylo -= spread * 0.08;
            yhi += spread * 0.08;
        }
        const double top = kTop + static_cast<double>(i) * kPanel + 24;
        const double ph = kPanel - 70;
        auto py = [&](double y) { return top + (yhi - y) / (yhi - ylo) * ph; };

        out << "<text x=\"" << num(kLeft) << "\" y=\"" << num(top - 8)
            << "\" font-weight=\"bold\" fill=\"" << colour << "\">" << escape(names[i])
            << "</text>\n";
        for (const double t : ticks(xlo, xhi))
            out << "<line x1=\"" << num(px(t)) << "\" y1=\"" << num(top) << "\" x2=\"" << num(px(t))
                << "\" y2=\"" << num(top + ph) << "\" stroke=\"#e5e5e5\"/>\n"
                << "<line x1=\"" << num(px(t)) << "\" y1=\"" << num(top + ph) << "\" x2=\""
                << num(px(t)) << "\" y2=\"" << num(top + ph + 6) << "\" stroke=\"black\"/>\n"
                << "<text x=\"" << num(px(t)) << "\" y=\"" << num(top + ph + 20)
                << "\" text-anchor=\"middle\">" << label(t) << "</text>\n";
        for (const double t : ticks(ylo, yhi))
            out << "<line x1=\"" << num(kLeft) << "\" y1=\"" << num(py(t)) << "\" x2=\""
                << num(kLeft + pw) << "\" y2=\"" << num(py(t)) << "\" stroke=\"#e5e5e5\"/>\n"
                << "<line x1=\"" << num(kLeft - 6) << "\" y1=\"" << num(py(t)) << "\" x2=\""
                << num(kLeft) << "\" y2=\"" << num(py(t)) << "\" stroke=\"black\"/>\n"
                << "<text x=\"" << num(kLeft - 10) << "\" y=\"" << num(py(t) + 4)
                << "\" text-anchor=\"end\">" << label(t) << "</text>\n";
        out << "<rect x=\"" << num(kLeft) << "\" y=\"" << num(top) << "\" width=\"" << num(pw)
            << "\" height=\"" << num(ph) << "\" fill=\"none\" stroke=\"black\"/>\n"
            << "<text x=\"" << num(kLeft + pw / 2) << "\" y=\"" << num(top + ph + 40)
            << "\" text-anchor=\"middle\">time</text>\n"
            << "<text transform=\"translate(22 " << num(top + ph / 2)
            << ") rotate(-90)\" text-anchor=\"middle\">" << escape(names[i]) << "</text>\n";
        if (se.points.size() > 1) {
            out << "<polyline fill=\"none\" stroke=\"" << colour
                << "\" stroke-width=\"2\" points=\"";
            for (const auto& [x, y] : se.points)
                out << num(px(x)) << ',' << num(py(y)) << ' ';
            out << "\"/>\n";
        }
        for (const auto& [x, y] : se.points)
            out << "<circle cx=\"" << num(px(x)) << "\" cy=\"" << num(py(y)) << "\" r=\"4\" fill=\""
                << colour << "\"><title>" << escape(names[i]) << " at " << label(x) << ": "
                << label(y) << "</title></circle>\n";
        for (const double y : se.longRun)
            out << "<line x1=\"" << num(kLeft) << "\" y1=\"" << num(py(y)) << "\" x2=\""
                << num(kLeft + pw) << "\" y2=\"" << num(py(y)) << "\" stroke=\"" << colour
                << "\" stroke-width=\"1.5\" stroke-dasharray=\"6 4\"><title>" << escape(names[i])
                << " long-run: " << label(y) << "</title></line>\n";
        // Legend beside the panel.
        const double lx = kLeft + pw + 20;
        double ly = top + 10;
        if (!se.points.empty()) {
            out << "<line x1=\"" << num(lx) << "\" y1=\"" << num(ly) << "\" x2=\"" << num(lx + 24)
                << "\" y2=\"" << num(ly) << "\" stroke=\"" << colour << "\" stroke-width=\"2\"/>\n"
                << "<circle cx=\"" << num(lx + 12) << "\" cy=\"" << num(ly) << "\" r=\"4\" fill=\""
                << colour << "\"/>\n"
                << "<text x=\"" << num(lx + 32) << "\" y=\"" << num(ly + 4) << "\">"
                << escape(names[i]) << " at time t</text>\n";
            ly += 22;
        }
        if (!se.longRun.empty())
            out << "<line x1=\"" << num(lx) << "\" y1=\"" << num(ly) << "\" x2=\"" << num(lx + 24)
                << "\" y2=\"" << num(ly) << "\" stroke=\"" << colour
                << "\" stroke-width=\"1.5\" stroke-dasharray=\"6 4\"/>\n"
                << "<text x=\"" << num(lx + 32) << "\" y=\"" << num(ly + 4)
                << "\">long run</text>\n";
    }
    out << "</svg>\n";
}

} // namespace gensolver
