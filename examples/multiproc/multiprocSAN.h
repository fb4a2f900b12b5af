#pragma once
// multiprocSAN: a multiprocessor of K processors. A working processor fails at
// rate lambda; in zero time the failure is either covered (weight coverage: the
// processor is switched out) or not covered (weight 1 - coverage: the system
// crashes and runs again only after a reboot at rate rho). When the last working
// processor fails there is nothing left to reconfigure: the higher-ranked
// activity exhausted takes precedence over the coverage decision. One repairman
// repairs failed processors at rate mu, also while the system is crashed.
//
// Places: up (K), failing (the processor whose failure is being decided),
// down (failed processors), crashed.

#include "GlobalVariables.h"
#include "actions/Activity.h"
#include "actions/EmptyGroup.h"
#include "models/SANModel.h"
#include "state/Place.h"

class multiprocSAN : public SANModel {
public:
    // A working processor fails: up -> failing; rate lambda * up, disabled while crashed.
    class failActivity : public Activity {
    public:
        failActivity();
        ~failActivity() override;
        failActivity(const failActivity&) = delete;
        failActivity& operator=(const failActivity&) = delete;

        bool Enabled() override;
        double Rate() override;
        double Weight() override { return 1.0; }
        int Rank() override { return 1; }
        bool ReactivationPredicate() override { return false; }
        bool ReactivationFunction() override { return false; }
        double SampleDistribution() override;
        double* ReturnDistributionParameters() override;
        BaseActionClass* Fire() override;
        void LinkVariables() override;

        Place* up = nullptr;      // not owned: the model's places
        short* up_Mark = nullptr; // their markings, bound by LinkVariables
        Place* failing = nullptr;
        short* failing_Mark = nullptr;
        Place* crashed = nullptr;
        short* crashed_Mark = nullptr;
        double* DistributionParameters; // owned, one entry: the rate
    };

    // The repairman repairs one processor: down -> up; rate mu.
    class repairActivity : public Activity {
    public:
        repairActivity();
        ~repairActivity() override;
        repairActivity(const repairActivity&) = delete;
        repairActivity& operator=(const repairActivity&) = delete;

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

        Place* down = nullptr;
        short* down_Mark = nullptr;
        Place* up = nullptr;
        short* up_Mark = nullptr;
        double* DistributionParameters; // owned, one entry: the rate
    };

    // The crashed system reboots: crashed -> 0; rate rho.
    class rebootActivity : public Activity {
    public:
        rebootActivity();
        ~rebootActivity() override;
        rebootActivity(const rebootActivity&) = delete;
        rebootActivity& operator=(const rebootActivity&) = delete;

        bool Enabled() override;
        double Rate() override { return rho; }
        double Weight() override { return 1.0; }
        int Rank() override { return 1; }
        bool ReactivationPredicate() override { return false; }
        bool ReactivationFunction() override { return false; }
        double SampleDistribution() override;
        double* ReturnDistributionParameters() override;
        BaseActionClass* Fire() override;
        void LinkVariables() override;

        Place* crashed = nullptr;
        short* crashed_Mark = nullptr;
        double* DistributionParameters; // owned, one entry: the rate
    };

    // The last working processor failed: failing -> down, whatever the coverage.
    // Instantaneous, rank 2.
    class exhaustedActivity : public Activity {
    public:
        exhaustedActivity();
        ~exhaustedActivity() override = default;
        exhaustedActivity(const exhaustedActivity&) = delete;
        exhaustedActivity& operator=(const exhaustedActivity&) = delete;

        bool Enabled() override;
        double Weight() override { return 1.0; }
        int Rank() override { return 2; }
        bool ReactivationPredicate() override { return false; }
        bool ReactivationFunction() override { return false; }
        BaseActionClass* Fire() override;
        void LinkVariables() override;

        Place* failing = nullptr;
        short* failing_Mark = nullptr;
        Place* up = nullptr;
        short* up_Mark = nullptr;
        Place* down = nullptr;
        short* down_Mark = nullptr;
    };

    // The failure is covered: failing -> down. Instantaneous, rank 1, weight coverage.
    class coveredActivity : public Activity {
    public:
        coveredActivity();
        ~coveredActivity() override = default;
        coveredActivity(const coveredActivity&) = delete;
        coveredActivity& operator=(const coveredActivity&) = delete;

        bool Enabled() override;
        double Weight() override { return coverage; }
        int Rank() override { return 1; }
        bool ReactivationPredicate() override { return false; }
        bool ReactivationFunction() override { return false; }
        BaseActionClass* Fire() override;
        void LinkVariables() override;

        Place* failing = nullptr;
        short* failing_Mark = nullptr;
        Place* down = nullptr;
        short* down_Mark = nullptr;
    };

    // The failure is not covered: failing -> down and the system crashes.
    // Instantaneous, rank 1, weight 1 - coverage.
    class uncoveredActivity : public Activity {
    public:
        uncoveredActivity();
        ~uncoveredActivity() override = default;
        uncoveredActivity(const uncoveredActivity&) = delete;
        uncoveredActivity& operator=(const uncoveredActivity&) = delete;

        bool Enabled() override;
        double Weight() override { return 1.0 - coverage; }
        int Rank() override { return 1; }
        bool ReactivationPredicate() override { return false; }
        bool ReactivationFunction() override { return false; }
        BaseActionClass* Fire() override;
        void LinkVariables() override;

        Place* failing = nullptr;
        short* failing_Mark = nullptr;
        Place* down = nullptr;
        short* down_Mark = nullptr;
        Place* crashed = nullptr;
        short* crashed_Mark = nullptr;
    };

    multiprocSAN();
    // Deletes the places; the group and the activities go with the object.
    ~multiprocSAN() override;
    multiprocSAN(const multiprocSAN&) = delete;
    multiprocSAN& operator=(const multiprocSAN&) = delete;

    void CustomInitialization() {}
    void assignPlacesToActivitiesInst();
    void assignPlacesToActivitiesTimed();

    Place* up = nullptr;      // owned
    Place* failing = nullptr; // owned
    Place* down = nullptr;    // owned
    Place* crashed = nullptr; // owned
    failActivity fail;
    repairActivity repair;
    rebootActivity reboot;
    exhaustedActivity exhausted;
    coveredActivity covered;
    uncoveredActivity uncovered;
    EmptyGroup ImmediateGroup; // not listed among the model's groups
};
