#pragma once
// IntervalOfTime: the worker of an interval-of-time variable (reward type 1): the reward
// accumulated over [StartTime, StopTime].
// For the generator it behaves as InstantOfTime does: the reward function in
// the current state after every firing; the solver accumulates it.

#include "pv/PerformanceVariableWorker.h"

class IntervalOfTime : public PerformanceVariableWorker {
public:
    IntervalOfTime() = default;
    ~IntervalOfTime() override = default;
    IntervalOfTime(const IntervalOfTime&) = delete;
    IntervalOfTime& operator=(const IntervalOfTime&) = delete;

    // For simulation: Reward is the reward function times the part of the sojourn
    // [last, now] that lies in the interval.
    void Accumulate(double now, double last) override;
    // Reward = the reward function in the current state.
    void CurrentReward() override;
};
