#pragma once
// pollingRewPV0Worker: the worker of the variable "waiting": the number of
// stations that hold a job (the one in service included).

#include "pv/InstantOfTime.h"

class pollingSAN;

class pollingRewPV0Worker : public InstantOfTime {
public:
    pollingRewPV0Worker();
    ~pollingRewPV0Worker() override;
    pollingRewPV0Worker(const pollingRewPV0Worker&) = delete;
    pollingRewPV0Worker& operator=(const pollingRewPV0Worker&) = delete;

    double Reward_Function() override;

    pollingSAN* polling = nullptr; // not owned: the instance the reward reads, set by the node
};
