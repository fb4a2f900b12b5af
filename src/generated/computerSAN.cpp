#include "generated/computerSAN.h"

#include "base/Errors.h"
#include "distributions/UserDistributions.h"

#include <new>

template <double& RateVariable>
computerSAN::TokenMoveActivity<RateVariable>::TokenMoveActivity(const char* name, int groupId)
    : Activity() {
    DistributionParameters = new (std::nothrow) double[1];
    if (DistributionParameters == nullptr)
        MemoryAllocationError();
    ActivityInitialize(name, groupId, Exponential, DefaultPolicy, 2, 1, false);
}

template <double& RateVariable> computerSAN::TokenMoveActivity<RateVariable>::~TokenMoveActivity() {
    delete[] DistributionParameters;
}

template <double& RateVariable> bool computerSAN::TokenMoveActivity<RateVariable>::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = *InputMark > 0;
    return CurrentEnabled;
}

template <double& RateVariable>
double computerSAN::TokenMoveActivity<RateVariable>::SampleDistribution() {
    return TheDistribution->Exponential(RateVariable);
}

template <double& RateVariable>
double* computerSAN::TokenMoveActivity<RateVariable>::ReturnDistributionParameters() {
    DistributionParameters[0] = Rate();
    return DistributionParameters;
}

template <double& RateVariable>
BaseActionClass* computerSAN::TokenMoveActivity<RateVariable>::Fire() {
    *InputMark = static_cast<short>(*InputMark - 1);
    *OutputMark = static_cast<short>(*OutputMark + 1);
    return this;
}

template <double& RateVariable> void computerSAN::TokenMoveActivity<RateVariable>::LinkVariables() {
    InputPlace->registerPointer(&InputMark);
    OutputPlace->registerPointer(&OutputMark);
}

template class computerSAN::TokenMoveActivity<alpha>;
template class computerSAN::TokenMoveActivity<beta>;
template class computerSAN::TokenMoveActivity<lambda_w>;
template class computerSAN::TokenMoveActivity<lambda_i>;

computerSAN::computerSAN()
    : SANModel(), arrival("arrival", 0), completion("completion", 1), busy_fail("busy_fail", 2),
      idle_fail("idle_fail", 3), ImmediateGroup() {
    Activity* activities[] = {&arrival, &completion, &busy_fail, &idle_fail};
    BaseGroupClass* groups[] = {&arrival, &completion, &busy_fail, &idle_fail};

    idle = new Place("idle", 1);
    busy = new Place("busy", 0);
    failed = new Place("failed", 0);
    BaseStateVariableClass* places[] = {idle, busy, failed};
    BaseStateVariableClass** readOnlyPlaces = nullptr;

    initializeSANModelNow("computer", 3, places, 0, readOnlyPlaces, 4, activities, 4, groups);
    assignPlacesToActivitiesTimed();

    AddAffectArc(idle, &arrival);
    AddAffectArc(busy, &arrival);
    AddAffectArc(busy, &completion);
    AddAffectArc(idle, &completion);
    AddAffectArc(busy, &busy_fail);
    AddAffectArc(failed, &busy_fail);
    AddAffectArc(idle, &idle_fail);
    AddAffectArc(failed, &idle_fail);

    AddEnableArc(idle, &arrival);
    AddEnableArc(busy, &completion);
    AddEnableArc(busy, &busy_fail);
    AddEnableArc(idle, &idle_fail);

    arrival.LinkVariables();
    completion.LinkVariables();
    busy_fail.LinkVariables();
    idle_fail.LinkVariables();
}

computerSAN::~computerSAN() {
    for (int i = 0; i < NumStateVariables - NumReadOnlyPlaces; ++i)
        delete Places[i];
}

void computerSAN::assignPlacesToActivitiesTimed() {
    auto place = [this](int i) { return static_cast<Place*>(Places[i]); };
    arrival.InputPlace = place(0);
    arrival.OutputPlace = place(1);
    completion.InputPlace = place(1);
    completion.OutputPlace = place(0);
    busy_fail.InputPlace = place(1);
    busy_fail.OutputPlace = place(2);
    idle_fail.InputPlace = place(0);
    idle_fail.OutputPlace = place(2);
}
