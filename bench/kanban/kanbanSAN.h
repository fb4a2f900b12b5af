#pragma once
// kanbanSAN: the flexible manufacturing system with kanban control of the
// CTMC benchmark literature: four stations, N kanban cards each (N being the
// study's global variable as it stands when the model is built). A part
// enters station 1 with a free card (tin1), is worked on, goes back for
// rework (tredo) and returns (tback), or is finished (tok); finished parts of
// station 1 move on to stations 2 and 3 together (tsynch1_23), whose finished
// parts join in station 4 (tsynch23_4), whose finished parts leave (tout4).
// Every move frees the card of the station left and takes one of the station
// entered.
//
// Places, in state-vector order: Pm1, Pback1, Pkan1, Pout1, Pm2, ..., Pout4
// (parts in work, parts in rework, free cards, finished parts of each
// station); initially Pkan1 .. Pkan4 hold N and the others 0. Activities, in
// order, all exponential with constant rates: tin1; tredo_i, tok_i, tback_i
// for i = 1 .. 4; tsynch1_23; tsynch23_4; tout4.

#include "GlobalVariables.h"
#include "actions/Activity.h"
#include "actions/EmptyGroup.h"
#include "models/SANModel.h"
#include "state/Place.h"

#include <vector>

class kanbanSAN : public SANModel {
public:
    // An activity that takes one token from each of its input places and puts
    // one into each of its output places, enabled while every input place
    // holds a token, at a constant rate.
    class TransferActivity : public Activity {
    public:
        TransferActivity(const char* name, int groupId, double rate, std::vector<Place*> inputs,
                         std::vector<Place*> outputs);
        ~TransferActivity() override;
        TransferActivity(const TransferActivity&) = delete;
        TransferActivity& operator=(const TransferActivity&) = delete;

        bool Enabled() override;
        double Rate() override { return TheRate; }
        double Weight() override { return 1.0; }
        bool ReactivationPredicate() override { return false; }
        bool ReactivationFunction() override { return false; }
        double SampleDistribution() override;
        double* ReturnDistributionParameters() override;
        BaseActionClass* Fire() override;
        int Rank() override { return 1; }
        void LinkVariables() override; // binds InMarks and OutMarks

        double TheRate;
        std::vector<Place*> Inputs;     // not owned
        std::vector<Place*> Outputs;    // not owned
        std::vector<short*> InMarks;    // the inputs' markings, bound by LinkVariables
        std::vector<short*> OutMarks;   // the outputs' markings, bound by LinkVariables
        double* DistributionParameters; // owned, one entry: the rate
    };

    kanbanSAN();
    // Deletes the places and the activities.
    ~kanbanSAN() override;
    kanbanSAN(const kanbanSAN&) = delete;
    kanbanSAN& operator=(const kanbanSAN&) = delete;

    static constexpr int NumStations = 4;
    // The places of station i (from 0); owned.
    Place* Pm[NumStations];
    Place* Pback[NumStations];
    Place* Pkan[NumStations];
    Place* Pout[NumStations];
    std::vector<TransferActivity*> Transfers; // owned, in activity order
    EmptyGroup ImmediateGroup;                // not listed among the model's groups
};
