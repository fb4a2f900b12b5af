#pragma once
// Helpers of the solver tests: writing chains in gen's file formats, and the
// independent dense methods that the solver's answers are checked against.

#include "methods/RateMatrix.h"

#include <cstdint>
#include <string>
#include <vector>

namespace solvertest {

using Dense = std::vector<std::vector<long double>>;

// A chain as the tests describe it: states numbered from 1 as in the files.
struct Chain {
    std::uint32_t states = 0;
    struct Arc {
        std::uint32_t from, to;
        double rate;
    };
    std::vector<Arc> arcs;
    struct Variable {
        std::string name;
        int type = 0;
        std::vector<std::pair<double, double>> times; // (start, stop)
        std::vector<double> rate;                     // per state (index state - 1)
        std::vector<double> impulse;                  // per state, empty for none
    };
    std::vector<Variable> variables;
};

// Random irreducible chain of n states numbered from 0: a ring plus 3n random
// arcs, rates log-uniform over [10^lo, 10^hi].
std::vector<gensolver::Transition> randomIrreducible(std::uint32_t n, unsigned seed, double lo,
                                                     double hi);

// Writes <stem>.arm, .var and .pvtype as gen would (rates with 17 significant
// digits so that nothing is lost on the way).
void writeChain(const std::string& stem, const Chain& chain);

// The generator matrix Q (rows sum to 0), self-loops ignored.
Dense generator(const Chain& chain);

// exp(A t) by scaling and squaring of a Taylor series, in long double.
Dense expm(const Dense& a, long double t);

// Solves x A = b by Gaussian elimination with partial pivoting (A square, regular).
std::vector<long double> solveLeft(const Dense& a, const std::vector<long double>& b);

// Dense generator of n states from transitions numbered from 0.
Dense denseGenerator(std::uint32_t n, const std::vector<gensolver::Transition>& ts);
// Stationary distribution of the closed class `states` (indices into q), by
// replacing one equation of pi Q = 0 with the normalisation.
std::vector<long double> classStationary(const Dense& q, const std::vector<std::uint32_t>& states);
// The stationary distribution of an irreducible chain of n states by the dense
// elimination of Grassmann, Taksar and Heyman: states are folded away from the
// last, their rates redistributed, with no subtraction, so that the result
// keeps its relative precision however nearly decomposable or stiff the chain,
// even where long double is only a double (under Valgrind).
std::vector<long double> foldedStationary(std::uint32_t n,
                                          const std::vector<gensolver::Transition>& ts);
// The same elimination for the limit from state 0 of a chain whose states 0 to
// transient - 1 are transient and whose other states form the closed classes
// listed: the transient states are folded away, and each class's share of the
// flow out of state 0 weights its stationary distribution.
std::vector<long double> foldedLimit(std::uint32_t n, const std::vector<gensolver::Transition>& ts,
                                     std::uint32_t transient,
                                     const std::vector<std::vector<std::uint32_t>>& classes);
// True when long double carries more precision than double. It does on x86-64,
// but not under Valgrind, which computes long double in double precision: the
// oracles above then lose digits, and the tests widen their tolerances.
bool extendedPrecision();

// Per state i: sum over arcs i -> j (self-loops included) of rate * impulse[j].
std::vector<long double> impulseRate(const Chain& chain, const std::vector<double>& impulse);

} // namespace solvertest
