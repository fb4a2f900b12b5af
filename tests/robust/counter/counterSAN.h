#pragma once
// counterSAN: a test model with exactly Size states in one chain, for runs
// whose size must be chosen freely (large files, a full state store, memory
// exhaustion). The count is held in two places, low (0 .. 9999) and high, since
// a place's marking stops at 32767; the one exponential activity tick adds 1
// at rate 1 while the count is below Size - 1. Width further places that
// never change (pad0, pad1, ...) widen the state vector by 2 bytes each, so a
// run can be made to need much memory per state.

#include "GlobalVariables.h"
#include "actions/Activity.h"
#include "models/SANModel.h"
#include "state/Place.h"

#include <vector>

class counterSAN : public SANModel {
public:
    static constexpr int LowBase = 10000;

    class tickActivity : public Activity {
    public:
        tickActivity();
        ~tickActivity() override = default;
        tickActivity(const tickActivity&) = delete;
        tickActivity& operator=(const tickActivity&) = delete;

        bool Enabled() override;
        double Rate() override { return 1.0; }
        double Weight() override { return 1.0; }
        BaseActionClass* Fire() override;
        void LinkVariables() override;

        Place* Low = nullptr;      // not owned: the model's place low
        short* LowMark = nullptr;  // Low's marking, bound by LinkVariables
        Place* High = nullptr;     // not owned: the model's place high
        short* HighMark = nullptr; // High's marking, bound by LinkVariables
    };

    counterSAN();
    ~counterSAN() override; // deletes the places
    counterSAN(const counterSAN&) = delete;
    counterSAN& operator=(const counterSAN&) = delete;

    Place* low = nullptr;     // owned
    Place* high = nullptr;    // owned
    std::vector<Place*> pads; // owned: the Width widening places
    tickActivity tick;
};
