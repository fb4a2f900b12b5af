#pragma once
// What the solver reads: the performance variables (.pvtype), their rewards per
// state (.var), the rates (.arm) and, when present, the impulse rates (.imp) and
// the variables to report until absorption (.abs).

#include "methods/RateMatrix.h"

#include <cstdint>
#include <string>
#include <vector>

namespace gensolver {

// Reward types as the .pvtype file numbers them.
enum class RewardType : int {
    InstantOfTime = 0,
    IntervalOfTime = 1,
    TimeAveragedInterval = 2,
    SteadyState = 3,
};
const char* rewardTypeName(RewardType type);

struct TimePoint {
    double start = 0.0;
    double stop = 0.0;
};

// One performance variable of the .pvtype file.
struct Variable {
    std::string name;
    RewardType type = RewardType::InstantOfTime;
    std::vector<TimePoint> times;
};

// Per variable and state: the rate reward and the impulse of the firing that first
// reached the state (both from .var), and the rate at which impulses are earned in
// the state: from the .imp file when there is one, else derived from .var (sum over
// the state's transitions i -> j, self-loops included, of rate times j's impulse;
// filled while the .arm file is read).
struct Rewards {
    std::vector<double> rate;
    std::vector<double> impulse;     // emptied once impulseRate is known
    std::vector<double> impulseRate; // empty when every impulse (rate) is 0
    bool hasImpulses = false;        // .var has an impulse for the .arm reader to derive from
};

struct Model {
    std::string stem;
    std::vector<Variable> variables;
    std::vector<Rewards> rewards; // one per variable, in .pvtype order
    RateMatrix matrix;
    bool exactImpulses = false; // the impulse rates come from the .imp file
    // Per variable: reported until absorption instead of at its time points (the
    // .abs file names it); empty when there is no .abs file.
    std::vector<bool> untilAbsorption;
};

} // namespace gensolver
