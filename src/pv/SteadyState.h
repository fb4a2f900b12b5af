#pragma once
// SteadyState: the worker of a steady-state variable (reward type 3): the long-run value
// of the reward.
// For the generator it behaves as InstantOfTime does: the reward function in
// the current state after every firing; the solver accumulates it.

#include "pv/PerformanceVariableWorker.h"

class SteadyState : public PerformanceVariableWorker {
public:
    SteadyState() = default;
    ~SteadyState() override = default;
    SteadyState(const SteadyState&) = delete;
    SteadyState& operator=(const SteadyState&) = delete;

    // For simulation: Reward is the reward function times the length of the sojourn
    // [last, now].
    void Accumulate(double now, double last) override;
    // Reward = the reward function in the current state.
    void CurrentReward() override;
};
