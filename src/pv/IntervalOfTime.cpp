#include "pv/IntervalOfTime.h"

#include <algorithm>

void IntervalOfTime::Accumulate(double now, double last) {
    Weight = 1.0;
    const double overlap = std::min(now, StopTime) - std::max(last, StartTime);
    const double r = overlap > 0.0 ? Reward_Function() * overlap : 0.0;
    Reward = r;
    RewardSquared = r * r;
}

void IntervalOfTime::CurrentReward() {
    double r = Reward_Function();
    Reward = r;
    RewardSquared = r * r;
}
