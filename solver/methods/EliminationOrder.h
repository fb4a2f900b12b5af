#pragma once
// An elimination order that keeps the fill-in of SparseElimination small: the
// minimum-degree order on the chain's transitions taken both ways. Each state
// eliminated joins all its remaining neighbours to one another, as the
// elimination's fill does; the next state taken is one with the fewest
// neighbours left (ties to the lowest number, so the order is reproducible).

#include "methods/RateMatrix.h"
#include "methods/SparseElimination.h"

#include <cstdint>
#include <vector>

namespace gensolver {

// The chain's states in elimination order, or an empty vector when forming the
// order would take more than `budget` neighbour-list operations (a chain whose
// fill grows too fast to be worth the ordering; the caller keeps its own order).
std::vector<std::uint32_t> minimumDegreeOrder(const RateMatrix& m, std::uint64_t budget);

// The chain's states in nested dissection order: each connected part is split
// by the level of a breadth-first search from one of its far ends that holds the
// fewest states (each side keeping at least a fifth of the rest), the two sides
// ordered first, in turn, and the separating states last; parts of up to 256
// states are ordered by minimum degree. Its work grows with the transitions
// times the depth of the splitting, where minimum degree's can grow with the
// square of the fill: on chains that are grids of a million states it is the
// order that can be had. Empty where a separator alone, which the elimination
// fills to a dense block, would exceed the budget's folds or fill.
std::vector<std::uint32_t> nestedDissectionOrder(const RateMatrix& m,
                                                 const EliminationBudget& budget = {});

// A budget of about a second.
constexpr std::uint64_t kMinimumDegreeBudget = 400000000;

// The order the eliminations use: minimum degree where it can be had within
// kMinimumDegreeBudget, else nested dissection within budget, else state order.
// On the stiff model's 5,200 states minimum degree leaves 287,774 entries in the
// factors and nested dissection 252,304; at 80,800 states minimum degree runs out
// of its budget, where the state order filled the factors to 1.3 GB in 25 s and
// nested dissection to 6.8 million entries in 2.6 s.
std::vector<std::uint32_t> fillReducingOrder(const RateMatrix& m,
                                             const EliminationBudget& budget = {});

// What the elimination of a set of `states` states with `transitions`
// transitions between them may cost in the state order before a fill-reducing
// order is formed instead: as many entries of fill as there are transitions,
// four times transitions plus states in folds and sixteen times in scans. A
// chain whose rates run forwards in its numbering (units failing without
// repair, numbered breadth-first from all up) fills nothing in its own order,
// where forming the fill-reducing order takes seconds on large ones.
EliminationBudget stateOrderBudget(std::uint64_t transitions, std::uint64_t states);

// What SparseElimination of a set of states in a given order will cost at
// most, found without folding a rate: the elimination of the set's transitions
// taken both ways. Each state eliminated there joins all its neighbours left
// (in either direction) to one another, a superset of the rates the
// elimination folds, so
//   fill  = 2 (entries of the symmetric factor) - (pairs of the set's states
//           with a transition between them), at least the entries the
//           elimination adds (each entry room for two rates, one of them
//           already there for a pair with a transition), and
//   folds = the sum over the states of their neighbours left, squared, at
//           least the rates it folds (a state with a rates in and b out folds
//           a b of them).
// Where every rate has its reverse the folds are the elimination's own. Where
// a state's rates in and out differ, it counts (a + b)^2 for its a b, four
// times or more; but the fill soon joins the states both ways, and the largest
// states, eliminated last, dominate: on the stiff and ring models the count's
// folds are 1.0 to 1.25 times the elimination's. The count uses the elimination tree of the
// symmetric factor: time about its entries, memory about the set's
// transitions, nothing per entry. It stops once fill passes cap.fill or folds
// pass cap.folds, the figures then being at least the cap's.
struct EliminationCost {
    double fill = 0.0;
    double folds = 0.0;
};
// states: the set in elimination order; local: per chain state, its position
// in states or UINT32_MAX outside the set (as SparseElimination takes them).
EliminationCost symmetricEliminationCost(const RateMatrix& m,
                                         const std::vector<std::uint32_t>& states,
                                         const std::vector<std::uint32_t>& local,
                                         const EliminationBudget& cap = {});

} // namespace gensolver
