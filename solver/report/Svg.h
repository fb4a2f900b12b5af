#pragma once
// Writes the elements of an SVG picture to a stream: coordinates with two decimals,
// text escaped for XML, UTF-8 throughout.

#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

namespace gensolver {

class Svg {
public:
    // Writes the picture's header and a white background; finish() closes it.
    Svg(std::ostream& out, double width, double height);
    Svg(const Svg&) = delete;
    Svg& operator=(const Svg&) = delete;

    // Text at (x, y); `attributes` are written into the element as they are.
    void text(double x, double y, const std::string& content, const std::string& attributes = "");
    void line(double x1, double y1, double x2, double y2, const std::string& attributes);
    void rect(double x, double y, double width, double height, const std::string& attributes);
    // A circle with a tooltip (none when title is empty).
    void circle(double cx, double cy, double r, const std::string& attributes,
                const std::string& title = "");
    void polyline(const std::vector<std::pair<double, double>>& points,
                  const std::string& attributes);
    void polygon(const std::vector<std::pair<double, double>>& points,
                 const std::string& attributes, const std::string& title = "");
    // Closes the picture.
    void finish();

    // A pixel coordinate as written: two decimals.
    static std::string number(double x);
    // Text with <, >, & and " escaped.
    static std::string escape(const std::string& text);

private:
    std::ostream& out_; // not owned: the caller's stream outlives the writer
};

} // namespace gensolver
