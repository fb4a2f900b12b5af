#include "methods/AbsorptionResults.h"

#include "methods/Absorption.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

namespace gensolver {

namespace {

std::string number(const char* format, double x) {
    char buf[64];
    std::snprintf(buf, sizeof buf, format, x);
    return buf;
}

Result row(const std::string& name, RewardType type, double value, double bound,
           const std::string& method, std::uint32_t steps) {
    Result r;
    r.variable = name;
    r.type = type;
    r.value = value;
    r.bound = bound;
    r.method = method;
    r.iterations = steps;
    return r;
}

// Refuses a row without a finite value or bound. Where the iterative solves
// left the bound infinite, the chain is too stiff for them, not beyond a
// double's range: the message says what may bound it instead.
void refuseUnlessBounded(const Absorption& a, const Result& r) {
    if (a.iterative && std::isfinite(r.value) && !std::isfinite(r.bound))
        throw SolveError("variable " + r.variable +
                         ": its error bound until absorption is not finite: the iterative solves "
                         "found none on this chain (the elimination, --absorption-method "
                         "elimination, may); no value is printed");
    refuseUnlessFinite(r);
}

// The sign of a value until absorption, where every state's earning rate has
// that sign: a value computed beyond it is moved to 0, nearer the true one.
double withSignOf(const std::vector<double>& earning, double value) {
    bool negative = false, positive = false;
    for (const double e : earning) {
        negative = negative || e < 0.0;
        positive = positive || e > 0.0;
    }
    if (!negative && value < 0.0)
        return 0.0;
    if (!positive && value > 0.0)
        return 0.0;
    return value;
}

} // namespace

void appendAbsorptionResults(const Model& model,
                             const std::vector<const std::vector<double>*>& earning,
                             Solution& solution, bool every, AbsorptionMethod method) {
    AbsorptionMargins none;
    none.variable.assign(model.variables.size(), 0.0);
    appendAbsorptionResults(solveAbsorption(model.matrix, method), model, earning, none, solution,
                            every);
}

void appendAbsorptionResults(const Absorption& a, const Model& model,
                             const std::vector<const std::vector<double>*>& earning,
                             const AbsorptionMargins& margins, Solution& solution, bool every) {
    const std::string method = a.method() + margins.note;
    // The probability of having been absorbed by time t tends to this as t grows.
    Result probability =
        row("absorption probability", RewardType::InstantOfTime, a.probability,
            a.probabilityBound +
                (a.outcome == Absorption::Outcome::NotCertain ? margins.probability : 0.0),
            a.outcome == Absorption::Outcome::NotCertain
                ? method
                : "every state reachable from state 1 reaches an absorbing state",
            a.outcome == Absorption::Outcome::NotCertain ? a.refinements : 0);
    probability.longRun = true;
    if (std::isfinite(probability.value))
        probability.value = std::clamp(probability.value, 0.0, 1.0);
    refuseUnlessBounded(a, probability);
    if (a.outcome == Absorption::Outcome::Unreachable)
        probability.method = "no absorbing state reachable from state 1";
    solution.results.push_back(probability);
    if (a.outcome == Absorption::Outcome::Unreachable) {
        solution.absorptionNotice =
            "no absorbing state (a state without outgoing rate) is reachable from state 1: the "
            "chain is never absorbed, and the mean time to absorption is infinite";
        return;
    }
    if (a.outcome == Absorption::Outcome::NotCertain) {
        solution.absorptionNotice =
            "absorption from state 1 is not certain: the chain is absorbed with probability " +
            number("%.15g", a.probability) +
            " (error <= " + number("%.2e", solution.results.back().bound) +
            "); otherwise it stays in a closed class without absorbing states, so the mean time "
            "to absorption is infinite and the rewards until absorption are not given";
        return;
    }
    std::vector<double> one(model.matrix.states(), 1.0);
    double bound = 0.0;
    const double mean = a.accumulated(one, bound);
    Result time = row("time to absorption", RewardType::IntervalOfTime, withSignOf(one, mean),
                      bound + margins.time, method, a.refinements);
    time.untilAbsorption = true;
    // A mean time beyond a double's range (a million-state chain whose
    // absorption takes some 1e800 hours) leaves no number to print.
    refuseUnlessBounded(a, time);
    solution.results.push_back(time);
    every = every || model.untilAbsorption.empty();
    for (std::size_t p = 0; p < model.variables.size(); ++p) {
        if (!every && !model.untilAbsorption[p])
            continue;
        const double value = a.accumulated(*earning[p], bound);
        Result r =
            row(model.variables[p].name, RewardType::IntervalOfTime, withSignOf(*earning[p], value),
                bound + margins.variable[p], method, a.refinements);
        r.untilAbsorption = true;
        refuseUnlessBounded(a, r);
        solution.results.push_back(r);
    }
}

} // namespace gensolver
