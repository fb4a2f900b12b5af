#pragma once
// The strongly connected components of a chain's transition graph, found by
// Tarjan's algorithm without recursion (an explicit stack, so that chains of tens
// of millions of states do not overflow the call stack).

#include "methods/RateMatrix.h"

#include <cstdint>
#include <vector>

namespace gensolver {

struct Components {
    // Per state, its component.
    std::vector<std::uint32_t> component;
    // The states grouped by component: component c holds order[first[c] ..
    // first[c + 1]). Components come in topological order of the transition graph:
    // a component comes after every component that has a transition into it.
    std::vector<std::uint32_t> order;
    std::vector<std::uint32_t> first;
    // Per component, 1 when no transition leaves it (a closed class).
    std::vector<char> bottom;
    // Per state, the sum of its rates into other components.
    std::vector<double> leaving;

    std::uint32_t count() const { return static_cast<std::uint32_t>(bottom.size()); }
    std::uint32_t size(std::uint32_t c) const { return first[c + 1] - first[c]; }
};

Components findComponents(const RateMatrix& m);

// The states reachable from state 1 (index 0) along transitions of positive
// rate, in breadth-first order (ties by index).
std::vector<std::uint32_t> breadthFirstOrder(const RateMatrix& m);

} // namespace gensolver
