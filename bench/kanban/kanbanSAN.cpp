#include "kanbanSAN.h"

#include "base/Errors.h"
#include "distributions/UserDistributions.h"

#include <new>
#include <string>
#include <utility>

// ---- TransferActivity ----

kanbanSAN::TransferActivity::TransferActivity(const char* name, int groupId, double rate,
                                              std::vector<Place*> inputs,
                                              std::vector<Place*> outputs)
    : Activity(), TheRate(rate), Inputs(std::move(inputs)), Outputs(std::move(outputs)),
      InMarks(Inputs.size(), nullptr), OutMarks(Outputs.size(), nullptr) {
    DistributionParameters = new (std::nothrow) double[1];
    if (DistributionParameters == nullptr)
        MemoryAllocationError();
    ActivityInitialize(name, groupId, Exponential, DefaultPolicy,
                       static_cast<int>(Inputs.size() + Outputs.size()),
                       static_cast<int>(Inputs.size()), false);
}

kanbanSAN::TransferActivity::~TransferActivity() {
    delete[] DistributionParameters;
}

bool kanbanSAN::TransferActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    bool enabled = true;
    for (short* mark : InMarks)
        enabled = enabled && *mark > 0;
    CurrentEnabled = enabled;
    return CurrentEnabled;
}

double kanbanSAN::TransferActivity::SampleDistribution() {
    return TheDistribution->Exponential(TheRate);
}

double* kanbanSAN::TransferActivity::ReturnDistributionParameters() {
    DistributionParameters[0] = TheRate;
    return DistributionParameters;
}

BaseActionClass* kanbanSAN::TransferActivity::Fire() {
    for (short* mark : InMarks)
        --*mark;
    for (short* mark : OutMarks)
        ++*mark;
    return this;
}

void kanbanSAN::TransferActivity::LinkVariables() {
    for (std::size_t i = 0; i < Inputs.size(); ++i)
        Inputs[i]->registerPointer(&InMarks[i]);
    for (std::size_t i = 0; i < Outputs.size(); ++i)
        Outputs[i]->registerPointer(&OutMarks[i]);
}

// ---- kanbanSAN ----

kanbanSAN::kanbanSAN() : SANModel(), ImmediateGroup() {
    std::vector<BaseStateVariableClass*> places;
    for (int i = 0; i < NumStations; ++i) {
        std::string station = std::to_string(i + 1);
        Pm[i] = new Place(("Pm" + station).c_str(), 0);
        Pback[i] = new Place(("Pback" + station).c_str(), 0);
        Pkan[i] = new Place(("Pkan" + station).c_str(), static_cast<short>(N));
        Pout[i] = new Place(("Pout" + station).c_str(), 0);
        places.insert(places.end(), {Pm[i], Pback[i], Pkan[i], Pout[i]});
    }

    // Every activity is its own group, so the group ids are the activities' positions.
    auto transfer = [this](const char* name, double rate, std::vector<Place*> in,
                           std::vector<Place*> out) {
        int id = static_cast<int>(Transfers.size());
        Transfers.push_back(new TransferActivity(name, id, rate, std::move(in), std::move(out)));
    };
    transfer("tin1", 1.0, {Pkan[0]}, {Pm[0]});
    for (int i = 0; i < NumStations; ++i) {
        std::string station = std::to_string(i + 1);
        transfer(("tredo" + station).c_str(), 0.36, {Pm[i]}, {Pback[i]});
        transfer(("tok" + station).c_str(), 0.84, {Pm[i]}, {Pout[i]});
        transfer(("tback" + station).c_str(), 0.3, {Pback[i]}, {Pm[i]});
    }
    transfer("tsynch1_23", 0.4, {Pout[0], Pkan[1], Pkan[2]}, {Pkan[0], Pm[1], Pm[2]});
    transfer("tsynch23_4", 0.5, {Pout[1], Pout[2], Pkan[3]}, {Pkan[1], Pkan[2], Pm[3]});
    transfer("tout4", 0.9, {Pout[3]}, {Pkan[3]});

    std::vector<Activity*> activities(Transfers.begin(), Transfers.end());
    std::vector<BaseGroupClass*> groups(Transfers.begin(), Transfers.end());
    const int numActivities = static_cast<int>(activities.size());
    initializeSANModelNow("kanban", static_cast<int>(places.size()), places.data(), 0, nullptr,
                          numActivities, activities.data(), numActivities, groups.data());

    for (TransferActivity* t : Transfers) {
        for (Place* p : t->Inputs)
            AddAffectArc(p, t);
        for (Place* p : t->Outputs)
            AddAffectArc(p, t);
    }
    for (TransferActivity* t : Transfers)
        for (Place* p : t->Inputs)
            AddEnableArc(p, t);
    for (TransferActivity* t : Transfers)
        t->LinkVariables();
}

kanbanSAN::~kanbanSAN() {
    for (int i = 0; i < NumStateVariables - NumReadOnlyPlaces; ++i)
        delete Places[i];
    for (TransferActivity* t : Transfers)
        delete t;
}
