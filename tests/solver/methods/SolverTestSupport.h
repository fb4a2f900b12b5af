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

// True when long double carries more precision than double. It does on x86-64,
// but not under Valgrind, which computes long double in double precision: the
// oracles above then lose digits, and the tests widen their tolerances.
// Dense generator of n states from transitions numbered from 0.
Dense denseGenerator(std::uint32_t n, const std::vector<gensolver::Transition>& ts);
// Stationary distribution of the closed class `states` (indices into q), by
// replacing one equation of pi Q = 0 with the normalisation.
std::vector<long double> classStationary(const Dense& q, const std::vector<std::uint32_t>& states);
bool extendedPrecision();

// Per state i: sum over arcs i -> j (self-loops included) of rate * impulse[j].
std::vector<long double> impulseRate(const Chain& chain, const std::vector<double>& impulse);

} // namespace solvertest
