#pragma once
// The measures of a model with deterministic delays, the counterpart of solve()
// for a Markov regenerative process. Long-run values (type 3, and --steady)
// come from the embedded chain at regeneration points (EmbeddedChain). Values at
// time points and over intervals come from Erlang phase expansions of the delays
// (ErlangExpansion) of orders K, 2K and 4K, each solved by uniformization, and
// Richardson extrapolation in 1/K: with V(K) = V + c1/K + c2/K² + ..., the
// extrapolations 2V(2K) - V(K) and 2V(4K) - V(2K) err by about c2/(2K²) and
// c2/(8K²), so their difference, printed as the error estimate, is three times
// the error of the value printed. When the changes V(2K) - V(K) and V(4K) -
// V(2K) do not halve (a value that depends on the instant of a firing converges
// as 1/sqrt(K)), the estimate is at least 2.5 times the last change.

#include "methods/Measures.h"
#include "methods/RegenerativeModel.h"

#include <cstdint>
#include <vector>

namespace gensolver {

// Per state, the impulses of variable p that one deterministic firing from it
// earns (RegenerativeModel::firingImpulse), 0 for a variable that earns none.
std::vector<double> firingImpulses(const RegenerativeModel& m, std::size_t p);

// Variable p may earn impulses (the run has an .imp file, or .var impulses of
// p) and there is no .dip file, so that deterministic firings are taken to earn
// the first-entry impulses of their targets: its values that count impulses
// are approximate and carry no bound.
bool approximateFiringImpulses(const RegenerativeModel& m, std::size_t p);

// Marks `r`, a value of variable p, as approximate without a bound when
// approximateFiringImpulses(m, p), or as earning first-entry impulses when
// there is no .imp file, and notes either in `sol`. Values at an instant count
// no impulses and are left as they are.
void markImpulses(const RegenerativeModel& m, std::size_t p, Result& r, Solution& sol);

// Throws SolveError when a time point needs more uniformization steps than
// allowed or the long run ends in more than one closed class.
Solution solveRegenerative(const RegenerativeModel& m, const SolveOptions& options,
                           std::uint32_t phases = 32);

} // namespace gensolver
