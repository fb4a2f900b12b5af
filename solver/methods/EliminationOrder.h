#pragma once
// An elimination order that keeps the fill-in of SparseElimination small: the
// minimum-degree order on the chain's transitions taken both ways. Each state
// eliminated joins all its remaining neighbours to one another, as the
// elimination's fill does; the next state taken is one with the fewest
// neighbours left (ties to the lowest number, so the order is reproducible).

#include "methods/RateMatrix.h"

#include <cstdint>
#include <vector>

namespace gensolver {

// The chain's states in elimination order, or an empty vector when forming the
// order would take more than `budget` neighbour-list operations (a chain whose
// fill grows too fast to be worth the ordering; the caller keeps its own order).
std::vector<std::uint32_t> minimumDegreeOrder(const RateMatrix& m, std::uint64_t budget);

// A budget of about a second.
constexpr std::uint64_t kMinimumDegreeBudget = 400000000;

} // namespace gensolver
