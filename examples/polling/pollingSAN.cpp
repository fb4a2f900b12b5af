#include "pollingSAN.h"

#include "base/Errors.h"
#include "distributions/UserDistributions.h"

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>
#include <string>
#include <vector>

namespace {

// The server's position is a short marking, which bounds the number of stations.
constexpr int maxStations = 32767;

// N as the model's station count; a value the model cannot represent ends the run.
int checkedStationCount() {
    if (N < 1 || N > maxStations) {
        std::cerr << "!! pollingSAN::pollingSAN: the number of stations N = " << N
                  << " is outside 1.." << maxStations << std::endl;
        std::exit(1);
    }
    return N;
}

double* newParameters() {
    double* parameters = new (std::nothrow) double[1];
    if (parameters == nullptr)
        MemoryAllocationError();
    return parameters;
}

} // namespace

// ---- stationsArray ----

pollingSAN::stationsArray::stationsArray(int size)
    : BaseStructStateVariable("stations", ""), element(nullptr), size(size) {
    const std::vector<ArrayType> types(static_cast<std::size_t>(size), ShortElement);
    makeArrays(types.data(), size);
    element = new (std::nothrow) Place*[static_cast<std::size_t>(size)];
    if (element == nullptr)
        MemoryAllocationError();
    cells.reset(new (std::nothrow) short*[static_cast<std::size_t>(size)]);
    if (cells == nullptr)
        MemoryAllocationError();
    for (int i = 0; i < size; ++i) {
        element[i] = new Place(("station" + std::to_string(i + 1)).c_str(), 0);
        fields[static_cast<std::size_t>(i)].var = element[i];
        element[i]->registerPointer(&cells[i]);
    }
}

pollingSAN::stationsArray::~stationsArray() {
    for (int i = 0; i < size; ++i)
        delete element[i];
    delete[] element;
}

void pollingSAN::stationsArray::SetState(void* from) {
    // Locals, since the byte copies could otherwise alias the members.
    const char* p = static_cast<const char*>(from);
    short* const* cell = cells.get();
    const int n = size;
    for (int i = 0; i < n; ++i, p += sizeof(short))
        std::memcpy(cell[i], p, sizeof(short));
}

void pollingSAN::stationsArray::CurrentState(void* to) {
    char* p = static_cast<char*>(to);
    short* const* cell = cells.get();
    const int n = size;
    for (int i = 0; i < n; ++i, p += sizeof(short))
        std::memcpy(p, cell[i], sizeof(short));
}

// ---- arrivalActivity ----

pollingSAN::arrivalActivity::arrivalActivity() : Activity() {
    DistributionParameters = newParameters();
}

pollingSAN::arrivalActivity::~arrivalActivity() {
    delete[] DistributionParameters;
}

void pollingSAN::arrivalActivity::initialize(int station) {
    Station = station;
    ActivityInitialize(("arrival" + std::to_string(station + 1)).c_str(), station, Exponential,
                       DefaultPolicy, 1, 1, false);
}

bool pollingSAN::arrivalActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = *StationMark == 0;
    return CurrentEnabled;
}

double pollingSAN::arrivalActivity::SampleDistribution() {
    return TheDistribution->Exponential(1.0 / N);
}

double* pollingSAN::arrivalActivity::ReturnDistributionParameters() {
    DistributionParameters[0] = Rate();
    return DistributionParameters;
}

BaseActionClass* pollingSAN::arrivalActivity::Fire() {
    *StationMark = 1;
    return this;
}

void pollingSAN::arrivalActivity::LinkVariables() {
    StationPlace->registerPointer(&StationMark);
}

// ---- ServerActivity and the server's three activities ----

pollingSAN::ServerActivity::ServerActivity(const char* name, int groupId, int numAffected,
                                           int numEnabling)
    : Activity() {
    DistributionParameters = newParameters();
    ActivityInitialize(name, groupId, Exponential, DefaultPolicy, numAffected, numEnabling, false);
}

pollingSAN::ServerActivity::~ServerActivity() {
    delete[] DistributionParameters;
}

double pollingSAN::ServerActivity::SampleDistribution() {
    return TheDistribution->Exponential(Rate());
}

double* pollingSAN::ServerActivity::ReturnDistributionParameters() {
    DistributionParameters[0] = Rate();
    return DistributionParameters;
}

void pollingSAN::ServerActivity::LinkVariables() {
    ServerPlace->registerPointer(&ServerMark);
    ServingPlace->registerPointer(&ServingMark);
    NumStations = Stations->size;
    StationMarks.reset(new (std::nothrow) short*[static_cast<std::size_t>(NumStations)]);
    if (StationMarks == nullptr)
        MemoryAllocationError();
    for (int i = 0; i < NumStations; ++i)
        Stations->element[i]->registerPointer(&StationMarks[i]);
}

bool pollingSAN::skipActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = *ServingMark == 0 && visitedStation() == 0;
    return CurrentEnabled;
}

BaseActionClass* pollingSAN::skipActivity::Fire() {
    moveOn();
    return this;
}

bool pollingSAN::startActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = *ServingMark == 0 && visitedStation() > 0;
    return CurrentEnabled;
}

BaseActionClass* pollingSAN::startActivity::Fire() {
    *ServingMark = 1;
    return this;
}

bool pollingSAN::serveActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = *ServingMark > 0;
    return CurrentEnabled;
}

BaseActionClass* pollingSAN::serveActivity::Fire() {
    visitedStation() = 0;
    *ServingMark = 0;
    moveOn();
    return this;
}

// ---- pollingSAN ----

pollingSAN::pollingSAN()
    : SANModel(), NumStations(checkedStationCount()),
      arrival(new arrivalActivity[static_cast<std::size_t>(NumStations)]), skip(NumStations),
      start(NumStations + 1), serve(NumStations + 2), ImmediateGroup() {
    for (int i = 0; i < NumStations; ++i)
        arrival[i].initialize(i);

    // Every activity is its own group, so the group ids are the activities' positions.
    std::vector<Activity*> activities;
    for (int i = 0; i < NumStations; ++i)
        activities.push_back(&arrival[i]);
    activities.push_back(&skip);
    activities.push_back(&start);
    activities.push_back(&serve);
    std::vector<BaseGroupClass*> groups(activities.begin(), activities.end());
    const int numActivities = static_cast<int>(activities.size());

    stations = new stationsArray(NumStations);
    server = new Place("server", 1);
    serving = new Place("serving", 0);
    BaseStateVariableClass* places[] = {stations, server, serving};
    BaseStateVariableClass** readOnlyPlaces = nullptr;

    initializeSANModelNow("polling", 3, places, 0, readOnlyPlaces, numActivities, activities.data(),
                          numActivities, groups.data());
    assignPlacesToActivitiesTimed();

    // The stations are referred to by index at run time, so arcs name the whole array.
    for (int i = 0; i < NumStations; ++i)
        AddAffectArc(stations, &arrival[i]);
    AddAffectArc(server, &skip);
    AddAffectArc(serving, &start);
    AddAffectArc(stations, &serve);
    AddAffectArc(serving, &serve);
    AddAffectArc(server, &serve);

    for (int i = 0; i < NumStations; ++i)
        AddEnableArc(stations, &arrival[i]);
    AddEnableArc(serving, &skip);
    AddEnableArc(server, &skip);
    AddEnableArc(stations, &skip);
    AddEnableArc(serving, &start);
    AddEnableArc(server, &start);
    AddEnableArc(stations, &start);
    AddEnableArc(serving, &serve);

    for (int i = 0; i < NumStations; ++i)
        arrival[i].LinkVariables();
    skip.LinkVariables();
    start.LinkVariables();
    serve.LinkVariables();

    // Every pointer to a marking is registered, so the markings may move into
    // one buffer in state-vector order: the generator then saves and restores
    // a state with one copy.
    PackStateCells();
}

pollingSAN::~pollingSAN() {
    for (int i = 0; i < NumStateVariables - NumReadOnlyPlaces; ++i)
        delete Places[i];
}

void pollingSAN::assignPlacesToActivitiesTimed() {
    auto* array = static_cast<stationsArray*>(Places[0]);
    auto* position = static_cast<Place*>(Places[1]);
    auto* mode = static_cast<Place*>(Places[2]);
    for (int i = 0; i < NumStations; ++i)
        arrival[i].StationPlace = array->element[i];
    for (ServerActivity* a :
         {static_cast<ServerActivity*>(&skip), static_cast<ServerActivity*>(&start),
          static_cast<ServerActivity*>(&serve)}) {
        a->ServerPlace = position;
        a->ServingPlace = mode;
        a->Stations = array;
    }
}
