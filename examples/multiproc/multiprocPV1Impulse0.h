#pragma once
// multiprocPV1Impulse0: the impulse of the variable "cost" on the activity
// uncovered of the model multiproc: each uncovered failure costs crash_cost.

#include "pv/ImpulseNodeClass.h"

class multiprocSAN;

class multiprocPV1Impulse0 : public ImpulseNodeClass {
public:
    multiprocPV1Impulse0();
    ~multiprocPV1Impulse0() override;
    multiprocPV1Impulse0(const multiprocPV1Impulse0&) = delete;
    multiprocPV1Impulse0& operator=(const multiprocPV1Impulse0&) = delete;

    void EndAccumulate(double now) override;
    double Impulse_Function() override;
    // Adds the impulse when the firing falls into the variable's interval.
    void Accumulate(double now, double last) override;
    void CurrentReward() override;
    void Reset() override { ImpulseNodeClass::Reset(); }
    ImpulseNodeClass** CreateWorkerList(int count) override;

    multiprocSAN* multiproc = nullptr; // not owned: the instance the worker watches
};
