#include "multiprocSAN.h"

#include "base/Errors.h"
#include "distributions/UserDistributions.h"

#include <new>

namespace {

double* newParameters(int count) {
    double* parameters = new (std::nothrow) double[count];
    if (parameters == nullptr)
        MemoryAllocationError();
    return parameters;
}

} // namespace

// fail

multiprocSAN::failActivity::failActivity() : Activity() {
    DistributionParameters = newParameters(1);
    ActivityInitialize("fail", 0, Exponential, DefaultPolicy, 2, 2, false);
}

multiprocSAN::failActivity::~failActivity() {
    delete[] DistributionParameters;
}

bool multiprocSAN::failActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = *up_Mark > 0 && *crashed_Mark == 0;
    return CurrentEnabled;
}

double multiprocSAN::failActivity::Rate() {
    return lambda * *up_Mark;
}

double multiprocSAN::failActivity::SampleDistribution() {
    return TheDistribution->Exponential(lambda * *up_Mark);
}

double* multiprocSAN::failActivity::ReturnDistributionParameters() {
    DistributionParameters[0] = Rate();
    return DistributionParameters;
}

BaseActionClass* multiprocSAN::failActivity::Fire() {
    *up_Mark = static_cast<short>(*up_Mark - 1);
    *failing_Mark = static_cast<short>(*failing_Mark + 1);
    return this;
}

void multiprocSAN::failActivity::LinkVariables() {
    up->registerPointer(&up_Mark);
    failing->registerPointer(&failing_Mark);
    crashed->registerPointer(&crashed_Mark);
}

// repair

multiprocSAN::repairActivity::repairActivity() : Activity() {
    DistributionParameters = newParameters(1);
    ActivityInitialize("repair", 1, Exponential, DefaultPolicy, 2, 1, false);
}

multiprocSAN::repairActivity::~repairActivity() {
    delete[] DistributionParameters;
}

bool multiprocSAN::repairActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = *down_Mark > 0;
    return CurrentEnabled;
}

double multiprocSAN::repairActivity::SampleDistribution() {
    return TheDistribution->Exponential(mu);
}

double* multiprocSAN::repairActivity::ReturnDistributionParameters() {
    DistributionParameters[0] = Rate();
    return DistributionParameters;
}

BaseActionClass* multiprocSAN::repairActivity::Fire() {
    *down_Mark = static_cast<short>(*down_Mark - 1);
    *up_Mark = static_cast<short>(*up_Mark + 1);
    return this;
}

void multiprocSAN::repairActivity::LinkVariables() {
    down->registerPointer(&down_Mark);
    up->registerPointer(&up_Mark);
}

// reboot

multiprocSAN::rebootActivity::rebootActivity() : Activity() {
    DistributionParameters = newParameters(1);
    ActivityInitialize("reboot", 2, Exponential, DefaultPolicy, 1, 1, false);
}

multiprocSAN::rebootActivity::~rebootActivity() {
    delete[] DistributionParameters;
}

bool multiprocSAN::rebootActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = *crashed_Mark > 0;
    return CurrentEnabled;
}

double multiprocSAN::rebootActivity::SampleDistribution() {
    return TheDistribution->Exponential(rho);
}

double* multiprocSAN::rebootActivity::ReturnDistributionParameters() {
    DistributionParameters[0] = Rate();
    return DistributionParameters;
}

BaseActionClass* multiprocSAN::rebootActivity::Fire() {
    *crashed_Mark = static_cast<short>(*crashed_Mark - 1);
    return this;
}

void multiprocSAN::rebootActivity::LinkVariables() {
    crashed->registerPointer(&crashed_Mark);
}

// exhausted

multiprocSAN::exhaustedActivity::exhaustedActivity() : Activity() {
    ActivityInitialize("exhausted", 3, Instantaneous, DefaultPolicy, 2, 2, false);
}

bool multiprocSAN::exhaustedActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = *failing_Mark > 0 && *up_Mark == 0;
    return CurrentEnabled;
}

BaseActionClass* multiprocSAN::exhaustedActivity::Fire() {
    *failing_Mark = static_cast<short>(*failing_Mark - 1);
    *down_Mark = static_cast<short>(*down_Mark + 1);
    return this;
}

void multiprocSAN::exhaustedActivity::LinkVariables() {
    failing->registerPointer(&failing_Mark);
    up->registerPointer(&up_Mark);
    down->registerPointer(&down_Mark);
}

// covered

multiprocSAN::coveredActivity::coveredActivity() : Activity() {
    ActivityInitialize("covered", 4, Instantaneous, DefaultPolicy, 2, 1, false);
}

bool multiprocSAN::coveredActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = *failing_Mark > 0;
    return CurrentEnabled;
}

BaseActionClass* multiprocSAN::coveredActivity::Fire() {
    *failing_Mark = static_cast<short>(*failing_Mark - 1);
    *down_Mark = static_cast<short>(*down_Mark + 1);
    return this;
}

void multiprocSAN::coveredActivity::LinkVariables() {
    failing->registerPointer(&failing_Mark);
    down->registerPointer(&down_Mark);
}

// uncovered

multiprocSAN::uncoveredActivity::uncoveredActivity() : Activity() {
    ActivityInitialize("uncovered", 5, Instantaneous, DefaultPolicy, 3, 1, false);
}

bool multiprocSAN::uncoveredActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = *failing_Mark > 0;
    return CurrentEnabled;
}

BaseActionClass* multiprocSAN::uncoveredActivity::Fire() {
    *failing_Mark = static_cast<short>(*failing_Mark - 1);
    *down_Mark = static_cast<short>(*down_Mark + 1);
    *crashed_Mark = static_cast<short>(*crashed_Mark + 1);
    return this;
}

void multiprocSAN::uncoveredActivity::LinkVariables() {
    failing->registerPointer(&failing_Mark);
    down->registerPointer(&down_Mark);
    crashed->registerPointer(&crashed_Mark);
}

// The model

multiprocSAN::multiprocSAN()
    : SANModel(), fail(), repair(), reboot(), exhausted(), covered(), uncovered(),
      ImmediateGroup() {
    Activity* activities[] = {&fail, &repair, &reboot, &exhausted, &covered, &uncovered};
    BaseGroupClass* groups[] = {&fail, &repair, &reboot, &exhausted, &covered, &uncovered};

    up = new Place("up", static_cast<short>(K));
    failing = new Place("failing", 0);
    down = new Place("down", 0);
    crashed = new Place("crashed", 0);
    BaseStateVariableClass* places[] = {up, failing, down, crashed};
    BaseStateVariableClass** readOnlyPlaces = nullptr;

    initializeSANModelNow("multiproc", 4, places, 0, readOnlyPlaces, 6, activities, 6, groups);
    assignPlacesToActivitiesInst();
    assignPlacesToActivitiesTimed();

    AddAffectArc(up, &fail);
    AddAffectArc(failing, &fail);
    AddAffectArc(down, &repair);
    AddAffectArc(up, &repair);
    AddAffectArc(crashed, &reboot);
    AddAffectArc(failing, &exhausted);
    AddAffectArc(down, &exhausted);
    AddAffectArc(failing, &covered);
    AddAffectArc(down, &covered);
    AddAffectArc(failing, &uncovered);
    AddAffectArc(down, &uncovered);
    AddAffectArc(crashed, &uncovered);

    AddEnableArc(up, &fail);
    AddEnableArc(crashed, &fail);
    AddEnableArc(down, &repair);
    AddEnableArc(crashed, &reboot);
    AddEnableArc(failing, &exhausted);
    AddEnableArc(up, &exhausted);
    AddEnableArc(failing, &covered);
    AddEnableArc(failing, &uncovered);

    fail.LinkVariables();
    repair.LinkVariables();
    reboot.LinkVariables();
    exhausted.LinkVariables();
    covered.LinkVariables();
    uncovered.LinkVariables();
}

multiprocSAN::~multiprocSAN() {
    for (int i = 0; i < NumStateVariables - NumReadOnlyPlaces; ++i)
        delete Places[i];
}

void multiprocSAN::assignPlacesToActivitiesInst() {
    auto place = [this](int i) { return static_cast<Place*>(Places[i]); };
    exhausted.failing = place(1);
    exhausted.up = place(0);
    exhausted.down = place(2);
    covered.failing = place(1);
    covered.down = place(2);
    uncovered.failing = place(1);
    uncovered.down = place(2);
    uncovered.crashed = place(3);
}

void multiprocSAN::assignPlacesToActivitiesTimed() {
    auto place = [this](int i) { return static_cast<Place*>(Places[i]); };
    fail.up = place(0);
    fail.failing = place(1);
    fail.crashed = place(3);
    repair.down = place(2);
    repair.up = place(0);
    reboot.crashed = place(3);
}
