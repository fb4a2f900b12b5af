#include "timerSAN.h"

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

// report

timerSAN::reportActivity::reportActivity() : Activity() {
    DistributionParameters = newParameters(1);
    ActivityInitialize("report", 0, Deterministic, DefaultPolicy, 2, 1, false);
}

timerSAN::reportActivity::~reportActivity() {
    delete[] DistributionParameters;
}

bool timerSAN::reportActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = *idle_Mark > 0;
    return CurrentEnabled;
}

double timerSAN::reportActivity::SampleDistribution() {
    return TheDistribution->Deterministic(P);
}

double* timerSAN::reportActivity::ReturnDistributionParameters() {
    DistributionParameters[0] = P;
    return DistributionParameters;
}

BaseActionClass* timerSAN::reportActivity::Fire() {
    *idle_Mark = static_cast<short>(*idle_Mark - 1);
    *pending_Mark = static_cast<short>(*pending_Mark + 1);
    return this;
}

void timerSAN::reportActivity::LinkVariables() {
    idle->registerPointer(&idle_Mark);
    pending->registerPointer(&pending_Mark);
}

// ack

timerSAN::ackActivity::ackActivity() : Activity() {
    DistributionParameters = newParameters(1);
    ActivityInitialize("ack", 1, Exponential, DefaultPolicy, 3, 1, false);
}

timerSAN::ackActivity::~ackActivity() {
    delete[] DistributionParameters;
}

bool timerSAN::ackActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = *sent_Mark > 0;
    return CurrentEnabled;
}

double timerSAN::ackActivity::SampleDistribution() {
    return TheDistribution->Exponential(mu);
}

double* timerSAN::ackActivity::ReturnDistributionParameters() {
    DistributionParameters[0] = Rate();
    return DistributionParameters;
}

BaseActionClass* timerSAN::ackActivity::Fire() {
    *sent_Mark = static_cast<short>(*sent_Mark - 1);
    *idle_Mark = static_cast<short>(*idle_Mark + 1);
    *retries_Mark = 0;
    return this;
}

void timerSAN::ackActivity::LinkVariables() {
    sent->registerPointer(&sent_Mark);
    idle->registerPointer(&idle_Mark);
    retries->registerPointer(&retries_Mark);
}

// timeout

timerSAN::timeoutActivity::timeoutActivity() : Activity() {
    DistributionParameters = newParameters(1);
    ActivityInitialize("timeout", 2, Deterministic, DefaultPolicy, 5, 2, false);
}

timerSAN::timeoutActivity::~timeoutActivity() {
    delete[] DistributionParameters;
}

bool timerSAN::timeoutActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = *sent_Mark > 0 || *lost_Mark > 0;
    return CurrentEnabled;
}

double timerSAN::timeoutActivity::SampleDistribution() {
    return TheDistribution->Deterministic(T);
}

double* timerSAN::timeoutActivity::ReturnDistributionParameters() {
    DistributionParameters[0] = T;
    return DistributionParameters;
}

BaseActionClass* timerSAN::timeoutActivity::Fire() {
    *sent_Mark = 0;
    *lost_Mark = 0;
    if (*retries_Mark < R) {
        *retries_Mark = static_cast<short>(*retries_Mark + 1);
        *pending_Mark = static_cast<short>(*pending_Mark + 1);
    } else {
        *retries_Mark = 0;
        *idle_Mark = static_cast<short>(*idle_Mark + 1);
    }
    return this;
}

void timerSAN::timeoutActivity::LinkVariables() {
    sent->registerPointer(&sent_Mark);
    lost->registerPointer(&lost_Mark);
    retries->registerPointer(&retries_Mark);
    pending->registerPointer(&pending_Mark);
    idle->registerPointer(&idle_Mark);
}

// deliver

timerSAN::deliverActivity::deliverActivity() : Activity() {
    ActivityInitialize("deliver", 3, Instantaneous, DefaultPolicy, 2, 1, false);
}

bool timerSAN::deliverActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = *pending_Mark > 0;
    return CurrentEnabled;
}

BaseActionClass* timerSAN::deliverActivity::Fire() {
    *pending_Mark = static_cast<short>(*pending_Mark - 1);
    *sent_Mark = static_cast<short>(*sent_Mark + 1);
    return this;
}

void timerSAN::deliverActivity::LinkVariables() {
    pending->registerPointer(&pending_Mark);
    sent->registerPointer(&sent_Mark);
}

// lose

timerSAN::loseActivity::loseActivity() : Activity() {
    ActivityInitialize("lose", 3, Instantaneous, DefaultPolicy, 2, 1, false);
}

bool timerSAN::loseActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = *pending_Mark > 0;
    return CurrentEnabled;
}

BaseActionClass* timerSAN::loseActivity::Fire() {
    *pending_Mark = static_cast<short>(*pending_Mark - 1);
    *lost_Mark = static_cast<short>(*lost_Mark + 1);
    return this;
}

void timerSAN::loseActivity::LinkVariables() {
    pending->registerPointer(&pending_Mark);
    lost->registerPointer(&lost_Mark);
}

// The model

timerSAN::timerSAN()
    : SANModel(), report(), ack(), timeout(), deliver(), lose(), channel(), ImmediateGroup() {
    channel.initialize(2, "channel");
    channel.appendGroup(&deliver);
    channel.appendGroup(&lose);
    channel.setGroupId(3);

    Activity* activities[] = {&report, &ack, &timeout, &deliver, &lose};
    BaseGroupClass* groups[] = {&report, &ack, &timeout, &channel};

    idle = new Place("idle", 1);
    pending = new Place("pending", 0);
    sent = new Place("sent", 0);
    lost = new Place("lost", 0);
    retries = new Place("retries", 0);
    BaseStateVariableClass* places[] = {idle, pending, sent, lost, retries};
    BaseStateVariableClass** readOnlyPlaces = nullptr;

    initializeSANModelNow("timer", 5, places, 0, readOnlyPlaces, 5, activities, 4, groups);
    assignPlacesToActivitiesInst();
    assignPlacesToActivitiesTimed();

    AddAffectArc(idle, &report);
    AddAffectArc(pending, &report);
    AddAffectArc(sent, &ack);
    AddAffectArc(idle, &ack);
    AddAffectArc(retries, &ack);
    AddAffectArc(sent, &timeout);
    AddAffectArc(lost, &timeout);
    AddAffectArc(retries, &timeout);
    AddAffectArc(pending, &timeout);
    AddAffectArc(idle, &timeout);
    AddAffectArc(pending, &deliver);
    AddAffectArc(sent, &deliver);
    AddAffectArc(pending, &lose);
    AddAffectArc(lost, &lose);

    AddEnableArc(idle, &report);
    AddEnableArc(sent, &ack);
    AddEnableArc(sent, &timeout);
    AddEnableArc(lost, &timeout);
    AddEnableArc(pending, &deliver);
    AddEnableArc(pending, &lose);

    report.LinkVariables();
    ack.LinkVariables();
    timeout.LinkVariables();
    deliver.LinkVariables();
    lose.LinkVariables();
}

timerSAN::~timerSAN() {
    for (int i = 0; i < NumStateVariables - NumReadOnlyPlaces; ++i)
        delete Places[i];
}

void timerSAN::assignPlacesToActivitiesInst() {
    auto place = [this](int i) { return static_cast<Place*>(Places[i]); };
    deliver.pending = place(1);
    deliver.sent = place(2);
    lose.pending = place(1);
    lose.lost = place(3);
}

void timerSAN::assignPlacesToActivitiesTimed() {
    auto place = [this](int i) { return static_cast<Place*>(Places[i]); };
    report.idle = place(0);
    report.pending = place(1);
    ack.sent = place(2);
    ack.idle = place(0);
    ack.retries = place(4);
    timeout.sent = place(2);
    timeout.lost = place(3);
    timeout.retries = place(4);
    timeout.pending = place(1);
    timeout.idle = place(0);
}
