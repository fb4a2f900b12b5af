#include "pv/TimeAveragedIntervalOfTime.h"

#include <algorithm>

void TimeAveragedIntervalOfTime::Accumulate(double now, double last) {
    Weight = 1.0;
    const double overlap = std::min(now, StopTime) - std::max(last, StartTime);
    const double length = StopTime - StartTime;
    double r = overlap > 0.0 ? Reward_Function() * overlap : 0.0;
    if (length > 0.0)
        r /= length;
    Reward = r;
    RewardSquared = r * r;
}

void TimeAveragedIntervalOfTime::CurrentReward() {
    double r = Reward_Function();
    Reward = r;
    RewardSquared = r * r;
}
