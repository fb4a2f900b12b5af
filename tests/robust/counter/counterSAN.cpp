#include "counterSAN.h"

#include <string>

counterSAN::tickActivity::tickActivity() {
    ActivityInitialize("tick", 0, Exponential, DefaultPolicy, 2, 2, false);
}

bool counterSAN::tickActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    long count = static_cast<long>(*HighMark) * LowBase + *LowMark;
    CurrentEnabled = count + 1 < Size;
    return CurrentEnabled;
}

BaseActionClass* counterSAN::tickActivity::Fire() {
    if (*LowMark + 1 == LowBase) {
        *LowMark = 0;
        *HighMark = static_cast<short>(*HighMark + 1);
    } else {
        *LowMark = static_cast<short>(*LowMark + 1);
    }
    return this;
}

void counterSAN::tickActivity::LinkVariables() {
    Low->registerPointer(&LowMark);
    High->registerPointer(&HighMark);
}

counterSAN::counterSAN() {
    low = new Place("low", 0);
    high = new Place("high", 0);
    std::vector<BaseStateVariableClass*> places = {low, high};
    for (int i = 0; i < Width; ++i) {
        pads.push_back(new Place(("pad" + std::to_string(i)).c_str(), 0));
        places.push_back(pads.back());
    }
    Activity* activities[] = {&tick};
    BaseGroupClass* groups[] = {&tick};
    initializeSANModelNow("counter", static_cast<int>(places.size()), places.data(), 0, nullptr, 1,
                          activities, 1, groups);
    tick.Low = low;
    tick.High = high;
    AddAffectArc(low, &tick);
    AddAffectArc(high, &tick);
    AddEnableArc(low, &tick);
    AddEnableArc(high, &tick);
    tick.LinkVariables();
}

counterSAN::~counterSAN() {
    delete low;
    delete high;
    for (Place* pad : pads)
        delete pad;
}
