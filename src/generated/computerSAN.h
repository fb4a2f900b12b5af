#pragma once
// computerSAN: the SAN of one computer that alternates between idle and busy
// and can fail from either condition. Places idle, busy and failed; exponential
// activities arrival, completion, busy_fail and idle_fail whose rates are the
// global variables alpha, beta, lambda_w and lambda_i, read at every call.

#include "actions/Activity.h"
#include "actions/EmptyGroup.h"
#include "generated/GlobalVariables.h"
#include "models/SANModel.h"
#include "state/Place.h"

class computerSAN : public SANModel {
public:
    // An exponential activity that takes a token from InputPlace and puts one
    // into OutputPlace; its rate is the global variable RateVariable. Each of
    // the model's activities is one instance of it.
    template <double& RateVariable> class TokenMoveActivity : public Activity {
    public:
        TokenMoveActivity(const char* name, int groupId);
        ~TokenMoveActivity() override;
        TokenMoveActivity(const TokenMoveActivity&) = delete;
        TokenMoveActivity& operator=(const TokenMoveActivity&) = delete;

        bool Enabled() override;
        double Rate() override { return RateVariable; }
        double Weight() override { return 1.0; }
        bool ReactivationPredicate() override { return false; }
        bool ReactivationFunction() override { return false; }
        double SampleDistribution() override;
        double* ReturnDistributionParameters() override;
        BaseActionClass* Fire() override;
        int Rank() override { return 1; }
        // Binds InputMark and OutputMark to the places' markings and registers
        // them with the places, so that sharing moves them along.
        void LinkVariables() override;

        Place* InputPlace = nullptr;    // not owned: the model's place
        short* InputMark = nullptr;     // InputPlace's marking, bound by LinkVariables
        Place* OutputPlace = nullptr;   // not owned: the model's place
        short* OutputMark = nullptr;    // OutputPlace's marking, bound by LinkVariables
        double* DistributionParameters; // owned, one entry: the rate
    };

    using arrivalActivity = TokenMoveActivity<alpha>;
    using completionActivity = TokenMoveActivity<beta>;
    using busy_failActivity = TokenMoveActivity<lambda_w>;
    using idle_failActivity = TokenMoveActivity<lambda_i>;

    computerSAN();
    // Deletes the places, then the group and activities go with the object.
    ~computerSAN() override;
    computerSAN(const computerSAN&) = delete;
    computerSAN& operator=(const computerSAN&) = delete;

    void CustomInitialization() {}
    void assignPlacesToActivitiesInst() {}
    void assignPlacesToActivitiesTimed();

    Place* idle = nullptr;   // owned
    Place* busy = nullptr;   // owned
    Place* failed = nullptr; // owned
    arrivalActivity arrival;
    completionActivity completion;
    busy_failActivity busy_fail;
    idle_failActivity idle_fail;
    EmptyGroup ImmediateGroup; // not listed among the model's groups
};
