#include "check/StudyLiterals.h"

#include <charconv>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <type_traits>

namespace {

// A floating value as the shortest C++ literal that reads back as the same
// value: a float's literal carries the suffix f.
template <class T> std::string floatingLiteral(T v) {
    char buf[64];
    auto r = std::to_chars(buf, buf + sizeof buf, v);
    std::string s(buf, r.ptr);
    if (s.find_first_of(".en") == std::string::npos)
        s += ".0";
    return std::is_same_v<T, float> ? s + "f" : s;
}

std::string integerLiteral(long long v, ValueType t) {
    if (v == LLONG_MIN)
        return "(-9223372036854775807L - 1)";
    if (v == INT_MIN && t == ValueType::Int)
        return "(-2147483647 - 1)";
    std::string s = std::to_string(v) + (t == ValueType::Long ? "L" : "");
    if (t == ValueType::Short)
        s = "static_cast<short>(" + s + ")";
    else if (t == ValueType::Char)
        s = "static_cast<char>(" + s + ")";
    else if (v < 0)
        s = "(" + s + ")";
    return s;
}

void limitsOf(ValueType t, long long& lo, long long& hi) {
    switch (t) {
    case ValueType::Short:
        lo = SHRT_MIN, hi = SHRT_MAX;
        return;
    case ValueType::Int:
        lo = INT_MIN, hi = INT_MAX;
        return;
    case ValueType::Long:
        lo = LONG_MIN, hi = LONG_MAX;
        return;
    default: // char
        lo = -128, hi = 255;
        return;
    }
}

} // namespace

bool StudyLiterals::number(const Literal& lit, double& out) {
    if (lit.kind != TokenKind::Number) {
        diag.error(lit.at, "expected a number, found '" + lit.text + "'");
        return false;
    }
    out = std::strtod(lit.text.c_str(), nullptr);
    if (!std::isfinite(out)) {
        diag.error(lit.at, "number " + lit.text + " is out of range");
        return false;
    }
    return true;
}

bool StudyLiterals::value(const Literal& lit, ValueType t, std::string& out,
                          const std::string& global) {
    const std::string mismatch = "type mismatch: value " +
                                 (lit.kind == TokenKind::Char ? "'" + lit.text + "'" : lit.text) +
                                 " is not " + (t == ValueType::Int ? "an " : "a ") + typeName(t) +
                                 " (the type of '" + global + "')";
    switch (t) {
    case ValueType::Bool:
        if (lit.kind == TokenKind::Name || (lit.kind == TokenKind::Number && lit.isInteger &&
                                            (lit.text == "0" || lit.text == "1"))) {
            out = lit.text == "true" || lit.text == "1" ? "true" : "false";
            return true;
        }
        diag.error(lit.at, mismatch);
        return false;
    case ValueType::Float:
    case ValueType::Double: {
        if (lit.kind != TokenKind::Number) {
            diag.error(lit.at, mismatch);
            return false;
        }
        const double v = t == ValueType::Float ? std::strtof(lit.text.c_str(), nullptr)
                                               : std::strtod(lit.text.c_str(), nullptr);
        if (!std::isfinite(v)) {
            diag.error(lit.at, "value " + lit.text + " is out of the range of a " + typeName(t));
            return false;
        }
        out = t == ValueType::Float ? floatingLiteral(static_cast<float>(v)) : floatingLiteral(v);
        return true;
    }
    default:
        return integerValue(lit, t, out, mismatch);
    }
}

bool StudyLiterals::integerValue(const Literal& lit, ValueType t, std::string& out,
                                 const std::string& mismatch) {
    long long v = 0;
    if (t == ValueType::Char && lit.kind == TokenKind::Char) {
        if (lit.text.size() != 1) {
            diag.error(lit.at, "a character literal holds one character");
            return false;
        }
        v = static_cast<unsigned char>(lit.text[0]);
    } else if (lit.kind == TokenKind::Number && lit.isInteger) {
        const char* b = lit.text.c_str();
        auto r = std::from_chars(b, b + lit.text.size(), v);
        if (r.ec != std::errc()) {
            diag.error(lit.at, "value " + lit.text + " is out of the range of a " + typeName(t));
            return false;
        }
    } else {
        diag.error(lit.at, mismatch);
        return false;
    }
    long long lo = 0, hi = 0;
    limitsOf(t, lo, hi);
    if (v < lo || v > hi) {
        diag.error(lit.at, "value " + lit.text + " is out of the range of a " + typeName(t));
        return false;
    }
    out = integerLiteral(v, t);
    return true;
}

bool StudyLiterals::range(const std::vector<Literal>& v, ValueType t, std::vector<std::string>& out,
                          const std::string& global) {
    if (t == ValueType::Bool) {
        diag.error(v[0].at, "a range needs a numeric type; '" + global + "' is a bool");
        return false;
    }
    std::string ignored;
    for (const Literal& l : v)
        if (!value(l, t, ignored, global))
            return false;
    double from = 0, to = 0, step = 1;
    if (v[0].kind == TokenKind::Char || v[1].kind == TokenKind::Char ||
        (v.size() > 2 && v[2].kind == TokenKind::Char)) {
        diag.error(v[0].at, "a range takes numbers, not characters");
        return false;
    }
    number(v[0], from);
    number(v[1], to);
    if (v.size() > 2)
        number(v[2], step);
    if (step == 0) {
        diag.error(v[2].at, "the step of a range must not be 0");
        return false;
    }
    const double n = std::round((to - from) / step);
    if (!(n >= 0)) {
        diag.error(v[0].at, "the range " + v[0].text + " .. " + v[1].text +
                                " is empty: the step goes the other way");
        return false;
    }
    if (n + 1 > maxExperiments) {
        diag.error(v[0].at,
                   "the range has more than " + std::to_string(maxExperiments) + " values");
        return false;
    }
    const int count = static_cast<int>(n) + 1;
    if (t == ValueType::Double) {
        double x = from;
        for (int k = 0; k < count; ++k, x += step)
            out.push_back(floatingLiteral(x));
    } else if (t == ValueType::Float) {
        float x = static_cast<float>(from);
        const float s = static_cast<float>(step);
        for (int k = 0; k < count; ++k, x += s)
            out.push_back(floatingLiteral(x));
    } else {
        return integerRange(v, t, count, out);
    }
    return true;
}

bool StudyLiterals::integerRange(const std::vector<Literal>& v, ValueType t, int count,
                                 std::vector<std::string>& out) {
    long long lo = 0, hi = 0;
    limitsOf(t, lo, hi);
    long long x = std::strtoll(v[0].text.c_str(), nullptr, 10);
    const long long s = v.size() > 2 ? std::strtoll(v[2].text.c_str(), nullptr, 10) : 1;
    for (int k = 0; k < count; ++k) {
        if (x < lo || x > hi) {
            diag.error(v[1].at, "the range leaves the range of a " + std::string(typeName(t)));
            return false;
        }
        out.push_back(integerLiteral(x, t));
        if (k + 1 < count && __builtin_add_overflow(x, s, &x)) {
            diag.error(v[1].at, "the range overflows");
            return false;
        }
    }
    return true;
}
