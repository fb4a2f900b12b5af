#include "report/Axis.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <set>

namespace gensolver {

namespace {

// At most this many significant digits in a label before the axis switches to labels
// relative to a round reference value.
constexpr int kMaxDigits = 6;
// Ticks wanted on a linear axis.
constexpr double kTicks = 5.0;
// "−", the minus sign of offset labels.
const char* const kMinus = "\xe2\x88\x92";

// x with `digits` significant digits: positional for exponents -4..5, otherwise
// 1.5e-6 style (no "+", no leading zeros in the exponent).
std::string format(double x, int digits) {
    if (x == 0.0)
        return "0";
    char buf[48];
    std::snprintf(buf, sizeof buf, "%.*e", digits - 1, x);
    const int exponent = std::atoi(std::strchr(buf, 'e') + 1);
    if (exponent >= -4 && exponent <= 5) {
        std::snprintf(buf, sizeof buf, "%.*f", std::max(0, digits - 1 - exponent), x);
        std::string s = buf;
        if (s.find('.') != std::string::npos) {
            s.erase(s.find_last_not_of('0') + 1);
            if (s.back() == '.')
                s.pop_back();
        }
        return s;
    }
    std::string s = buf;
    const std::size_t e = s.find('e');
    std::string mantissa = s.substr(0, e);
    if (mantissa.find('.') != std::string::npos) {
        mantissa.erase(mantissa.find_last_not_of('0') + 1);
        if (mantissa.back() == '.')
            mantissa.pop_back();
    }
    return mantissa + "e" + std::to_string(exponent);
}

// The fewest significant digits (1 to 17) with which all values format distinctly and
// each reads back within tolerance.
int digitsFor(const std::vector<double>& values, double tolerance) {
    for (int digits = 1; digits < 17; ++digits) {
        std::set<std::string> seen;
        bool ok = true;
        for (const double v : values) {
            const std::string s = format(v, digits);
            if (!seen.insert(s).second ||
                std::fabs(std::strtod(s.c_str(), nullptr) - v) > tolerance) {
                ok = false;
                break;
            }
        }
        if (ok)
            return digits;
    }
    return 17;
}

// 1, 2 or 5 times a power of ten, the smallest such at least raw.
double niceStep(double raw) {
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    for (const double f : {1.0, 2.0, 5.0})
        if (raw <= f * power * (1 + 1e-12))
            return f * power;
    return 10.0 * power;
}

// The multiples of step within [lo, hi], each computed as k * step (no accumulated sums).
std::vector<double> multiples(double lo, double hi, double step) {
    std::vector<double> out;
    const double first = std::ceil(lo / step - 1e-9), last = std::floor(hi / step + 1e-9);
    for (double k = first; k <= last; ++k)
        out.push_back(k == 0.0 ? 0.0 : k * step);
    return out;
}

// Linear ticks with their labels: positional labels when six significant digits tell
// them apart, otherwise offsets from a round reference near the range.
std::vector<Tick> linearTicks(double lo, double hi) {
    const double step = niceStep((hi - lo) / kTicks);
    const std::vector<double> values = multiples(lo, hi, step);
    const double tolerance = step * 1e-6;
    std::vector<Tick> ticks;
    const int digits = digitsFor(values, tolerance);
    if (digits <= kMaxDigits) {
        for (const double v : values)
            ticks.push_back({v, format(v, digits)});
        return ticks;
    }
    // The reference: the middle of the range rounded to a power of ten ten times the
    // range's width or more, so every offset is smaller than the reference's last digit.
    const double unit = std::pow(10.0, std::ceil(std::log10((hi - lo) * 10.0)));
    const double reference = std::round((lo + hi) / 2.0 / unit) * unit;
    std::vector<double> offsets;
    for (const double v : values)
        offsets.push_back(std::fabs(v - reference));
    std::vector<double> sorted = offsets;
    std::sort(sorted.begin(), sorted.end());
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    const int offsetDigits = digitsFor(sorted, tolerance);
    const std::string base = format(reference, digitsFor({reference}, unit * 1e-6));
    for (std::size_t i = 0; i < values.size(); ++i) {
        const double d = values[i] - reference;
        std::string label = base;
        if (std::fabs(d) > tolerance)
            label +=
                std::string(" ") + (d < 0 ? kMinus : "+") + " " + format(offsets[i], offsetDigits);
        ticks.push_back({values[i], label});
    }
    return ticks;
}

// Logarithmic ticks: powers of ten (every second or fifth one on a wide range), with 2
// and 5 times them on a narrow one, and linear ticks within a single decade.
std::vector<Tick> logTicks(double lo, double hi) {
    const int first = static_cast<int>(std::ceil(std::log10(lo) - 1e-9));
    const int last = static_cast<int>(std::floor(std::log10(hi) + 1e-9));
    std::vector<double> values;
    const int decades = last - first + 1;
    if (decades >= 3) {
        const int every = decades <= 8 ? 1 : decades <= 16 ? 2 : decades <= 40 ? 5 : 10;
        for (int k = first; k <= last; ++k)
            if (k % every == 0)
                values.push_back(std::pow(10.0, k));
    } else {
        for (int k = first - 1; k <= last; ++k)
            for (const double f : {1.0, 2.0, 5.0}) {
                const double v = f * std::pow(10.0, k);
                if (v >= lo * (1 - 1e-12) && v <= hi * (1 + 1e-12))
                    values.push_back(v);
            }
    }
    if (values.size() < 3)
        return linearTicks(lo, hi);
    std::vector<Tick> ticks;
    double tolerance = std::numeric_limits<double>::max();
    for (const double v : values)
        tolerance = std::min(tolerance, v * 1e-6);
    const int digits = digitsFor(values, tolerance);
    for (const double v : values)
        ticks.push_back({v, format(v, digits)});
    return ticks;
}

} // namespace

std::vector<std::string> tickLabels(const std::vector<double>& values, double tolerance) {
    const int digits = digitsFor(values, tolerance);
    std::vector<std::string> out;
    for (const double v : values)
        out.push_back(format(v, digits));
    return out;
}

Axis::Axis(double lo, double hi, bool logarithmic, double from, double to)
    : lo_(lo), hi_(hi), log_(logarithmic), from_(from), to_(to) {
    if (hi_ < lo_)
        std::swap(lo_, hi_);
    if (log_) {
        // Widen by 4% of the decades spanned on each side, or to a factor of 2 either
        // way around a single value.
        const double decades = std::log10(hi_ / lo_);
        const double pad = decades > 0.0 ? std::pow(10.0, decades * 0.04) : 2.0;
        lo_ /= pad;
        hi_ *= pad;
    } else {
        // The width is at least a billionth of the magnitude (equal values stay
        // readable) and grows by 5% on each side.
        const double magnitude = std::max(std::fabs(lo_), std::fabs(hi_));
        const double least = magnitude > 0.0 ? magnitude * 1e-9 : 1.0;
        if (hi_ - lo_ < least) {
            const double mid = (lo_ + hi_) / 2.0;
            lo_ = mid - least / 2.0;
            hi_ = mid + least / 2.0;
        }
        const double pad = (hi_ - lo_) * 0.05;
        lo_ -= pad;
        hi_ += pad;
    }
    ticks_ = log_ ? logTicks(lo_, hi_) : linearTicks(lo_, hi_);
}

Axis Axis::over(const std::vector<double>& values, bool logarithmic, double from, double to) {
    double lo = 0.0, hi = 0.0;
    bool any = false;
    for (const double v : values) {
        if (!std::isfinite(v) || (logarithmic && !(v > 0.0)))
            continue;
        lo = any ? std::min(lo, v) : v;
        hi = any ? std::max(hi, v) : v;
        any = true;
    }
    if (!any) {
        lo = logarithmic ? 0.1 : 0.0;
        hi = 1.0;
    }
    return Axis(lo, hi, logarithmic, from, to);
}

double Axis::position(double value) const {
    const double f =
        log_ ? std::log10(value / lo_) / std::log10(hi_ / lo_) : (value - lo_) / (hi_ - lo_);
    return from_ + f * (to_ - from_);
}

bool Axis::contains(double value) const {
    return value >= lo_ && value <= hi_;
}

double Axis::clamp(double value) const {
    return std::clamp(value, lo_, hi_);
}

} // namespace gensolver
