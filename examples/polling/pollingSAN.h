#pragma once
// pollingSAN: a cyclic-server polling system of N stations, N being the study's
// global variable as it stands when the model is built. Each station holds 0 or
// 1 job; a job arrives at an empty station at rate 1/N. One server visits the
// stations in cyclic order. Polling a station, it moves on to the next one at
// rate 200 when the station is empty (skip) and starts service at rate 200 when
// it holds a job (start); serving, it completes the job at rate 1, empties the
// station and moves on to poll the next station (serve).
//
// Places, in state-vector order: the array stations (the places station1 ..
// stationN, 0 or 1 job each), server (the visited station, 1 .. N) and serving
// (0 while polling, 1 while serving). Initially every station is empty and the
// server polls station 1. Activities: arrival1 .. arrivalN, skip, start, serve.

#include "GlobalVariables.h"
#include "actions/Activity.h"
#include "actions/EmptyGroup.h"
#include "models/SANModel.h"
#include "state/Place.h"
#include "state/StructStateVariable.h"

#include <memory>

class pollingSAN : public SANModel {
public:
    // The array state variable "stations": one short field per station, each the
    // place stationK (K = 1 .. size) holding the station's job count.
    class stationsArray : public BaseStructStateVariable {
    public:
        explicit stationsArray(int size); // `size` empty stations
        ~stationsArray() override;        // deletes the field places
        stationsArray(const stationsArray&) = delete;
        stationsArray& operator=(const stationsArray&) = delete;

        // The packed layout of the fields, as the structure's own walk writes
        // it, copied straight from the markings: the generator packs and
        // unpacks the array several times per transition.
        void SetState(void* from) override;
        void CurrentState(void* to) override;

        // The marking of station i (from 0).
        short mark(int i) const { return *cells[i]; }

        Place** element; // owned, with the places: the fields in order
        int size;        // number of fields
        // Owned array of `size` pointers to the fields' markings, registered with
        // the places so that sharing moves them along.
        std::unique_ptr<short*[]> cells;
    };

    // A job arrives at station Station (from 0) while it is empty, at rate 1/N.
    class arrivalActivity : public Activity {
    public:
        arrivalActivity();
        ~arrivalActivity() override;
        arrivalActivity(const arrivalActivity&) = delete;
        arrivalActivity& operator=(const arrivalActivity&) = delete;

        // Names the activity after its station and gives it its group id.
        void initialize(int station);

        bool Enabled() override;
        double Rate() override { return 1.0 / N; }
        double Weight() override { return 1.0; }
        bool ReactivationPredicate() override { return false; }
        bool ReactivationFunction() override { return false; }
        double SampleDistribution() override;
        double* ReturnDistributionParameters() override;
        BaseActionClass* Fire() override;
        int Rank() override { return 1; }
        void LinkVariables() override; // binds StationMark

        int Station = -1;               // the station, from 0
        Place* StationPlace = nullptr;  // not owned: the station's place
        short* StationMark = nullptr;   // its marking, bound by LinkVariables
        double* DistributionParameters; // owned, one entry: the rate
    };

    // What the server's three activities share: the places they read and write
    // and the marking pointers that LinkVariables binds to them.
    class ServerActivity : public Activity {
    public:
        // numAffected / numEnabling: the counts the generated initialisation passes.
        ServerActivity(const char* name, int groupId, int numAffected, int numEnabling);
        ~ServerActivity() override;
        ServerActivity(const ServerActivity&) = delete;
        ServerActivity& operator=(const ServerActivity&) = delete;

        double Weight() override { return 1.0; }
        bool ReactivationPredicate() override { return false; }
        bool ReactivationFunction() override { return false; }
        double SampleDistribution() override;
        double* ReturnDistributionParameters() override;
        int Rank() override { return 1; }
        // Binds ServerMark, ServingMark and every entry of StationMarks.
        void LinkVariables() override;

    protected:
        // The marking of the station the server visits.
        short& visitedStation() { return *StationMarks[*ServerMark - 1]; }
        // The server moves on to the next station in cyclic order.
        void moveOn() { *ServerMark = static_cast<short>(*ServerMark % NumStations + 1); }

    public:
        Place* ServerPlace = nullptr;           // not owned
        short* ServerMark = nullptr;            // bound by LinkVariables
        Place* ServingPlace = nullptr;          // not owned
        short* ServingMark = nullptr;           // bound by LinkVariables
        stationsArray* Stations = nullptr;      // not owned
        std::unique_ptr<short*[]> StationMarks; // owned array of NumStations pointers
        int NumStations = 0;
        double* DistributionParameters; // owned, one entry: the rate
    };

    // Polling an empty station: the server moves on, at rate 200.
    class skipActivity : public ServerActivity {
    public:
        explicit skipActivity(int groupId) : ServerActivity("skip", groupId, 1, 3) {}
        bool Enabled() override;
        double Rate() override { return 200.0; }
        BaseActionClass* Fire() override;
    };

    // Polling a station that holds a job: service starts, at rate 200.
    class startActivity : public ServerActivity {
    public:
        explicit startActivity(int groupId) : ServerActivity("start", groupId, 1, 3) {}
        bool Enabled() override;
        double Rate() override { return 200.0; }
        BaseActionClass* Fire() override;
    };

    // Serving: the job completes at rate 1, the station empties and the server
    // moves on to poll the next station.
    class serveActivity : public ServerActivity {
    public:
        explicit serveActivity(int groupId) : ServerActivity("serve", groupId, 3, 1) {}
        bool Enabled() override;
        double Rate() override { return 1.0; }
        BaseActionClass* Fire() override;
    };

    // Builds N stations; a value of N outside 1 .. 32767 ends the run (status 1).
    pollingSAN();
    // Deletes the places; the activities and the group go with the object.
    ~pollingSAN() override;
    pollingSAN(const pollingSAN&) = delete;
    pollingSAN& operator=(const pollingSAN&) = delete;

    void CustomInitialization() {}
    void assignPlacesToActivitiesInst() {}
    void assignPlacesToActivitiesTimed();

    const int NumStations;                      // N when the model was built
    stationsArray* stations = nullptr;          // owned
    Place* server = nullptr;                    // owned
    Place* serving = nullptr;                   // owned
    std::unique_ptr<arrivalActivity[]> arrival; // NumStations activities, station order
    skipActivity skip;
    startActivity start;
    serveActivity serve;
    EmptyGroup ImmediateGroup; // not listed among the model's groups
};
