#pragma once
// erlangSAN: one server shared by two job classes a and b, each with a buffer of
// C places. Class a arrives at exponential rate lambda_a; class b arrives after
// an Erlang time of k_arrival phases of rate lambda_b. The service time is
// Erlang with k_service phases of rate mu. The two service activities form the
// group server: when jobs of both classes wait, the class to serve is chosen by
// the weights w_a and w_b, so each service activity gets its share of the rate,
// and a phase advance of either one advances both.
//
// Places: qa, qb (jobs of each class).

#include "GlobalVariables.h"
#include "actions/Activity.h"
#include "actions/EmptyGroup.h"
#include "models/SANModel.h"
#include "state/Place.h"

class erlangSAN : public SANModel {
public:
    // A job of class a arrives: qa + 1; exponential, rate lambda_a.
    class arrive_aActivity : public Activity {
    public:
        arrive_aActivity();
        ~arrive_aActivity() override;
        arrive_aActivity(const arrive_aActivity&) = delete;
        arrive_aActivity& operator=(const arrive_aActivity&) = delete;

        bool Enabled() override;
        double Rate() override { return lambda_a; }
        double Weight() override { return 1.0; }
        int Rank() override { return 1; }
        bool ReactivationPredicate() override { return false; }
        bool ReactivationFunction() override { return false; }
        double SampleDistribution() override;
        double* ReturnDistributionParameters() override;
        BaseActionClass* Fire() override;
        void LinkVariables() override;

        Place* qa = nullptr;            // not owned: the model's place
        short* qa_Mark = nullptr;       // its marking, bound by LinkVariables
        double* DistributionParameters; // owned, one entry: the rate
    };

    // A job of class b arrives: qb + 1; Erlang, k_arrival phases of rate lambda_b.
    class arrive_bActivity : public Activity {
    public:
        arrive_bActivity();
        ~arrive_bActivity() override;
        arrive_bActivity(const arrive_bActivity&) = delete;
        arrive_bActivity& operator=(const arrive_bActivity&) = delete;

        bool Enabled() override;
        double Rate() override { return lambda_b; }
        double Weight() override { return 1.0; }
        int Rank() override { return 1; }
        bool ReactivationPredicate() override { return false; }
        bool ReactivationFunction() override { return false; }
        double SampleDistribution() override;
        double* ReturnDistributionParameters() override;
        BaseActionClass* Fire() override;
        double ErlangParamM() override { return k_arrival; }
        void LinkVariables() override;

        Place* qb = nullptr;
        short* qb_Mark = nullptr;
        double* DistributionParameters; // owned, two entries: phases and mean
    };

    // The server completes a job of class a: qa - 1; Erlang, k_service phases of
    // rate mu; weight w_a in the group server.
    class serve_aActivity : public Activity {
    public:
        serve_aActivity();
        ~serve_aActivity() override;
        serve_aActivity(const serve_aActivity&) = delete;
        serve_aActivity& operator=(const serve_aActivity&) = delete;

        bool Enabled() override;
        double Rate() override { return mu; }
        double Weight() override { return w_a; }
        int Rank() override { return 1; }
        bool ReactivationPredicate() override { return false; }
        bool ReactivationFunction() override { return false; }
        double SampleDistribution() override;
        double* ReturnDistributionParameters() override;
        BaseActionClass* Fire() override;
        double ErlangParamM() override { return k_service; }
        void LinkVariables() override;

        Place* qa = nullptr;
        short* qa_Mark = nullptr;
        double* DistributionParameters; // owned, two entries: phases and mean
    };

    // The server completes a job of class b: qb - 1; as serve_a with weight w_b.
    class serve_bActivity : public Activity {
    public:
        serve_bActivity();
        ~serve_bActivity() override;
        serve_bActivity(const serve_bActivity&) = delete;
        serve_bActivity& operator=(const serve_bActivity&) = delete;

        bool Enabled() override;
        double Rate() override { return mu; }
        double Weight() override { return w_b; }
        int Rank() override { return 1; }
        bool ReactivationPredicate() override { return false; }
        bool ReactivationFunction() override { return false; }
        double SampleDistribution() override;
        double* ReturnDistributionParameters() override;
        BaseActionClass* Fire() override;
        double ErlangParamM() override { return k_service; }
        void LinkVariables() override;

        Place* qb = nullptr;
        short* qb_Mark = nullptr;
        double* DistributionParameters; // owned, two entries: phases and mean
    };

    erlangSAN();
    // Deletes the places; the groups and the activities go with the object.
    ~erlangSAN() override;
    erlangSAN(const erlangSAN&) = delete;
    erlangSAN& operator=(const erlangSAN&) = delete;

    void CustomInitialization() {}
    void assignPlacesToActivitiesInst() {}
    void assignPlacesToActivitiesTimed();

    Place* qa = nullptr; // owned
    Place* qb = nullptr; // owned
    arrive_aActivity arrive_a;
    arrive_bActivity arrive_b;
    serve_aActivity serve_a;
    serve_bActivity serve_b;
    BaseGroupClass server;     // members serve_a and serve_b; group id 2
    EmptyGroup ImmediateGroup; // not listed among the model's groups
};
