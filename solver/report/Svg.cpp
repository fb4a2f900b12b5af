#include "report/Svg.h"

#include <cstdio>
#include <ostream>

namespace gensolver {

namespace {

// The points attribute of a polyline or polygon.
std::string pointList(const std::vector<std::pair<double, double>>& points) {
    std::string s;
    for (const auto& [x, y] : points) {
        if (!s.empty())
            s += ' ';
        s += Svg::number(x) + ',' + Svg::number(y);
    }
    return s;
}

// The tooltip child of an element, empty for no title.
std::string titled(const std::string& title) {
    return title.empty() ? "" : "<title>" + Svg::escape(title) + "</title>";
}

} // namespace

Svg::Svg(std::ostream& out, double width, double height) : out_(out) {
    out_ << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << number(width) << "\" height=\""
         << number(height) << "\" viewBox=\"0 0 " << number(width) << ' ' << number(height)
         << "\" font-family=\"sans-serif\" font-size=\"13\">\n"
         << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
}

void Svg::text(double x, double y, const std::string& content, const std::string& attributes) {
    out_ << "<text x=\"" << number(x) << "\" y=\"" << number(y) << '"'
         << (attributes.empty() ? "" : " ") << attributes << '>' << escape(content) << "</text>\n";
}

void Svg::line(double x1, double y1, double x2, double y2, const std::string& attributes) {
    out_ << "<line x1=\"" << number(x1) << "\" y1=\"" << number(y1) << "\" x2=\"" << number(x2)
         << "\" y2=\"" << number(y2) << "\" " << attributes << "/>\n";
}

void Svg::rect(double x, double y, double width, double height, const std::string& attributes) {
    out_ << "<rect x=\"" << number(x) << "\" y=\"" << number(y) << "\" width=\"" << number(width)
         << "\" height=\"" << number(height) << "\" " << attributes << "/>\n";
}

void Svg::circle(double cx, double cy, double r, const std::string& attributes,
                 const std::string& title) {
    out_ << "<circle cx=\"" << number(cx) << "\" cy=\"" << number(cy) << "\" r=\"" << number(r)
         << "\" " << attributes << '>' << titled(title) << "</circle>\n";
}

void Svg::polyline(const std::vector<std::pair<double, double>>& points,
                   const std::string& attributes) {
    out_ << "<polyline points=\"" << pointList(points) << "\" " << attributes << "/>\n";
}

void Svg::polygon(const std::vector<std::pair<double, double>>& points,
                  const std::string& attributes, const std::string& title) {
    out_ << "<polygon points=\"" << pointList(points) << "\" " << attributes << '>' << titled(title)
         << "</polygon>\n";
}

void Svg::finish() {
    out_ << "</svg>\n";
}

std::string Svg::number(double x) {
    char buf[48];
    std::snprintf(buf, sizeof buf, "%.2f", x);
    return buf;
}

std::string Svg::escape(const std::string& text) {
    std::string out;
    for (const char c : text) {
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

} // namespace gensolver
