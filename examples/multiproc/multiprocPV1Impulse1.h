#pragma once
// multiprocPV1Impulse1: the impulse of the variable "cost" on the activity
// repair of the model multiproc: each repair costs 1.

#include "pv/ImpulseNodeClass.h"

class multiprocSAN;

class multiprocPV1Impulse1 : public ImpulseNodeClass {
public:
    multiprocPV1Impulse1();
    ~multiprocPV1Impulse1() override;
    multiprocPV1Impulse1(const multiprocPV1Impulse1&) = delete;
    multiprocPV1Impulse1& operator=(const multiprocPV1Impulse1&) = delete;

    void EndAccumulate(double now) override;
    double Impulse_Function() override;
    // Adds the impulse when the firing falls into the variable's interval.
    void Accumulate(double now, double last) override;
    void CurrentReward() override;
    void Reset() override { ImpulseNodeClass::Reset(); }
    ImpulseNodeClass** CreateWorkerList(int count) override;

    multiprocSAN* multiproc = nullptr; // not owned: the instance the worker watches
};
