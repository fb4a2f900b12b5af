#pragma once
// timerSAN: a sensor that sends a report every P time units over a lossy link and
// waits for its acknowledgement. Each transmission is lost in zero time with
// probability loss (the group channel chooses between deliver and lose by their
// weights). A delivered report is acknowledged at rate mu. A timer of T time
// units runs while the sensor waits; when it expires the report is sent again,
// at most R times, after which it is given up.
//
// Places: idle (waiting for the next period), pending (a transmission on the
// link), sent (delivered, not yet acknowledged), lost, retries (retransmissions
// of the current report).

#include "GlobalVariables.h"
#include "actions/Activity.h"
#include "actions/EmptyGroup.h"
#include "models/SANModel.h"
#include "state/Place.h"

class timerSAN : public SANModel {
public:
    // The reporting period expires: idle -> pending. Deterministic, delay P.
    class reportActivity : public Activity {
    public:
        reportActivity();
        ~reportActivity() override;
        reportActivity(const reportActivity&) = delete;
        reportActivity& operator=(const reportActivity&) = delete;

        bool Enabled() override;
        double Weight() override { return 1.0; }
        int Rank() override { return 1; }
        bool ReactivationPredicate() override { return false; }
        bool ReactivationFunction() override { return false; }
        double SampleDistribution() override;
        double* ReturnDistributionParameters() override;
        BaseActionClass* Fire() override;
        void LinkVariables() override;

        Place* idle = nullptr;      // not owned: the model's places
        short* idle_Mark = nullptr; // their markings, bound by LinkVariables
        Place* pending = nullptr;
        short* pending_Mark = nullptr;
        double* DistributionParameters; // owned, one entry: the delay
    };

    // The acknowledgement arrives: sent -> idle, retries -> 0. Exponential, rate mu.
    class ackActivity : public Activity {
    public:
        ackActivity();
        ~ackActivity() override;
        ackActivity(const ackActivity&) = delete;
        ackActivity& operator=(const ackActivity&) = delete;

        bool Enabled() override;
        double Rate() override { return mu; }
        double Weight() override { return 1.0; }
        int Rank() override { return 1; }
        bool ReactivationPredicate() override { return false; }
        bool ReactivationFunction() override { return false; }
        double SampleDistribution() override;
        double* ReturnDistributionParameters() override;
        BaseActionClass* Fire() override;
        void LinkVariables() override;

        Place* sent = nullptr;
        short* sent_Mark = nullptr;
        Place* idle = nullptr;
        short* idle_Mark = nullptr;
        Place* retries = nullptr;
        short* retries_Mark = nullptr;
        double* DistributionParameters; // owned, one entry: the rate
    };

    // The timer expires while the sensor waits (sent or lost): the report is sent
    // again (pending, retries + 1) while retries < R, else given up (idle,
    // retries -> 0). Deterministic, delay T.
    class timeoutActivity : public Activity {
    public:
        timeoutActivity();
        ~timeoutActivity() override;
        timeoutActivity(const timeoutActivity&) = delete;
        timeoutActivity& operator=(const timeoutActivity&) = delete;

        bool Enabled() override;
        double Weight() override { return 1.0; }
        int Rank() override { return 1; }
        bool ReactivationPredicate() override { return false; }
        bool ReactivationFunction() override { return false; }
        double SampleDistribution() override;
        double* ReturnDistributionParameters() override;
        BaseActionClass* Fire() override;
        void LinkVariables() override;

        Place* sent = nullptr;
        short* sent_Mark = nullptr;
        Place* lost = nullptr;
        short* lost_Mark = nullptr;
        Place* retries = nullptr;
        short* retries_Mark = nullptr;
        Place* pending = nullptr;
        short* pending_Mark = nullptr;
        Place* idle = nullptr;
        short* idle_Mark = nullptr;
        double* DistributionParameters; // owned, one entry: the delay
    };

    // The link delivers the transmission: pending -> sent. Instantaneous, weight
    // 1 - loss in the group channel.
    class deliverActivity : public Activity {
    public:
        deliverActivity();
        ~deliverActivity() override = default;
        deliverActivity(const deliverActivity&) = delete;
        deliverActivity& operator=(const deliverActivity&) = delete;

        bool Enabled() override;
        double Weight() override { return 1.0 - loss; }
        int Rank() override { return 1; }
        bool ReactivationPredicate() override { return false; }
        bool ReactivationFunction() override { return false; }
        BaseActionClass* Fire() override;
        void LinkVariables() override;

        Place* pending = nullptr;
        short* pending_Mark = nullptr;
        Place* sent = nullptr;
        short* sent_Mark = nullptr;
    };

    // The link loses the transmission: pending -> lost. Instantaneous, weight loss
    // in the group channel.
    class loseActivity : public Activity {
    public:
        loseActivity();
        ~loseActivity() override = default;
        loseActivity(const loseActivity&) = delete;
        loseActivity& operator=(const loseActivity&) = delete;

        bool Enabled() override;
        double Weight() override { return loss; }
        int Rank() override { return 1; }
        bool ReactivationPredicate() override { return false; }
        bool ReactivationFunction() override { return false; }
        BaseActionClass* Fire() override;
        void LinkVariables() override;

        Place* pending = nullptr;
        short* pending_Mark = nullptr;
        Place* lost = nullptr;
        short* lost_Mark = nullptr;
    };

    timerSAN();
    // Deletes the places; the groups and the activities go with the object.
    ~timerSAN() override;
    timerSAN(const timerSAN&) = delete;
    timerSAN& operator=(const timerSAN&) = delete;

    void CustomInitialization() {}
    void assignPlacesToActivitiesInst();
    void assignPlacesToActivitiesTimed();

    Place* idle = nullptr;    // owned
    Place* pending = nullptr; // owned
    Place* sent = nullptr;    // owned
    Place* lost = nullptr;    // owned
    Place* retries = nullptr; // owned
    reportActivity report;
    ackActivity ack;
    timeoutActivity timeout;
    deliverActivity deliver;
    loseActivity lose;
    BaseGroupClass channel;    // members deliver and lose; group id 3
    EmptyGroup ImmediateGroup; // not listed among the model's groups
};
