#pragma once
// One axis of a plot: a linear or base-10 logarithmic map from data values to a pixel
// range, with ticks whose labels are distinct and read back as the tick values. A
// narrow range far from zero (reliabilities within 1e-6 of 1) is labelled against a
// round reference, "1 − 3e-6", so no label needs more than six significant digits.

#include <string>
#include <vector>

namespace gensolver {

// One tick: its data value and the text written beside it.
struct Tick {
    double value = 0.0;
    std::string label;
};

class Axis {
public:
    // An axis over the data range [lo, hi] drawn from pixel `from` (at lo) to pixel `to`
    // (at hi). The range is widened a little so that no value sits on the frame, and to a
    // usable width when lo == hi; a logarithmic axis needs lo > 0.
    Axis(double lo, double hi, bool logarithmic, double from, double to);
    // An axis over the values it can draw (finite, and positive when logarithmic); over
    // [0, 1] (linear) or [0.1, 1] (logarithmic) when there are none.
    static Axis over(const std::vector<double>& values, bool logarithmic, double from, double to);

    // The pixel coordinate of a data value (a logarithmic axis needs value > 0).
    double position(double value) const;
    // Whether a data value lies within the axis's range (and is drawable on it).
    bool contains(double value) const;
    // The nearest data value the axis can draw: value clamped into the range.
    double clamp(double value) const;

    double lo() const { return lo_; }
    double hi() const { return hi_; }
    bool logarithmic() const { return log_; }
    double from() const { return from_; }
    double to() const { return to_; }
    const std::vector<Tick>& ticks() const { return ticks_; }

private:
    double lo_, hi_;          // the drawn data range
    bool log_;                // base-10 logarithmic map
    double from_, to_;        // pixel coordinates of lo_ and hi_
    std::vector<Tick> ticks_; // in increasing order of value
};

// Labels for increasing values that are all distinct and each within `tolerance` of its
// value when read back, with the fewest significant digits that achieve both.
std::vector<std::string> tickLabels(const std::vector<double>& values, double tolerance);

} // namespace gensolver
