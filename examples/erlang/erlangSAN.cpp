#include "erlangSAN.h"

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

// arrive_a

erlangSAN::arrive_aActivity::arrive_aActivity() : Activity() {
    DistributionParameters = newParameters(1);
    ActivityInitialize("arrive_a", 0, Exponential, DefaultPolicy, 1, 1, false);
}

erlangSAN::arrive_aActivity::~arrive_aActivity() {
    delete[] DistributionParameters;
}

bool erlangSAN::arrive_aActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = *qa_Mark < C;
    return CurrentEnabled;
}

double erlangSAN::arrive_aActivity::SampleDistribution() {
    return TheDistribution->Exponential(lambda_a);
}

double* erlangSAN::arrive_aActivity::ReturnDistributionParameters() {
    DistributionParameters[0] = Rate();
    return DistributionParameters;
}

BaseActionClass* erlangSAN::arrive_aActivity::Fire() {
    *qa_Mark = static_cast<short>(*qa_Mark + 1);
    return this;
}

void erlangSAN::arrive_aActivity::LinkVariables() {
    qa->registerPointer(&qa_Mark);
}

// arrive_b

erlangSAN::arrive_bActivity::arrive_bActivity() : Activity() {
    DistributionParameters = newParameters(2);
    ActivityInitialize("arrive_b", 1, Erlang, DefaultPolicy, 1, 1, false);
}

erlangSAN::arrive_bActivity::~arrive_bActivity() {
    delete[] DistributionParameters;
}

bool erlangSAN::arrive_bActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = *qb_Mark < C;
    return CurrentEnabled;
}

double erlangSAN::arrive_bActivity::SampleDistribution() {
    return TheDistribution->Erlang(k_arrival, k_arrival / lambda_b);
}

double* erlangSAN::arrive_bActivity::ReturnDistributionParameters() {
    DistributionParameters[0] = k_arrival;
    DistributionParameters[1] = k_arrival / lambda_b;
    return DistributionParameters;
}

BaseActionClass* erlangSAN::arrive_bActivity::Fire() {
    *qb_Mark = static_cast<short>(*qb_Mark + 1);
    return this;
}

void erlangSAN::arrive_bActivity::LinkVariables() {
    qb->registerPointer(&qb_Mark);
}

// serve_a

erlangSAN::serve_aActivity::serve_aActivity() : Activity() {
    DistributionParameters = newParameters(2);
    ActivityInitialize("serve_a", 2, Erlang, DefaultPolicy, 1, 1, false);
}

erlangSAN::serve_aActivity::~serve_aActivity() {
    delete[] DistributionParameters;
}

bool erlangSAN::serve_aActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = *qa_Mark > 0;
    return CurrentEnabled;
}

double erlangSAN::serve_aActivity::SampleDistribution() {
    return TheDistribution->Erlang(k_service, k_service / mu);
}

double* erlangSAN::serve_aActivity::ReturnDistributionParameters() {
    DistributionParameters[0] = k_service;
    DistributionParameters[1] = k_service / mu;
    return DistributionParameters;
}

BaseActionClass* erlangSAN::serve_aActivity::Fire() {
    *qa_Mark = static_cast<short>(*qa_Mark - 1);
    return this;
}

void erlangSAN::serve_aActivity::LinkVariables() {
    qa->registerPointer(&qa_Mark);
}

// serve_b

erlangSAN::serve_bActivity::serve_bActivity() : Activity() {
    DistributionParameters = newParameters(2);
    ActivityInitialize("serve_b", 2, Erlang, DefaultPolicy, 1, 1, false);
}

erlangSAN::serve_bActivity::~serve_bActivity() {
    delete[] DistributionParameters;
}

bool erlangSAN::serve_bActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = *qb_Mark > 0;
    return CurrentEnabled;
}

double erlangSAN::serve_bActivity::SampleDistribution() {
    return TheDistribution->Erlang(k_service, k_service / mu);
}

double* erlangSAN::serve_bActivity::ReturnDistributionParameters() {
    DistributionParameters[0] = k_service;
    DistributionParameters[1] = k_service / mu;
    return DistributionParameters;
}

BaseActionClass* erlangSAN::serve_bActivity::Fire() {
    *qb_Mark = static_cast<short>(*qb_Mark - 1);
    return this;
}

void erlangSAN::serve_bActivity::LinkVariables() {
    qb->registerPointer(&qb_Mark);
}

// The model

erlangSAN::erlangSAN()
    : SANModel(), arrive_a(), arrive_b(), serve_a(), serve_b(), server(), ImmediateGroup() {
    server.initialize(2, "server");
    server.appendGroup(&serve_a);
    server.appendGroup(&serve_b);
    server.setGroupId(2);

    Activity* activities[] = {&arrive_a, &arrive_b, &serve_a, &serve_b};
    BaseGroupClass* groups[] = {&arrive_a, &arrive_b, &server};

    qa = new Place("qa", 0);
    qb = new Place("qb", 0);
    BaseStateVariableClass* places[] = {qa, qb};
    BaseStateVariableClass** readOnlyPlaces = nullptr;

    initializeSANModelNow("erlang", 2, places, 0, readOnlyPlaces, 4, activities, 3, groups);
    assignPlacesToActivitiesTimed();

    AddAffectArc(qa, &arrive_a);
    AddAffectArc(qb, &arrive_b);
    AddAffectArc(qa, &serve_a);
    AddAffectArc(qb, &serve_b);

    AddEnableArc(qa, &arrive_a);
    AddEnableArc(qb, &arrive_b);
    AddEnableArc(qa, &serve_a);
    AddEnableArc(qb, &serve_b);

    arrive_a.LinkVariables();
    arrive_b.LinkVariables();
    serve_a.LinkVariables();
    serve_b.LinkVariables();
}

erlangSAN::~erlangSAN() {
    for (int i = 0; i < NumStateVariables - NumReadOnlyPlaces; ++i)
        delete Places[i];
}

void erlangSAN::assignPlacesToActivitiesTimed() {
    auto place = [this](int i) { return static_cast<Place*>(Places[i]); };
    arrive_a.qa = place(0);
    arrive_b.qb = place(1);
    serve_a.qa = place(0);
    serve_b.qb = place(1);
}
