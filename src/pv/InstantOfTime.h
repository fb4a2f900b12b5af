#pragma once
// InstantOfTime: the worker of an instant-of-time variable (reward type 0),
// whose value is the reward function in the current state.

#include "pv/PerformanceVariableWorker.h"

class InstantOfTime : public PerformanceVariableWorker {
public:
    InstantOfTime() = default;
    ~InstantOfTime() override = default;
    InstantOfTime(const InstantOfTime&) = delete;
    InstantOfTime& operator=(const InstantOfTime&) = delete;

    // Takes the value observed at the start of the interval once the interval
    // has been reached (StartTime at or after the last firing time).
    void Accumulate(double now, double last) override;
    // Reward = the reward function in the current state.
    void CurrentReward() override;
};
