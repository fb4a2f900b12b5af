#pragma once
// TargetRate: one entry of a state's row of outgoing rates, the number of the
// target state and the rate summed for it; and the order rows are written in.

#include <algorithm>
#include <cstdint>

struct TargetRate {
    std::uint32_t target;
    double rate;
};

// Puts `count` entries with distinct targets in ascending target order.
inline void sortByTarget(TargetRate* row, std::uint32_t count) {
    std::sort(row, row + count,
              [](const TargetRate& a, const TargetRate& b) { return a.target < b.target; });
}
