#include "ssg/StateSpaceGen.h"

#include "actions/BaseActionClass.h"
#include "actions/BaseGroupClass.h"
#include "base/CopyBytes.h"
#include "base/Errors.h"
#include "pv/PVModel.h"
#include "pv/PerformanceVariableNode.h"
#include "ssg/ArmHeader.h"
#include "ssg/HybridHash.h"
#include "ssg/ModelChecks.h"
#include "ssg/Queue.h"
#include "ssg/Reward.h"
#include "ssg/TextBuffer.h"
#include "study/ResultsDB.h"
#include "trace/TraceFileContainer.h"
#include "trace/TraceFileVantorSSG.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <new>
#include <string>
#include <sys/resource.h>
#include <vector>

void (StateSpaceGen::*FindNext)(char* state) = nullptr;

namespace {

// The state store's parameters: first index size, vectors per block, hash
// chunk length, room of the block array.
constexpr unsigned long FirstTableSize = 131071;
constexpr unsigned long StatesPerBlock = 100000;
constexpr unsigned long HashChunk = 5;
constexpr unsigned long MaxStoreBlocks = 128;

constexpr int NormalHeaderBlanks = 63;
constexpr int DeterministicHeaderBlanks = 8;
constexpr std::size_t ArmBufferBytes = 1 << 20;

// Distribution mask bits and the value that marks an unsupported type.
constexpr int MaskTimedOrInstant = 1;
constexpr int MaskDeterministic = 2;
constexpr int MaskErlang = 4;
constexpr int MaskUnsupported = 61440;

[[noreturn]] void unsupportedTypes() {
    std::cout << "Error:  Can not generate state space with Current Action"
              << " Distribution Type" << std::endl;
    std::exit(1);
}

[[noreturn]] void writeFailed(const char* fileName) {
    std::cerr << "Error: Could not write file " << fileName << std::endl;
    std::exit(1);
}

// Processor time of the process so far (user + system), in seconds.
double processorTime() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec) / 1000000.0 +
           static_cast<double>(usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_stime.tv_usec) / 1000000.0;
}

// Result files of an exploration that has not finished. A fatal error ends the
// process with exit(1) wherever it arises (the state store, the zero-time limit,
// a failed write, exhausted memory), so an exit handler removes them: a failed run
// leaves no .var or .det that looks complete. The .arm needs no removal, its
// blank count marks it unfinished until the very end.
std::vector<std::string> unfinishedResults;

void removeUnfinishedResults() {
    for (const std::string& name : unfinishedResults)
        std::remove(name.c_str());
}

// Called only once the file is open, so a name that was never ours (a folder, a
// file the run could not open) is never removed.
void markUnfinished(const char* name) {
    static const bool registered = std::atexit(removeUnfinishedResults) == 0;
    (void)registered;
    unfinishedResults.emplace_back(name);
}

void markFinished() {
    unfinishedResults.clear();
}

// True when the two names lead to one existing file. Files are compared by
// identity (device and inode), so no spelling of a path (relative or absolute,
// "./", "//", "..", a symbolic link) hides that two names are one file.
bool sameFile(const char* first, const std::string& second) {
    std::error_code error;
    return std::filesystem::equivalent(first, second, error) && !error;
}

template <class T> std::unique_ptr<T[]> allocate(std::size_t count) {
    T* array = new (std::nothrow) T[count > 0 ? count : 1]();
    if (array == nullptr)
        MemoryAllocationError();
    return std::unique_ptr<T[]>(array);
}

} // namespace

inline void StateSpaceGen::loadState(const char* state) {
    if (MapUsable)
        CellMap.restore(state);
    else
        Model->SetState(const_cast<char*>(state));
}

inline void StateSpaceGen::storeState(char* state) {
    if (MapUsable)
        CellMap.save(state);
    else
        Model->CurrentState(state);
}

// ---- Set-up ----

StateSpaceGen::StateSpaceGen(PVModel* model, const char* path, const char* name, short absorbFlag,
                             double hashValue, const char* dbHost, const char*, char* traceFileName)
    : Model(model), ExperimentPath(path), ExperimentName(name), AbsorbFlag(absorbFlag),
      TraceFileName(traceFileName), HashValue(hashValue) {
    if (dbHost != nullptr)
        Database = std::make_unique<ResultsDB>(dbHost, -1, nullptr, nullptr, nullptr);

    Model->ConsiderOnly(nullptr, -1);
    Model->listActions(&ActionList);
    Actions = ActionList.getList();

    StateSize = static_cast<std::uint32_t>(Model->StateSize());
    if (StateSize == 0) {
        std::cout << "The model is empty, i.e., does not have any state variables." << std::endl;
        std::exit(1);
    }

    int numActions = Model->NumActions;
    if (numActions > ActionList.getNumItems())
        numActions = ActionList.getNumItems();
    Model->listGroups(&GroupList);
    Groups = GroupList.getList();

    // Home slots by the mixed hash: models whose markings are small numbers give
    // chunk sums that share few home slots, and their probe paths then run to
    // dozens of entries per lookup.
    StateTable = std::make_unique<HybridHash>(
        Model, StateSize, FirstTableSize, StatesPerBlock, HashChunk, MaxStoreBlocks, HashValue,
        HybridHash::HomeHash::Mixed, HybridHash::Equality::Bytes);
    StateQueue = std::make_unique<Queue>(StateSize);

    // Mistakes of the model's author are refused before anything is explored.
    checkGroupIds(Actions, numActions, Groups, GroupList.getNumItems());
    checkMarkingsBound(Actions, numActions);

    // Classify the actions: count, then fill arrays of exactly those sizes.
    for (int i = 0; i < numActions; ++i) {
        BaseActionClass* action = Actions[i];
        switch (action->DistributionType) {
        case Instantaneous:
            ++NumInstantActions;
            DistributionMask |= MaskTimedOrInstant;
            break;
        case Exponential:
            ++NumTimedActions;
            DistributionMask |= MaskTimedOrInstant;
            break;
        case Deterministic:
            ++NumTimedActions;
            DistributionMask |= MaskDeterministic;
            break;
        case Erlang:
            ++NumTimedActions;
            ++NumPhaseActions;
            DistributionMask |= MaskErlang;
            break;
        default:
            ++NumTimedActions;
            DistributionMask = MaskUnsupported;
            break;
        }
    }
    InstantActions = allocate<BaseActionClass*>(NumInstantActions);
    TimedActions = allocate<BaseActionClass*>(NumTimedActions);
    PhaseActions = allocate<BaseActionClass*>(NumPhaseActions);
    std::uint32_t instant = 0, timed = 0, phase = 0;
    for (int i = 0; i < numActions; ++i) {
        BaseActionClass* action = Actions[i];
        if (action->DistributionType == Instantaneous) {
            InstantActions[instant++] = action;
        } else {
            TimedActions[timed++] = action;
            if (action->DistributionType == Erlang)
                PhaseActions[phase++] = action;
        }
    }

    // Scratch buffers of the exploration, allocated once: the loop allocates nothing.
    NextStateBuffer = allocate<char>(StateSize);
    NextState = NextStateBuffer.get();
    ExploredState = allocate<char>(StateSize);
    RewardValues = 2 * static_cast<std::uint32_t>(Model->NumPVs);
    for (Batch& batch : Batches) {
        batch.states = allocate<char>(static_cast<std::size_t>(NumTimedActions) * StateSize);
        batch.rates = allocate<double>(NumTimedActions);
        batch.actions = allocate<BaseActionClass*>(NumTimedActions);
        batch.keys = allocate<HybridHash::Key>(NumTimedActions);
    }
    BatchRewards = allocate<double>(static_cast<std::size_t>(NumTimedActions) * RewardValues);
    std::size_t depths = MaxZeroTimeDepth + 1;
    SavedStates = allocate<char>(depths * StateSize);
    EnabledInstant = allocate<BaseActionClass*>(depths * NumInstantActions);

    // States move in and out of the model through its cell map when it has one
    // that does what its SetState and CurrentState do.
    MapUsable = Model->GetStateMap(CellMap) && CellMap.agreesWith(Model, StateSize);
    // Rewards are computed for new states only, from the state and the action
    // that reached it. Erlang phases are not part of the state vector and
    // change between a firing and the lookup of its target, so with phase
    // actions the rewards are computed right after each firing, as the model's
    // own FireAction does.
    EagerRewards = NumPhaseActions > 0;

    // Seed: the initial state is state 1.
    std::unique_ptr<char[]> initial = allocate<char>(StateSize);
    NumStates = 1;
    Model->CurrentState(initial.get());
    state_struct seed{initial.get(), 1};
    StateQueue->Enqueue(&seed);
    StateTable->Insert(initial.get(), 1);
    Model->SetState(initial.get());
}

StateSpaceGen::~StateSpaceGen() {
    std::free(TraceFileName);
}

void StateSpaceGen::InitializeTrace() {
    if (TraceFileName != nullptr)
        refuseTraceOnResultFile();
    Trace = std::make_unique<TraceFileContainer>();
    Trace->setTraceLevel(TraceLevel);
    if (TraceFileName != nullptr)
        TraceOut = std::make_unique<TraceFileVantorSSG>(TraceFileName);
    else
        TraceOut = std::make_unique<TraceFileVantorSSG>(&std::cout);
    TraceOut->setTraceLevel(TraceLevel);
    Trace->AddTraceFile(TraceOut.get());
    Trace->addPVModel(Model);
}

void StateSpaceGen::refuseTraceOnResultFile() const {
    // Writing the trace into a result file would truncate it and interleave the
    // trace with its rows. A result file that exists now is compared with the
    // trace file as it exists; when the trace file does not exist yet it is
    // created empty (nothing is written), so that a result file that the run
    // would create under another spelling of the same name is found as well.
    std::error_code error;
    bool existed = std::filesystem::exists(TraceFileName, error);
    if (!existed)
        std::ofstream(TraceFileName, std::ios::app).close();
    std::string stem =
        std::string(ExperimentPath ? ExperimentPath : "") + (ExperimentName ? ExperimentName : "");
    for (const char* extension : {".arm", ".var", ".pvtype", ".det"}) {
        std::string result = stem + extension;
        if (sameFile(TraceFileName, result)) {
            if (!existed) // the file created above, wherever a symbolic link put it
                std::filesystem::remove(std::filesystem::canonical(TraceFileName, error), error);
            std::cerr << "Error: the trace file " << TraceFileName << " is the result file "
                      << result << "; choose another name (-t)" << std::endl;
            std::exit(1);
        }
    }
}

void StateSpaceGen::GenStateSpace() {
    OutputFormat = 1;
    double start = processorTime();
    SetMethodPointers();
    if (CurrentStateNumber == 0)
        CurrentStateNumber = 1;
    std::cout << "_$" << CurrentStateNumber << "$" << std::endl;
    if (traces(1))
        Trace->printf(1, "Generated: %d states", static_cast<int>(CurrentStateNumber));
    std::cout << "Generated: " << CurrentStateNumber << " states" << std::endl;
    if (Database && !Database->writeSSGExperInfo(ExperimentName, CurrentStateNumber))
        std::cout << "Error writing ssg experiment info" << std::endl;
    double elapsed = processorTime() - start;
    double seconds = std::floor(elapsed * 100000 + 0.5) / 100000;
    if (traces(1))
        Trace->printf(1, "Computation time (user + system): %f", seconds);
    std::cout << "Computation Time (user + system): " << seconds << " seconds" << std::endl;
}

void StateSpaceGen::SetMethodPointers() {
    std::string stem =
        std::string(ExperimentPath ? ExperimentPath : "") + (ExperimentName ? ExperimentName : "");
    std::string armName = stem + ".arm";
    std::string varName = stem + ".var";
    std::string pvTypeName = stem + ".pvtype";
    Model->WritePVTypeFile(pvTypeName.c_str());

    if (Model->NumActions == 0) {
        FindNext = &StateSpaceGen::FindNextNormal;
        GenStateSpaceNormal(armName.c_str(), varName.c_str());
        return;
    }
    switch (DistributionMask) {
    case MaskTimedOrInstant:
    case MaskErlang:
    case MaskErlang | MaskTimedOrInstant:
        // The model still holds the initial state.
        for (std::uint32_t i = 0; i < NumInstantActions; ++i) {
            if (InstantActions[i]->Enabled()) {
                std::cout << "Error: The initial state is not stable, i.e., at least"
                          << " one instantaneous action is enabled in that state." << std::endl;
                std::exit(1);
            }
        }
        FindNext = NumInstantActions > 0 ? &StateSpaceGen::FindNextInstant
                                         : &StateSpaceGen::FindNextNormal;
        GenStateSpaceNormal(armName.c_str(), varName.c_str());
        break;
    case MaskDeterministic:
    case MaskDeterministic | MaskTimedOrInstant: {
        std::string detName = stem + ".det";
        FindNext = &StateSpaceGen::FindNextDeterministic;
        GenStateSpaceDeterministic(armName.c_str(), varName.c_str(), detName.c_str());
        break;
    }
    default:
        unsupportedTypes();
    }
}

// ---- Files of an exploration ----

void StateSpaceGen::beginExploration(const char* armName, const char* varName,
                                     const char* openMessage, int blanks) {
    ArmName = armName;
    ArmFile.open(armName, std::ios::out | std::ios::trunc | std::ios::binary);
    if (!ArmFile) {
        std::cerr << openMessage << std::endl;
        std::exit(1);
    }
    std::cout.setf(std::ios::scientific, std::ios::floatfield);
    // The rows and the reward records are formatted and written on the writer
    // thread while the exploration goes on.
    ArmOut = std::make_unique<TextBuffer>(ArmFile, ArmName, ArmBufferBytes, true);

    RewardOut = std::make_unique<Reward>(Model, OutputFormat, varName, true);
    markUnfinished(varName);
    Model->FireAction(NextState, &Model->NoActionFiredYet);
    RewardOut->Calculate(NumStates);

    // Placeholder header: the output type, then a blank line wide enough for the
    // count written over it at the end. Until then no reader can take the file
    // for complete.
    ArmHeaderBlanks = blanks;
    ArmOut->text(ArmHeader::placeholder(OutputFormat, blanks).c_str());
    ExploredStates = 0;
}

void StateSpaceGen::writeRow() {
    ArmOut->rateRow(RateMap.entries(), RateMap.size());
    RateMap.clear();
}

void StateSpaceGen::finishExploration() {
    StateTable->ReleaseIndex();
    // Every other file is complete before the .arm header gets its count: a
    // failed write anywhere leaves the header's blank placeholder in place.
    ArmOut->flush(); // ends the run itself when the write fails
    ArmOut.reset();
    ArmFile.flush();
    if (!ArmFile)
        writeFailed(ArmName);
    RewardOut->close();
    RewardOut.reset();
}

void StateSpaceGen::closeArm() {
    // The header over the placeholder: the output type and the count, each on
    // its line; the rest of the blank line stays as line 3. A count too long for
    // the placeholder (8 digits on the deterministic path) moves the rows back
    // so that line 3 stays.
    if (ArmHeader::fitsInPlace(OutputFormat, ExploredStates, ArmHeaderBlanks)) {
        std::string header = ArmHeader::headerLines(OutputFormat, ExploredStates);
        ArmFile.seekp(0);
        ArmFile.write(header.data(), static_cast<std::streamsize>(header.size()));
        ArmFile.flush();
        if (!ArmFile)
            writeFailed(ArmName);
        ArmFile.close();
        if (!ArmFile)
            writeFailed(ArmName);
    } else {
        ArmFile.close();
        if (!ArmFile)
            writeFailed(ArmName);
        std::fstream file(ArmName, std::ios::in | std::ios::out | std::ios::binary);
        if (!file || !ArmHeader::complete(file, OutputFormat, ExploredStates, ArmHeaderBlanks))
            writeFailed(ArmName);
        file.close();
        if (!file)
            writeFailed(ArmName);
    }
    markFinished(); // every result file of the run is complete
}

// ---- Stable-state exploration ----

void StateSpaceGen::GenStateSpaceNormal(const char* armName, const char* varName) {
    beginExploration(armName, varName, "Error: Could not open state space output file",
                     NormalHeaderBlanks);

    // With the trace off and the rewards taken per new state, the successors of
    // the next states are fired before the present state's lookups, so that
    // the lookups' waits for memory overlap (see explorePipelined).
    if (FindNext == &StateSpaceGen::FindNextNormal && !traces(1) && !EagerRewards) {
        explorePipelined();
    } else {
        for (std::uint32_t number = firstToExplore(); number != 0; number = nextToExplore()) {
            if (traces(1))
                Trace->printf(1, "State Number = %d", static_cast<int>(CurrentStateNumber));
            (this->*FindNext)(const_cast<char*>(StateTable->StoredState(number)));
            endRow(false);
        }
    }
    finishExploration();
    closeArm();
}

std::uint32_t StateSpaceGen::firstToExplore() {
    // Breadth-first numbering makes the order of the frontier the order of the
    // numbers: the states still to explore are those from CurrentStateNumber + 1
    // to NumStates, and the store holds their vectors. The queue's seed is
    // taken as the exploration begins.
    StateQueue->Make_Empty();
    CurrentStateNumber = 0;
    return nextToExplore();
}

std::uint32_t StateSpaceGen::nextToExplore() {
    if (CurrentStateNumber >= NumStates)
        return 0;
    ++CurrentStateNumber;
    ++ExploredStates;
    return CurrentStateNumber;
}

void StateSpaceGen::endRow(bool reloadForReport) {
    ArmOut->line(CurrentStateNumber);
    if (CurrentStateNumber % 1000 == 0)
        std::cout << "_$" << CurrentStateNumber << "$" << std::endl;
    if (AbsorbFlag == 1 && RateMap.empty()) {
        if (Trace)
            Trace->printStr(1, "The following state is absorbing: ");
        std::cout << "absorbing state" << std::endl;
        if (Trace) {
            if (reloadForReport)
                loadState(StateTable->StoredState(CurrentStateNumber));
            Trace->printState();
        }
    }
    writeRow();
}

void StateSpaceGen::FindNextNormal(char* state) {
    // A copy, which an Erlang phase advance may write to: the stored vector
    // stays as it was numbered.
    copyBytes(ExploredState.get(), state, StateSize);
    loadState(ExploredState.get());
    if (!traces(4)) {
        Batch& batch = Batches[0];
        fireBatch(batch, ExploredState.get());
        prefetchStored(batch);
        if (lookUpBatch(batch))
            loadState(ExploredState.get());
        return;
    }
    for (std::uint32_t i = 0; i < NumTimedActions; ++i) {
        BaseActionClass* action = TimedActions[i];
        Trace->printf(4, "Checking Action: %s", action->Name);
        if (!action->Enabled())
            continue;
        FireAction(action, ExploredState.get());
        Trace->printf(4, "The rate to this state: %f", Rate);
        // The lookup has no effect on a rate that is dropped, so it is made only
        // for the rates that count.
        if (Rate > 0) {
            long target = StateTable->Lookup(NextState);
            if (target < 0)
                SaveStableState(Rate, target);
            else
                RateMap.add(static_cast<std::uint32_t>(target), Rate);
        }
        loadState(ExploredState.get());
    }
}

// Each lookup waits for its index entry, and then for the stored vector it
// compares, to come from memory. Firing every enabled action first, and asking
// for each successor's entry as soon as it is known, lets those waits overlap
// with the firings and with each other. The outcome is that of firing and
// looking up action by action: the lookups run in firing order, so a new state
// gets the same number and is found by the later lookups of the same batch;
// its reward record holds the values of the firing that reached it (computed
// for the new state from its vector and that action, or, with eager rewards,
// captured right after the firing); and a lookup reads nothing that a later
// firing changes.
void StateSpaceGen::fireBatch(Batch& batch, const char* explored) {
    std::uint32_t count = 0;
    for (std::uint32_t i = 0; i < NumTimedActions; ++i) {
        BaseActionClass* action = TimedActions[i];
        if (!action->Enabled())
            continue;
        NextState = batch.states.get() + static_cast<std::size_t>(count) * StateSize;
        if (EagerRewards) {
            FireAction(action, const_cast<char*>(explored));
            loadState(explored);
        } else {
            // FireAction without phases (there are none) and without rewards;
            // the target is taken and the explored state put back in one pass.
            if (traces(1))
                Trace->printFireAction(action, 0.0);
            double rate = action->Rate();
            Rate = Groups[action->GroupID]->Probability(action) * rate;
            action->Fire();
            Model->LastAction = action;
            LastFired = action;
            if (MapUsable) {
                CellMap.saveAndRestore(NextState, explored);
            } else {
                Model->CurrentState(NextState);
                Model->SetState(const_cast<char*>(explored));
            }
        }
        if (Rate > 0) {
            batch.rates[count] = Rate;
            batch.actions[count] = LastFired;
            if (EagerRewards)
                RewardOut->Capture(BatchRewards.get() +
                                   static_cast<std::size_t>(count) * RewardValues);
            ++count;
        }
    }
    batch.count = count;
    // The successors are hashed once all are written: a word of a vector read
    // right after the copy wrote it in other pieces (its overlapping moves)
    // waits until those writes reach the cache, a wait per successor that
    // the later reads do not have.
    for (std::uint32_t k = 0; k < count; ++k)
        batch.keys[k] =
            StateTable->Prefetch(batch.states.get() + static_cast<std::size_t>(k) * StateSize);
    NextState = NextStateBuffer.get();
}

void StateSpaceGen::prefetchStored(const Batch& batch) const {
    for (std::uint32_t k = 0; k < batch.count; ++k)
        StateTable->PrefetchStored(batch.keys[k]);
}

bool StateSpaceGen::lookUpBatch(const Batch& batch) {
    bool moved = false;
    for (std::uint32_t k = 0; k < batch.count; ++k) {
        const char* successor = batch.states.get() + static_cast<std::size_t>(k) * StateSize;
        long target = StateTable->FindOrInsert(successor, batch.keys[k], NumStates + 1UL);
        if (target >= 0) {
            RateMap.add(static_cast<std::uint32_t>(target), batch.rates[k]);
        } else if (EagerRewards) {
            newState(successor, batch.rates[k],
                     BatchRewards.get() + static_cast<std::size_t>(k) * RewardValues, true);
        } else {
            loadState(successor);
            moved = true;
            LastFired = batch.actions[k];
            newState(successor, batch.rates[k], nullptr, true);
        }
    }
    return moved;
}

// Three states in flight. The lookups of a state wait for two fetches from
// memory, one after the other: its index entry, then the stored vector that the
// entry names. So the states after it are fired ahead: the successors of the
// state two ahead are fired and their index entries asked for, and the entries
// of the state one ahead, which have had a state's time to arrive, are read to
// ask for the vectors they name; then the present state's lookups find both
// there. A state can be fired only once it is numbered; its vector lies in the
// store, where it stays, so it is not copied. The model is loaded from each
// explored state before its firings, and from nothing else in between, so
// what the lookups load for new states' rewards disturbs no firing.
void StateSpaceGen::explorePipelined() {
    constexpr std::uint32_t InFlight = sizeof Batches / sizeof Batches[0];
    std::uint32_t fired = 0;   // the last state whose successors are fired
    std::uint32_t fetched = 0; // the last state whose stored vectors are asked for
    auto fire = [this, &fired] {
        ++fired;
        const char* explored = StateTable->StoredState(fired);
        loadState(explored);
        fireBatch(Batches[fired % InFlight], explored);
    };
    for (std::uint32_t number = firstToExplore(); number != 0; number = nextToExplore()) {
        while (fired < number + InFlight - 1 && fired < NumStates)
            fire();
        while (fetched < number + 1 && fetched < fired)
            prefetchStored(Batches[++fetched % InFlight]);
        lookUpBatch(Batches[number % InFlight]);
        endRow(true);
    }
}

void StateSpaceGen::FindNextInstant(char* state) {
    copyBytes(ExploredState.get(), state, StateSize);
    loadState(ExploredState.get());
    for (std::uint32_t i = 0; i < NumTimedActions; ++i) {
        BaseActionClass* action = TimedActions[i];
        if (traces(4))
            Trace->printf(4, "Checking Action: %s", action->Name);
        // Enabled() only reads the marking: a disabled action leaves the model
        // as loaded, so only a firing needs the reload.
        if (!action->Enabled())
            continue;
        if (FireAction(action, ExploredState.get())) {
            ZeroTimeDepth = 0;
            FireInstant(1.0);
        }
        loadState(ExploredState.get());
    }
}

bool StateSpaceGen::FireAction(BaseActionClass* action, char* state) {
    if (traces(1))
        Trace->printFireAction(action, 0.0);
    BaseGroupClass* group = Groups[action->GroupID];
    if (action->DistributionType == Erlang && !action->ReadyToFire()) {
        // Not at its last phase: the firing only advances the phase counters.
        Model->AgeAction(state, action);
        LastFired = &Model->NoActionFiredYet;
        if (group->NumMembers < 1) {
            action->Age();
            Rate = action->Rate();
        } else {
            for (int m = 0; m < group->NumMembers; ++m)
                group->Members[m]->Age();
            Rate = action->Rate() / group->NumMembers;
        }
        storeState(NextState);
        return true;
    }
    double rate = action->Rate();
    Rate = group->Probability(action) * rate;
    fireModel(action);
    for (std::uint32_t i = 0; i < NumPhaseActions; ++i) {
        if (!PhaseActions[i]->Enabled())
            PhaseActions[i]->ResetPhase();
    }
    // Phases are not part of the state vector and Enabled() only reads the
    // marking, so the state that the model's FireAction wrote is still current:
    // writing it into NextState once more would change nothing.
    return true;
}

void StateSpaceGen::zeroTimeLimit(const char* firstLine, const char* lastLine) const {
    std::cerr << firstLine << "(" << MaxZeroTimeDepth << lastLine << std::endl
              << "Please check the model and try again" << std::endl;
    std::exit(1);
}

void StateSpaceGen::FireInstant(double probability) {
    if (ZeroTimeDepth > MaxZeroTimeDepth)
        zeroTimeLimit("Error:  Maximum number of zero time transition recursive firings exceeded",
                      ")\nPossible undetermined model.");
    // The model holds the state that it last wrote into NextState; writing it
    // out and loading it back would leave it unchanged, so that round trip is
    // not made.
    BaseActionClass** enabled =
        EnabledInstant.get() + static_cast<std::size_t>(ZeroTimeDepth) * NumInstantActions;
    std::uint32_t numEnabled = 0;
    for (std::uint32_t i = 0; i < NumInstantActions; ++i) {
        if (InstantActions[i]->Enabled())
            enabled[numEnabled++] = InstantActions[i];
    }

    if (numEnabled == 0) {
        double rate = probability * Rate;
        if (traces(4))
            Trace->printf(4, "The rate to this state: %f", rate);
        if (rate > 0) {
            long target = StateTable->FindOrInsert(NextState, NumStates + 1UL);
            if (target < 0) {
                // SaveStableState for a state that the store already holds.
                if (traces(4))
                    Trace->printf(4, "The rate to this state: %f", rate);
                newState(NextState, rate, nullptr, true);
            } else {
                RateMap.add(static_cast<std::uint32_t>(target), rate);
            }
        }
        return;
    }

    if (numEnabled == 1) {
        if (traces(1))
            Trace->printFireAction(enabled[0], 0.0);
        fireModel(enabled[0]);
        ++ZeroTimeDepth;
        FireInstant(probability);
        --ZeroTimeDepth;
        return;
    }

    int maxRank = 0;
    for (std::uint32_t i = 0; i < numEnabled; ++i) {
        int rank = enabled[i]->Rank();
        if (rank > maxRank)
            maxRank = rank;
    }
    // Keep the actions of the highest rank, in order, in the front of the list.
    std::uint32_t numSelected = 0;
    double total = 0.0;
    for (std::uint32_t i = 0; i < numEnabled; ++i) {
        if (enabled[i]->Rank() == maxRank) {
            enabled[numSelected++] = enabled[i];
            total += enabled[i]->Weight();
        }
    }
    char* saved = SavedStates.get() + static_cast<std::size_t>(ZeroTimeDepth) * StateSize;
    storeState(saved);
    for (std::uint32_t i = 0; i < numSelected; ++i) {
        BaseActionClass* action = enabled[i];
        double share = action->Weight() / total;
        if (traces(1))
            Trace->printFireAction(action, 0.0);
        fireModel(action);
        ++ZeroTimeDepth;
        FireInstant(share * probability);
        --ZeroTimeDepth;
        loadState(saved);
    }
}

void StateSpaceGen::SaveStableState(double rate, long stateNumber) {
    if (traces(4))
        Trace->printf(4, "The rate to this state: %f", rate);
    if (!(rate > 0))
        return;
    if (stateNumber >= 0)
        RateMap.add(static_cast<std::uint32_t>(stateNumber), rate);
    else
        newState(NextState, rate);
}

void StateSpaceGen::newState(const char* state, double rate, const double* rewards, bool stored) {
    ++NumStates;
    // The store's copy is the new state's place in the frontier too.
    CurrentState.state = const_cast<char*>(state);
    CurrentState.number = NumStates;
    if (!stored)
        StateTable->Insert(state, NumStates);
    RateMap.add(NumStates, rate);
    if (rewards != nullptr) {
        RewardOut->Write(NumStates, rewards);
        return;
    }
    // The model holds the new state, reached by LastFired.
    if (!EagerRewards)
        computeRewards(LastFired);
    RewardOut->Calculate(NumStates);
}

void StateSpaceGen::computeRewards(BaseActionClass* action) {
    for (PerformanceVariableNode* node : Model->ConsideredPVs)
        node->CurrentReward(action);
}

void StateSpaceGen::fireModel(BaseActionClass* action) {
    // The model's FireAction, with the rewards left to the new states (unless
    // they are eager) and the state written through the cell map.
    action->Fire();
    Model->LastAction = action;
    LastFired = action;
    if (EagerRewards)
        computeRewards(action);
    storeState(NextState);
}

// ---- Exploration with deterministic actions ----

void StateSpaceGen::GenStateSpaceDeterministic(const char* armName, const char* varName,
                                               const char* detName) {
    std::ofstream detFile(detName, std::ios::out | std::ios::trunc | std::ios::binary);
    if (!detFile) {
        std::cerr << "Error: Could not open det file " << std::endl;
        std::exit(1);
    }
    markUnfinished(detName);
    detFile.setf(std::ios::scientific, std::ios::floatfield);
    detFile.precision(10);
    beginExploration(armName, varName, "Error: Could not open binary file dude",
                     DeterministicHeaderBlanks);

    for (std::uint32_t number = firstToExplore(); number != 0; number = nextToExplore()) {
        if (traces(1))
            Trace->printf(1, "State Number = %d", static_cast<int>(CurrentStateNumber));
        FindNextDeterministic(const_cast<char*>(StateTable->StoredState(number)));
        ArmOut->line(CurrentStateNumber);
        if (CurrentStateNumber % 1000 == 0)
            std::cout << "_$" << CurrentStateNumber << "$" << std::endl;
        if (AbsorbFlag == 1 && RateMap.empty()) {
            std::cout << '\n' << "This following State is absorbing:" << std::endl;
            Model->printState(&std::cout);
        }
        writeRow();
    }

    finishExploration();
    OutputFileType type = (OutputFormat == 2 || OutputFormat == 4 || OutputFormat == 6) ? 1 : 0;
    DetList.writeEnablingStates(detFile, type);
    detFile.flush();
    if (!detFile)
        writeFailed(detName);
    detFile.close();
    if (!detFile)
        writeFailed(detName);
    closeArm();
}

void StateSpaceGen::FindNextDeterministic(char* state) {
    copyBytes(ExploredState.get(), state, StateSize);
    loadState(ExploredState.get());
    // The model is reloaded before each action only when a firing changed it:
    // Enabled() only reads the marking.
    bool changed = false;
    for (std::uint32_t i = 0; i < NumTimedActions; ++i) {
        BaseActionClass* action = TimedActions[i];
        if (changed) {
            loadState(ExploredState.get());
            changed = false;
        }
        if (!action->Enabled())
            continue;
        double share = Groups[action->GroupID]->Probability(action);
        if (traces(1))
            Trace->printf(1, "Enabled: %s", action->Name);
        if (action->DistributionType != Deterministic) {
            Rate = action->Rate() * share;
        } else {
            Rate = -share;
            // The explored state is stored under the number it was queued with,
            // so its lookup would give CurrentStateNumber.
            double* parameters = action->ReturnDistributionParameters();
            if (parameters == nullptr) {
                std::cerr << "Error: deterministic action " << action->Name << " gives no delay"
                          << std::endl;
                std::exit(1);
            }
            DetList.insertEnablingState(static_cast<int>(CurrentStateNumber), parameters[0]);
        }
        if (traces(1))
            Trace->printFireAction(action, 0.0);
        fireModel(action);
        changed = true;
        ZeroTimeDepth = 0;
        FireInstantDet(1.0);
    }
}

void StateSpaceGen::FireInstantDet(double probability) {
    if (ZeroTimeDepth > MaxZeroTimeDepth)
        zeroTimeLimit("Error:  Maximum number of zero time transition firings exceeded",
                      ")\nPossible undetermined model");
    BaseActionClass** enabled =
        EnabledInstant.get() + static_cast<std::size_t>(ZeroTimeDepth) * NumInstantActions;
    std::uint32_t numEnabled = 0;
    for (std::uint32_t i = 0; i < NumInstantActions; ++i) {
        if (InstantActions[i]->Enabled())
            enabled[numEnabled++] = InstantActions[i];
    }

    if (numEnabled == 0) {
        double rate = probability * Rate;
        if (traces(4))
            Trace->printf(4, "The rate to this state: %f", rate);
        // Negative values are the deterministic transitions: only 0 is dropped.
        if (rate != 0) {
            long target = StateTable->FindOrInsert(NextState, NumStates + 1UL);
            if (target < 0)
                newState(NextState, rate, nullptr, true);
            else
                RateMap.add(static_cast<std::uint32_t>(target), rate);
        }
        return;
    }

    if (numEnabled == 1) {
        BaseActionClass* action = enabled[0];
        double share = Groups[action->GroupID]->Probability(action);
        if (traces(1))
            Trace->printFireAction(action, 0.0);
        fireModel(action);
        ++ZeroTimeDepth;
        FireInstantDet(share * probability);
        --ZeroTimeDepth;
        return;
    }

    int maxRank = 0;
    for (std::uint32_t i = 0; i < numEnabled; ++i) {
        int rank = enabled[i]->Rank();
        if (rank > maxRank)
            maxRank = rank;
    }
    std::uint32_t numSelected = 0;
    for (std::uint32_t i = 0; i < numEnabled; ++i) {
        if (enabled[i]->Rank() == maxRank)
            enabled[numSelected++] = enabled[i];
    }
    char* saved = SavedStates.get() + static_cast<std::size_t>(ZeroTimeDepth) * StateSize;
    storeState(saved);
    for (std::uint32_t i = 0; i < numSelected; ++i) {
        BaseActionClass* action = enabled[i];
        double share = Groups[action->GroupID]->Probability(action);
        if (traces(1))
            Trace->printFireAction(action, 0.0);
        fireModel(action);
        ++ZeroTimeDepth;
        FireInstantDet(share * probability);
        --ZeroTimeDepth;
        loadState(saved);
    }
}
