#pragma once
// A reader of the SVG text the plots write, for tests: every element with its
// attributes and, for <text> and <title>, its content; tick labels read back as numbers.

#include <map>
#include <string>
#include <vector>

namespace plottest {

// One element: its tag, attributes (unescaped) and text content.
struct Element {
    std::string tag;
    std::map<std::string, std::string> attributes;
    std::string content;
    double number(const std::string& attribute) const;
    bool hasClass(const std::string& cls) const;
};

// The elements of an SVG text in document order.
std::vector<Element> parseSvg(const std::string& svg);

// The elements with the given tag and class.
std::vector<Element> select(const std::vector<Element>& all, const std::string& tag,
                            const std::string& cls);

// The value a tick label stands for: a plain number ("0.25", "1e-6") or a reference and
// an offset ("1 − 3e-6", "1000 + 2"); NaN for anything else.
double labelValue(const std::string& label);

} // namespace plottest

namespace plottest {

// The map of one axis recovered from its ticks: pixel = offset + scale × f(value), f the
// identity or log10. Tick lines and labels of class <axis>tick / <axis>label ("x", "y").
struct AxisMap {
    double offset = 0.0, scale = 0.0;
    bool logarithmic = false;
    double pixel(double value) const;
};

// The map of the first panel's axis; checks (through gtest) that every tick of that panel
// lies on it to within the SVG's rounding.
AxisMap axisMap(const std::vector<Element>& all, const std::string& axis, bool logarithmic);

} // namespace plottest
