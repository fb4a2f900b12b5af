#pragma once
// erlangPV0Worker: the worker of the variable "jobs": the number of jobs in the system.

#include "pv/InstantOfTime.h"

class erlangSAN;

class erlangPV0Worker : public InstantOfTime {
public:
    erlangPV0Worker();
    ~erlangPV0Worker() override;
    erlangPV0Worker(const erlangPV0Worker&) = delete;
    erlangPV0Worker& operator=(const erlangPV0Worker&) = delete;

    double Reward_Function() override;

    erlangSAN* erlang = nullptr; // not owned: the instance the reward reads, set by the node
};
