#include "pv/InstantOfTime.h"

void InstantOfTime::Accumulate(double, double last) {
    Reward = 0.0;
    RewardSquared = 0.0;
    Weight = 1.0;
    if (StartTime >= last) {
        double r = Reward_Function();
        Reward = r;
        RewardSquared = r * r;
    }
}

void InstantOfTime::CurrentReward() {
    double r = Reward_Function();
    Reward = r;
    RewardSquared = r * r;
}
