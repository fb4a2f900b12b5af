#include "read/PvTypeReader.h"

#include "read/LineReader.h"

#include <algorithm>
#include <cmath>

namespace gensolver {

namespace {

// The value after "<key>:" on the next line.
std::string_view field(LineReader& in, std::string_view key) {
    std::string_view line;
    if (!in.next(line))
        in.fail("the file ends where \"" + std::string(key) + ":\" was expected (truncated)");
    line = trim(line);
    if (line.size() <= key.size() || line.substr(0, key.size()) != key || line[key.size()] != ':')
        in.fail("expected \"" + std::string(key) + ":<value>\", found " + quote(line));
    return line.substr(key.size() + 1);
}

std::uint64_t count(LineReader& in, std::string_view key, std::uint64_t limit) {
    std::uint64_t value = 0;
    const std::string_view text = field(in, key);
    if (!parseUnsigned(text, value))
        in.fail(std::string(key) + " must be a whole number, not " + quote(text));
    if (value > limit)
        in.fail(std::string(key) + " " + std::to_string(value) + " is larger than " +
                std::to_string(limit));
    return value;
}

double time(LineReader& in, std::string_view key) {
    double value = 0.0;
    const std::string_view text = field(in, key);
    if (!parseDouble(text, value) || !std::isfinite(value))
        in.fail(std::string(key) + " must be a finite number, not " + quote(text));
    if (value < 0.0)
        in.fail(std::string(key) + " must not be negative, found " + quote(text));
    return value;
}

// Only blank lines may follow the last entry.
void endOfFile(LineReader& in) {
    std::string_view line;
    while (in.next(line))
        if (!trim(line).empty())
            in.fail("text after the last variable: " + quote(line));
}

} // namespace

std::vector<Variable> readPvType(const std::string& path) {
    LineReader in(path, 1 << 16);
    std::string_view text = field(in, "Version");
    if (trim(text) != "1")
        in.fail("unknown version " + quote(text) + " (this solver reads version 1)");
    const std::uint64_t numPV = count(in, "NumPV", 1000000);
    std::vector<Variable> variables;
    variables.reserve(std::min<std::uint64_t>(numPV, 1024));
    for (std::uint64_t p = 0; p < numPV; ++p) {
        Variable v;
        v.name = std::string(field(in, "Name"));
        if (v.name.empty())
            in.fail("empty variable name");
        long long type = 0;
        text = field(in, "Type");
        if (!parseInt(text, type) || type < 0 || type > 3)
            in.fail("unknown reward type " + quote(text) +
                    " (0 instant of time, 1 interval of time, 2 time-averaged interval of "
                    "time, 3 steady state)");
        v.type = static_cast<RewardType>(type);
        const std::uint64_t times = count(in, "NumTimes", 1000000);
        if (times == 0)
            in.fail("variable \"" + v.name + "\" has no time point");
        for (std::uint64_t k = 0; k < times; ++k) {
            TimePoint t;
            t.start = time(in, "Start");
            t.stop = time(in, "Stop");
            if (v.type == RewardType::InstantOfTime && t.start != t.stop)
                in.fail("instant-of-time variable \"" + v.name +
                        "\" needs Start equal to Stop, found " + std::to_string(t.start) + " and " +
                        std::to_string(t.stop));
            if (t.stop < t.start)
                in.fail("Stop lies before Start in variable \"" + v.name + "\"");
            v.times.push_back(t);
        }
        variables.push_back(std::move(v));
    }
    endOfFile(in);
    return variables;
}

std::vector<bool> readAbsorptionList(const std::string& path,
                                     const std::vector<Variable>& variables) {
    LineReader in(path, 1 << 16);
    std::string_view text = field(in, "Version");
    if (trim(text) != "1")
        in.fail("unknown version " + quote(text) + " (this solver reads version 1)");
    const std::uint64_t named = count(in, "NumPV", variables.size());
    std::vector<bool> listed(variables.size(), false);
    for (std::uint64_t k = 0; k < named; ++k) {
        text = field(in, "Name");
        std::size_t p = 0;
        while (p < variables.size() && variables[p].name != text)
            ++p;
        if (p == variables.size())
            in.fail("no variable of the .pvtype file is named " + quote(text));
        if (listed[p])
            in.fail("variable " + quote(text) + " is named twice");
        listed[p] = true;
    }
    endOfFile(in);
    return listed;
}

} // namespace gensolver
