#pragma once
// TimeAveragedIntervalOfTime: the worker of a time-averaged interval-of-time variable (reward
// type 2): the interval-of-time reward divided by the interval's length.
// For the generator it behaves as InstantOfTime does: the reward function in
// the current state after every firing; the solver accumulates it.

#include "pv/PerformanceVariableWorker.h"

class TimeAveragedIntervalOfTime : public PerformanceVariableWorker {
public:
    TimeAveragedIntervalOfTime() = default;
    ~TimeAveragedIntervalOfTime() override = default;
    TimeAveragedIntervalOfTime(const TimeAveragedIntervalOfTime&) = delete;
    TimeAveragedIntervalOfTime& operator=(const TimeAveragedIntervalOfTime&) = delete;

    // For simulation: Reward is the reward function times the part of the sojourn
    // [last, now] that lies in the interval, divided by the interval's length (a
    // zero-length interval divides by 1).
    void Accumulate(double now, double last) override;
    // Reward = the reward function in the current state.
    void CurrentReward() override;
};
