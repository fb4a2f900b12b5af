#include "read/DetReader.h"

#include "read/LineReader.h"

#include <cmath>

namespace gensolver {

std::vector<DelayGroup> readDet(const std::string& path, std::uint32_t states) {
    LineReader in(path, 1 << 16);
    std::string_view line;
    if (!in.next(line))
        in.fail("the file is empty");
    std::uint64_t count = 0;
    if (!parseUnsigned(line, count))
        in.fail("line 1 must hold the number of delay groups, found " + quote(line));
    std::vector<DelayGroup> groups;
    for (std::uint64_t g = 1; g <= count; ++g) {
        if (!in.next(line))
            in.fail("the file ends before delay group " + std::to_string(g) + " of " +
                    std::to_string(count) + " (truncated)");
        DelayGroup group;
        if (!parseDouble(line, group.delay) || !std::isfinite(group.delay) || group.delay <= 0.0)
            in.fail("the delay of group " + std::to_string(g) +
                    " must be a positive finite number, found " + quote(line));
        for (;;) {
            if (!in.next(line))
                in.fail("the file ends inside delay group " + std::to_string(g) +
                        " before its closing 0 (truncated)");
            std::uint64_t state = 0;
            if (!parseUnsigned(line, state))
                in.fail("expected a state number or the closing 0 of delay group " +
                        std::to_string(g) + ", found " + quote(line));
            if (state == 0)
                break;
            if (state > states)
                in.fail("state " + std::to_string(state) + " is beyond the .arm count of " +
                        std::to_string(states) + " states");
            group.states.push_back(static_cast<std::uint32_t>(state));
        }
        groups.push_back(std::move(group));
    }
    while (in.next(line))
        if (!trim(line).empty())
            in.fail("text after the last delay group: " + quote(line));
    return groups;
}

std::vector<std::string> readDac(const std::string& path, std::uint32_t states,
                                 std::vector<std::uint32_t>* order) {
    LineReader in(path, 1 << 16);
    std::vector<std::string> activity(states);
    std::string_view line;
    while (in.next(line)) {
        if (trim(line).empty())
            continue;
        std::uint64_t state = 0;
        if (!parseUnsigned(line, state) || state == 0 || state > states)
            in.fail("expected a state number from 1 to " + std::to_string(states) + ", found " +
                    quote(line));
        if (!in.next(line) || trim(line).empty())
            in.fail("the activity name of state " + std::to_string(state) +
                    " is missing (truncated)");
        std::string& name = activity[state - 1];
        if (!name.empty())
            in.fail("state " + std::to_string(state) + " has the deterministic activities " + name +
                    " and " + std::string(trim(line)) +
                    " enabled; this solver handles one at a time");
        name = trim(line);
        if (order != nullptr)
            order->push_back(static_cast<std::uint32_t>(state));
    }
    return activity;
}

} // namespace gensolver
