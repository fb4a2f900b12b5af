#include "methods/Model.h"

namespace gensolver {

const char* rewardTypeName(RewardType type) {
    switch (type) {
    case RewardType::InstantOfTime:
        return "instant of time";
    case RewardType::IntervalOfTime:
        return "interval of time";
    case RewardType::TimeAveragedInterval:
        return "time-averaged interval";
    case RewardType::SteadyState:
        return "steady state";
    }
    return "unknown";
}

} // namespace gensolver
