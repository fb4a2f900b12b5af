#include "pv/SteadyState.h"

void SteadyState::Accumulate(double now, double last) {
    Weight = 1.0;
    const double r = now > last ? Reward_Function() * (now - last) : 0.0;
    Reward = r;
    RewardSquared = r * r;
}

void SteadyState::CurrentReward() {
    double r = Reward_Function();
    Reward = r;
    RewardSquared = r * r;
}
