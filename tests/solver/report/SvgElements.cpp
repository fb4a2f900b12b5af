#include "SvgElements.h"

#include <cmath>
#include <cstdlib>
#include <stdexcept>

namespace plottest {

namespace {

std::string unescape(const std::string& s) {
    std::string out;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i] != '&') {
            out += s[i];
            continue;
        }
        const std::size_t end = s.find(';', i);
        const std::string entity = s.substr(i + 1, end - i - 1);
        out += entity == "lt" ? "<" : entity == "gt" ? ">" : entity == "amp" ? "&" : "\"";
        i = end;
    }
    return out;
}

// A whole number text read by strtod, NaN unless all of it is a number.
double wholeNumber(const std::string& s) {
    if (s.empty())
        return NAN;
    char* end = nullptr;
    const double v = std::strtod(s.c_str(), &end);
    return *end == '\0' ? v : NAN;
}

} // namespace

double Element::number(const std::string& attribute) const {
    const auto it = attributes.find(attribute);
    if (it == attributes.end())
        throw std::runtime_error("no attribute " + attribute + " on <" + tag + ">");
    return wholeNumber(it->second);
}

bool Element::hasClass(const std::string& cls) const {
    const auto it = attributes.find("class");
    return it != attributes.end() && it->second == cls;
}

std::vector<Element> parseSvg(const std::string& svg) {
    std::vector<Element> out;
    for (std::size_t at = svg.find('<'); at != std::string::npos; at = svg.find('<', at + 1)) {
        if (svg[at + 1] == '/' || svg[at + 1] == '?')
            continue;
        const std::size_t close = svg.find('>', at);
        const std::string body = svg.substr(at + 1, close - at - 1);
        Element e;
        std::size_t i = body.find_first_of(" /");
        e.tag = body.substr(0, i);
        while (i != std::string::npos && i < body.size()) {
            const std::size_t eq = body.find("=\"", i);
            if (eq == std::string::npos)
                break;
            const std::size_t nameStart = body.find_last_of(' ', eq) + 1;
            const std::size_t valueEnd = body.find('"', eq + 2);
            e.attributes[body.substr(nameStart, eq - nameStart)] =
                unescape(body.substr(eq + 2, valueEnd - eq - 2));
            i = valueEnd + 1;
        }
        if (e.tag == "text" || e.tag == "title")
            e.content = unescape(svg.substr(close + 1, svg.find('<', close) - close - 1));
        out.push_back(std::move(e));
    }
    return out;
}

std::vector<Element> select(const std::vector<Element>& all, const std::string& tag,
                            const std::string& cls) {
    std::vector<Element> out;
    for (const Element& e : all)
        if (e.tag == tag && (cls.empty() || e.hasClass(cls)))
            out.push_back(e);
    return out;
}

double labelValue(const std::string& label) {
    for (const std::string sign : {" \xe2\x88\x92 ", " + "}) {
        const std::size_t at = label.find(sign);
        if (at != std::string::npos) {
            const double base = wholeNumber(label.substr(0, at));
            const double offset = wholeNumber(label.substr(at + sign.size()));
            return sign == " + " ? base + offset : base - offset;
        }
    }
    return wholeNumber(label);
}

} // namespace plottest

#include <gtest/gtest.h>

namespace plottest {

double AxisMap::pixel(double value) const {
    return offset + scale * (logarithmic ? std::log10(value) : value);
}

AxisMap axisMap(const std::vector<Element>& all, const std::string& axis, bool logarithmic) {
    const std::vector<Element> lines = select(all, "line", axis + "tick");
    const std::vector<Element> labels = select(all, "text", axis + "label");
    EXPECT_EQ(lines.size(), labels.size());
    const std::string at = axis == "x" ? "x1" : "y1";
    // Ticks of the first panel only: the labels repeat from the second panel on.
    std::vector<std::pair<double, double>> ticks; // (f(value), pixel)
    for (std::size_t i = 0; i < lines.size() && i < labels.size(); ++i) {
        const double v = labelValue(labels[i].content);
        if (!ticks.empty() && axis == "y" && lines[i].number(at) > lines[i - 1].number(at))
            break;
        if (!ticks.empty() && axis == "x" && lines[i].number(at) < lines[i - 1].number(at))
            break;
        ticks.emplace_back(logarithmic ? std::log10(v) : v, lines[i].number(at));
    }
    AxisMap map;
    map.logarithmic = logarithmic;
    if (ticks.size() < 2) {
        ADD_FAILURE() << "fewer than two " << axis << " ticks";
        return map;
    }
    const auto& [f0, p0] = ticks.front();
    const auto& [f1, p1] = ticks.back();
    map.scale = (p1 - p0) / (f1 - f0);
    map.offset = p0 - map.scale * f0;
    for (const auto& [f, p] : ticks)
        EXPECT_NEAR(map.offset + map.scale * f, p, 0.03) << axis << " tick at " << f;
    return map;
}

} // namespace plottest
