#include "read/VarReader.h"

#include "read/LineReader.h"

#include <algorithm>
#include <cmath>

namespace gensolver {

std::vector<Rewards> readVar(const std::string& path, const std::vector<Variable>& variables,
                             std::uint32_t states) {
    LineReader in(path);
    std::string_view line;
    for (const Variable& v : variables) {
        if (!in.next(line))
            in.fail("the file ends in the header where variable \"" + v.name +
                    "\" was expected (truncated)");
        if (trim(line) != v.name)
            in.fail("header names " + quote(trim(line)) + " where the .pvtype file has \"" +
                    v.name + "\"");
    }
    std::vector<Rewards> rewards(variables.size());
    // The vectors grow with the records read, so a count that the file does not
    // back up fails on the missing records, not on a huge allocation.
    const std::size_t expected = std::min<std::size_t>(states, std::size_t{1} << 16);
    for (Rewards& r : rewards) {
        r.rate.reserve(expected);
        r.impulse.reserve(expected);
    }
    auto value = [&](const char* what, std::uint32_t state) {
        if (!in.next(line))
            in.fail(std::string("the file ends inside the record of state ") +
                    std::to_string(state) + " of " + std::to_string(states) + " (truncated)");
        double x = 0.0;
        if (!parseDouble(line, x))
            in.fail(std::string(what) + " of state " + std::to_string(state) +
                    " is not a number: " + quote(line));
        if (!std::isfinite(x))
            in.fail(std::string(what) + " of state " + std::to_string(state) +
                    " is not finite: " + quote(line));
        return x;
    };
    for (std::uint32_t s = 1; s <= states; ++s) {
        if (!in.next(line))
            in.fail("the file ends after " + std::to_string(s - 1) + " of " +
                    std::to_string(states) +
                    " records (truncated, or the .arm file is not "
                    "from the same run)");
        std::uint64_t number = 0;
        if (!parseUnsigned(line, number))
            in.fail("expected the state number " + std::to_string(s) + ", found " + quote(line));
        if (number != s)
            in.fail("record of state " + std::to_string(number) + " where state " +
                    std::to_string(s) + " was expected");
        for (Rewards& r : rewards) {
            r.impulse.push_back(value("impulse reward", s));
            r.rate.push_back(value("rate reward", s));
            if (r.impulse.back() != 0.0)
                r.hasImpulses = true;
        }
    }
    while (in.next(line))
        if (!trim(line).empty())
            in.fail("more records than the " + std::to_string(states) +
                    " states of the .arm file: " + quote(line));
    for (Rewards& r : rewards)
        if (!r.hasImpulses)
            std::vector<double>().swap(r.impulse);
    return rewards;
}

} // namespace gensolver
