#pragma once
// erlangPV1Worker: the worker of the variable "idle": 1 while no job is in the system.

#include "pv/InstantOfTime.h"

class erlangSAN;

class erlangPV1Worker : public InstantOfTime {
public:
    erlangPV1Worker();
    ~erlangPV1Worker() override;
    erlangPV1Worker(const erlangPV1Worker&) = delete;
    erlangPV1Worker& operator=(const erlangPV1Worker&) = delete;

    double Reward_Function() override;

    erlangSAN* erlang = nullptr; // not owned: the instance the reward reads, set by the node
};
