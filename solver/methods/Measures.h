#pragma once
// The measures: the value of every performance variable at every time point, and
// how each value was obtained.

#include "methods/Absorption.h"
#include "methods/LimitSolver.h"
#include "methods/Model.h"
#include "methods/Transient.h"

#include <cstdint>
#include <string>
#include <vector>

namespace gensolver {

struct SolveOptions {
    TransientOptions transient;
    LimitOptions limit;
    bool longRun = false;    // also give the long-run value of every variable of type 0 and 2
    bool absorption = false; // also give the mean time and every reward until absorption
    AbsorptionMethod absorptionMethod = AbsorptionMethod::Auto; // how those are solved
};

struct Result {
    std::string variable;
    RewardType type = RewardType::InstantOfTime;
    double start = 0.0;
    double stop = 0.0;
    bool longRun = false;         // a long-run (t -> infinity) value rather than one at start/stop
    bool untilAbsorption = false; // accumulated from time 0 until absorption
    double value = 0.0;
    double bound = 0.0;      // error bound of value
    bool boundProven = true; // false: bound is the iterative solver's estimate
    std::string method;
    std::uint64_t iterations = 0; // uniformization steps, or sweeps of an iterative solve
    bool steadyState = false;     // the limit was reached (detected or used directly)
    bool converged = true;        // false: an iterative solve missed its tolerance
};

struct Solution {
    std::string stem;
    std::uint32_t states = 0;
    std::uint64_t transitions = 0;
    double uniformizationRate = 0.0; // 0 when no transient measure was asked for
    std::string limitSummary;        // empty when the limit was not needed
    std::vector<Result> results;
    bool firstEntryImpulses = false;        // some values earn the first-entry impulses of .var
                                            // (there is no .imp file)
    bool approximateFiringImpulses = false; // some values take deterministic firings to earn
                                            // first-entry impulses (there is no .dip file)
    std::string absorptionNotice; // why values until absorption are missing, empty if none are
    bool allConverged() const;
};

class ChainBackend;

// Throws SolveError naming r's variable where its value or bound is not finite:
// such a number is no answer, and the run stops rather than print it.
void refuseUnlessFinite(const Result& r);

// Throws SolveError when a time point needs more steps than allowed.
Solution solve(const Model& model, const SolveOptions& options);

// The same over `backend`, which holds model's chain (model.matrix is then not
// read) and whose vectors are slices of the states when it is distributed:
// model's rewards are then the same slices. Values until absorption need the
// whole chain (LocalBackend).
Solution solve(const Model& model, const SolveOptions& options, ChainBackend& backend);

} // namespace gensolver
