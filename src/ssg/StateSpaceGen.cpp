#include "ssg/StateSpaceGen.h"

#include "actions/BaseActionClass.h"
#include "actions/BaseGroupClass.h"
#include "actions/GeneratedActivity.h"
#include "base/CopyBytes.h"
#include "base/NewArray.h"
#include "output/ImpulseFile.h"
#include "output/NumberFormat.h"
#include "output/PartWriter.h"
#include "output/TextBuffer.h"
#include "pv/PVModel.h"
#include "ssg/ExplorationHook.h"
#include "ssg/Queue.h"
#include "ssg/Reward.h"
#include "store/HybridHash.h"
#include "study/ResultsDB.h"
#include "trace/TraceFileContainer.h"
#include "trace/TraceFileVantorSSG.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <sys/resource.h>

void (StateSpaceGen::*FindNext)(char* state) = nullptr;

namespace {

// The state store's parameters: first index size, vectors per block, hash
// chunk length, room of the block array.
constexpr unsigned long FirstTableSize = 131071;
constexpr unsigned long StatesPerBlock = 100000;
constexpr unsigned long HashChunk = 5;
constexpr unsigned long MaxStoreBlocks = 128;

// Widths of the .arm header's placeholder line.
constexpr int NormalHeaderBlanks = 63;
constexpr int DeterministicHeaderBlanks = 8;

// Bytes of .dip text formatted before each write.
constexpr std::size_t DipBlockBytes = 1 << 20;

// The refusals of a model that cannot be explored, each ending the run (status 1).
[[noreturn]] void refuse(const char* message) {
    std::cout << message << std::endl;
    std::exit(1);
}

// A failed write of the binary part ends the run as a failed text write does.
[[noreturn]] void partFailed(const std::exception& error) {
    std::cerr << "Error: " << error.what() << std::endl;
    std::exit(1);
}

[[noreturn]] void noDelay(const BaseActionClass* action) {
    std::cerr << "Error: deterministic action " << action->Name << " gives no delay" << std::endl;
    std::exit(1);
}

// The state size of `model`, whose rewards all count; a model without state
// variables is refused.
std::uint32_t checkedStateSize(PVModel* model) {
    model->ConsiderOnly(nullptr, -1);
    auto size = static_cast<std::uint32_t>(model->StateSize());
    if (size == 0)
        refuse("The model is empty, i.e., does not have any state variables.");
    return size;
}

// The file beside a .det file with the extension `extension` (".dac", ".dip").
std::string besideDet(const std::string& detName, const char* extension) {
    const std::size_t n = detName.size();
    if (n >= 4 && detName.compare(n - 4, 4, ".det") == 0)
        return detName.substr(0, n - 4) + extension;
    return detName + extension;
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

} // namespace

// The zero-time resolver's sink: a stable state is looked up, and stored and
// numbered when new, and its rate added to the explored state's row.
struct StateSpaceGen::Numbering {
    StateSpaceGen& Gen; // not owned
    bool TraceNew;      // trace the rate once more for a new state

    void reached(const char* state, double rate) {
        long target = Gen.StateTable->FindOrInsert(state, Gen.NumStates + 1UL);
        if (target < 0) {
            if (TraceNew && Gen.traces(4))
                Gen.Trace->printf(4, "The rate to this state: %f", rate);
            Gen.newState(state, rate, nullptr, true);
        } else {
            Gen.RateMap.add(static_cast<std::uint32_t>(target), rate);
        }
    }
};

// ---- Set-up ----

StateSpaceGen::StateSpaceGen(PVModel* model, const char* path, const char* name, short absorbFlag,
                             double hashValue, const char* dbHost, const char*, char* traceFileName)
    : Database(dbHost != nullptr
                   ? std::make_unique<ResultsDB>(dbHost, -1, nullptr, nullptr, nullptr)
                   : nullptr),
      Model(model), HashValue(hashValue), StateSize(checkedStateSize(model)),
      // Home slots by the mixed hash: models whose markings are small numbers
      // give chunk sums that share few home slots, and their probe paths then
      // run to dozens of entries per lookup.
      StateTable(std::make_unique<HybridHash>(
          Model, StateSize, FirstTableSize, StatesPerBlock, HashChunk, MaxStoreBlocks, HashValue,
          HybridHash::HomeHash::Mixed, HybridHash::Equality::Bytes)),
      StateQueue(std::make_unique<Queue>(StateSize)), Table(model), Fire(model, Table, StateSize),
      Resolver(Fire, StateSize),
      Ahead(*this, Table.numTimed(), StateSize, 2 * static_cast<std::uint32_t>(model->NumPVs)),
      Files(path, name), ExperimentName(name), ExploredState(newArray<char>(StateSize)),
      AbsorbFlag(absorbFlag), TraceFileName(traceFileName) {
    // Seed: the initial state is state 1.
    std::unique_ptr<char[]> initial = newArray<char>(StateSize);
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
        Files.refuseTraceFile(TraceFileName);
    Trace = std::make_unique<TraceFileContainer>();
    Trace->setTraceLevel(TraceLevel);
    if (TraceFileName != nullptr)
        TraceOut = std::make_unique<TraceFileVantorSSG>(TraceFileName);
    else
        TraceOut = std::make_unique<TraceFileVantorSSG>(&std::cout);
    TraceOut->setTraceLevel(TraceLevel);
    Trace->AddTraceFile(TraceOut.get());
    Trace->addPVModel(Model);
    Fire.setTrace(Trace.get(), &TraceLevel);
}

void StateSpaceGen::GenStateSpace() {
    OutputFormat = 1;
    double start = processorTime();
    if (Hook == nullptr)
        SetMethodPointers();
    else if (!Hook->explore(*this))
        return; // another process reports the run
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
    writeModelFiles();
    if (chooseExploration() == Exploration::Stable)
        GenStateSpaceNormal(Files.armName().c_str(), Files.varName().c_str());
    else
        GenStateSpaceDeterministic(Files.armName().c_str(), Files.varName().c_str(),
                                   Files.detName().c_str());
}

void StateSpaceGen::writeModelFiles() {
    Model->WritePVTypeFile(Files.pvTypeName().c_str());
    Model->WriteAbsorptionFile(Files.absName().c_str());
}

StateSpaceGen::Exploration StateSpaceGen::chooseExploration() {
    if (Model->NumActions == 0) {
        FindNext = &StateSpaceGen::FindNextNormal;
        return Exploration::Stable;
    }
    switch (Table.distributionMask()) {
    case ActionTable::MaskTimedOrInstant:
    case ActionTable::MaskErlang:
    case ActionTable::MaskErlang | ActionTable::MaskTimedOrInstant:
        // The model still holds the initial state.
        for (std::uint32_t i = 0; i < Table.numInstant(); ++i) {
            if (Table.instant()[i]->Enabled())
                refuse("Error: The initial state is not stable, i.e., at least one "
                       "instantaneous action is enabled in that state.");
        }
        FindNext = Table.numInstant() > 0 ? &StateSpaceGen::FindNextInstant
                                          : &StateSpaceGen::FindNextNormal;
        return Exploration::Stable;
    case ActionTable::MaskDeterministic:
    case ActionTable::MaskDeterministic | ActionTable::MaskTimedOrInstant:
        FindNext = &StateSpaceGen::FindNextDeterministic;
        return Exploration::Deterministic;
    default:
        break;
    }
    // A generated model also names, on standard error, the activity at fault.
    for (std::uint32_t i = 0; i < Table.numTimed(); ++i)
        if (dynamic_cast<SampledActivity*>(Table.timed()[i]) != nullptr) {
            const BaseModelClass* owner = Table.timed()[i]->ParentModel;
            std::cerr << "gen: model "
                      << (owner != nullptr && owner->Name != nullptr ? owner->Name : "?")
                      << ": activity " << Table.timed()[i]->Name
                      << " has a delay distribution that gen cannot explore "
                         "(only exponential, erlang, deterministic and instantaneous); "
                         "simulate the model instead"
                      << std::endl;
            break;
        }
    refuse("Error:  Can not generate state space with Current Action Distribution Type");
}

// ---- Files of an exploration ----

void StateSpaceGen::beginExploration(const char* armName, const char* varName,
                                     const char* openMessage, int blanks) {
    if (BinaryRows) {
        // A text .arm of an earlier run would not describe this run's states.
        std::remove(armName);
        Parts = std::make_unique<PartWriter>();
        try {
            const std::string& arm = Files.armName(); // <stem>.arm
            Parts->open(arm.substr(0, arm.size() - 4), 0, PartCount,
                        static_cast<std::uint32_t>(Model->NumPVs),
                        PartRunId != 0 ? PartRunId : PartWriter::newRunId());
        } catch (const std::exception& error) {
            partFailed(error);
        }
        RunFiles::markUnfinished(Parts->fileName());
    } else {
        Rows = &Files.openArm(armName, openMessage);
    }
    std::cout.setf(std::ios::scientific, std::ios::floatfield);
    RewardOut = std::make_unique<Reward>(Model, OutputFormat, varName, true);
    // The parts of a run spread over processes (a shared identifier) get
    // their records from the processes that own the states.
    if (PartRunId == 0)
        RewardOut->alsoTo(Parts.get());
    RunFiles::markUnfinished(varName);
    if (Fire.talliesImpulses()) {
        ImpulseOut = std::make_unique<ImpulseFile>(Files.impName());
        for (int p = 0; p < Model->NumPVs; ++p)
            ImpulseOut->variable(Model->PVList[p]->Name);
        Fire.impulses().clear();
    } else {
        Files.removeStaleImpulses();
    }
    Model->FireAction(Fire.target(), &Model->NoActionFiredYet);
    RewardOut->Calculate(NumStates);
    if (!Parts)
        Files.writeArmPlaceholder(OutputFormat, blanks);
    ExploredStates = 0;
}

void StateSpaceGen::writePartRow() {
    RateMap.sort();
    try {
        Parts->row(CurrentStateNumber, RateMap);
    } catch (const std::exception& error) {
        partFailed(error);
    }
}

void StateSpaceGen::writeRow() {
    if (Parts)
        writePartRow();
    else
        Rows->rateRow(RateMap.entries(), RateMap.size());
    RateMap.clear();
    if (ImpulseOut) {
        ImpulseTally& tally = Fire.impulses();
        ImpulseOut->record(CurrentStateNumber, tally.sums(), tally.count());
        tally.clear();
    }
}

void StateSpaceGen::finishExploration() {
    StateTable->ReleaseIndex();
    // Every other file is complete before the .arm header gets its count: a
    // failed write anywhere leaves the header's blank placeholder in place.
    if (Rows != nullptr)
        Files.flushArm();
    Rows = nullptr;
    RewardOut->close();
    RewardOut.reset();
    if (ImpulseOut) {
        ImpulseOut->close();
        ImpulseOut.reset();
    }
}

// ---- Stable-state exploration ----

void StateSpaceGen::beginStable(const char* armName, const char* varName) {
    beginExploration(armName, varName, "Error: Could not open state space output file",
                     NormalHeaderBlanks);
}

void StateSpaceGen::GenStateSpaceNormal(const char* armName, const char* varName) {
    beginStable(armName, varName);

    // With the trace off and the rewards taken per new state, the successors of
    // the next states are fired before the present state's lookups, so that
    // the lookups' waits for memory overlap (see LookAhead). Impulse rates are
    // tallied per explored state, so with impulses each state is explored on
    // its own.
    if (FindNext == &StateSpaceGen::FindNextNormal && !traces(1) && !Fire.eagerRewards() &&
        !Fire.talliesImpulses()) {
        Ahead.explore();
    } else {
        for (std::uint32_t number = firstToExplore(); number != 0; number = nextToExplore()) {
            if (traces(1))
                Trace->printf(1, "State Number = %d", static_cast<int>(CurrentStateNumber));
            (this->*FindNext)(const_cast<char*>(StateTable->StoredState(number)));
            endRow(false);
        }
    }
    finishExploration();
    if (Parts) {
        // The part's completion mark is the run's last write.
        try {
            Parts->finish(ExploredStates);
        } catch (const std::exception& error) {
            partFailed(error);
        }
        Parts.reset();
        RunFiles::keepResults();
    } else {
        Files.completeArm(OutputFormat, ExploredStates);
    }
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
    if (Rows != nullptr)
        Rows->line(CurrentStateNumber);
    if (CurrentStateNumber % 1000 == 0)
        std::cout << "_$" << CurrentStateNumber << "$" << std::endl;
    if (AbsorbFlag == 1 && RateMap.empty()) {
        if (Trace)
            Trace->printStr(1, "The following state is absorbing: ");
        std::cout << "absorbing state" << std::endl;
        if (Trace) {
            if (reloadForReport)
                Fire.load(StateTable->StoredState(CurrentStateNumber));
            Trace->printState();
        }
    }
    writeRow();
}

void StateSpaceGen::loadExplored(const char* state) {
    // A copy, which an Erlang phase advance may write to: the stored vector
    // stays as it was numbered. The firings put the model back from it.
    copyBytes(ExploredState.get(), state, StateSize);
    Fire.load(ExploredState.get());
}

void StateSpaceGen::FindNextNormal(char* state) {
    loadExplored(state);
    // The detailed trace and the impulse tally need each firing made through
    // the model, action by action.
    if (!traces(4) && !Fire.talliesImpulses()) {
        if (Ahead.expand(ExploredState.get()))
            Fire.load(ExploredState.get());
        return;
    }
    for (std::uint32_t i = 0; i < Table.numTimed(); ++i) {
        BaseActionClass* action = Table.timed()[i];
        if (traces(4))
            Trace->printf(4, "Checking Action: %s", action->Name);
        if (!action->Enabled())
            continue;
        FireAction(action, ExploredState.get());
        if (traces(4))
            Trace->printf(4, "The rate to this state: %f", Fire.rate());
        // The lookup has no effect on a rate that is dropped, so it is made only
        // for the rates that count.
        if (Fire.rate() > 0) {
            long target = StateTable->Lookup(Fire.target());
            if (target < 0)
                SaveStableState(Fire.rate(), target);
            else
                RateMap.add(static_cast<std::uint32_t>(target), Fire.rate());
        }
        Fire.load(ExploredState.get());
    }
}

void StateSpaceGen::FindNextInstant(char* state) {
    loadExplored(state);
    for (std::uint32_t i = 0; i < Table.numTimed(); ++i) {
        BaseActionClass* action = Table.timed()[i];
        if (traces(4))
            Trace->printf(4, "Checking Action: %s", action->Name);
        // Enabled() only reads the marking: a disabled action leaves the model
        // as loaded, so only a firing needs the reload.
        if (!action->Enabled())
            continue;
        if (FireAction(action, ExploredState.get()))
            FireInstant(1.0);
        Fire.load(ExploredState.get());
    }
}

bool StateSpaceGen::FireAction(BaseActionClass* action, char* state) {
    Fire.fireAction(action, state);
    return true;
}

void StateSpaceGen::FireInstant(double probability) {
    Numbering sink{*this, true};
    Resolver.resolve<StableStates>(probability, sink);
}

void StateSpaceGen::SaveStableState(double rate, long stateNumber) {
    if (traces(4))
        Trace->printf(4, "The rate to this state: %f", rate);
    if (!(rate > 0))
        return;
    if (stateNumber >= 0)
        RateMap.add(static_cast<std::uint32_t>(stateNumber), rate);
    else
        newState(Fire.target(), rate);
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
    // The model holds the new state, reached by the firing's last action.
    if (!Fire.eagerRewards())
        Fire.computeRewards(Fire.lastFired());
    RewardOut->Calculate(NumStates);
}

// ---- Exploration with deterministic actions ----

void StateSpaceGen::refuseBinaryRowsDeterministic() {
    std::cerr << "Error: --binary-rows: the model has deterministic activities, whose rows "
                 "only the text .arm file holds; run without the option"
              << std::endl;
    std::exit(1);
}

void StateSpaceGen::GenStateSpaceDeterministic(const char* armName, const char* varName,
                                               const char* detName) {
    if (BinaryRows)
        refuseBinaryRowsDeterministic();
    beginDeterministic(armName, varName, detName);
    for (std::uint32_t number = firstToExplore(); number != 0; number = nextToExplore()) {
        if (traces(1))
            Trace->printf(1, "State Number = %d", static_cast<int>(CurrentStateNumber));
        FindNextDeterministic(const_cast<char*>(StateTable->StoredState(number)));
        Rows->line(CurrentStateNumber);
        if (CurrentStateNumber % 1000 == 0)
            std::cout << "_$" << CurrentStateNumber << "$" << std::endl;
        if (AbsorbFlag == 1 && RateMap.empty())
            reportAbsorbingDeterministic();
        writeRow();
    }
    finishDeterministic(detName);
}

void StateSpaceGen::beginDeterministic(const char* armName, const char* varName,
                                       const char* detName) {
    // An earlier run's .dac and .dip files would not describe this run.
    std::remove(besideDet(detName, ".dac").c_str());
    std::remove(besideDet(detName, ".dip").c_str());
    DetFile = &Files.openDet(detName);
    DetFile->setf(std::ios::scientific, std::ios::floatfield);
    DetFile->precision(10);
    beginExploration(armName, varName, "Error: Could not open binary file dude",
                     DeterministicHeaderBlanks);
}

void StateSpaceGen::reportAbsorbingDeterministic() const {
    std::cout << '\n' << "This following State is absorbing:" << std::endl;
    Model->printState(&std::cout);
}

void StateSpaceGen::finishDeterministic(const char* detName) {
    finishExploration();
    OutputFileType type = (OutputFormat == 2 || OutputFormat == 4 || OutputFormat == 6) ? 1 : 0;
    DetList.writeEnablingStates(*DetFile, type);
    Files.closeDet();
    DetFile = nullptr;
    writeDeterministicActivities(besideDet(detName, ".dac"));
    if (Fire.talliesImpulses())
        writeDeterministicImpulses(besideDet(detName, ".dip"));
    Files.completeArm(OutputFormat, ExploredStates);
}

void StateSpaceGen::writeDeterministicActivities(const std::string& dacName) const {
    std::ofstream file(dacName, std::ios::out | std::ios::trunc | std::ios::binary);
    if (!file)
        RunFiles::writeFailed(dacName);
    RunFiles::markUnfinished(dacName);
    for (const auto& [state, name] : DetActivities)
        file << state << '\n' << name << '\n';
    RunFiles::closeResult(file, dacName);
}

void StateSpaceGen::writeDeterministicImpulses(const std::string& dipName) const {
    std::ofstream file(dipName, std::ios::out | std::ios::trunc | std::ios::binary);
    if (!file)
        RunFiles::writeFailed(dipName);
    RunFiles::markUnfinished(dipName);
    for (int p = 0; p < Model->NumPVs; ++p) {
        if (Model->PVList[p]->Name == nullptr)
            RunFiles::writeFailed(dipName); // no valid header
        file << Model->PVList[p]->Name << '\n';
    }
    // The records are formatted into a buffer written in large blocks: one
    // enabling per explored state is common, so the file is as long as .imp.
    const std::size_t count = static_cast<std::size_t>(Model->NumPVs);
    std::string text;
    text.reserve(DipBlockBytes + 64 * (count + 1));
    char number[64];
    for (std::size_t r = 0; r < DetActivities.size(); ++r) {
        char* end = numberformat::formatInteger(number, DetActivities[r].first);
        text.append(number, end).push_back('\n');
        for (std::size_t p = 0; p < count; ++p) {
            end = numberformat::formatScientific10(number, DetImpulses[r * count + p]);
            text.append(number, end).push_back('\n');
        }
        if (text.size() >= DipBlockBytes) {
            file.write(text.data(), static_cast<std::streamsize>(text.size()));
            text.clear();
        }
    }
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    RunFiles::closeResult(file, dipName);
}

void StateSpaceGen::FindNextDeterministic(char* state) {
    loadExplored(state);
    // The model is reloaded before each action only when a firing changed it:
    // Enabled() only reads the marking.
    bool changed = false;
    for (std::uint32_t i = 0; i < Table.numTimed(); ++i) {
        BaseActionClass* action = Table.timed()[i];
        if (changed) {
            Fire.load(ExploredState.get());
            changed = false;
        }
        if (!action->Enabled())
            continue;
        double share = Table.groupOf(action)->Probability(action);
        if (traces(1))
            Trace->printf(1, "Enabled: %s", action->Name);
        if (action->DistributionType != Deterministic) {
            Fire.setRate(action->Rate() * share);
        } else {
            Fire.setRate(-share);
            // The explored state is stored under the number it was queued with,
            // so its lookup would give CurrentStateNumber.
            DetList.insertEnablingState(static_cast<int>(CurrentStateNumber), delayOf(action));
            DetActivities.emplace_back(CurrentStateNumber, action->Name);
        }
        if (traces(1))
            Trace->printFireAction(action, 0.0);
        Fire.fire(action);
        changed = true;
        FireInstantDet(1.0);
        if (action->DistributionType == Deterministic && Fire.talliesImpulses()) {
            ImpulseTally& earned = Fire.deterministicImpulses();
            DetImpulses.insert(DetImpulses.end(), earned.sums(), earned.sums() + earned.count());
            earned.clear();
        }
    }
}

double StateSpaceGen::delayOf(BaseActionClass* action) {
    double* parameters = action->ReturnDistributionParameters();
    if (parameters == nullptr)
        noDelay(action);
    return parameters[0];
}

void StateSpaceGen::FireInstantDet(double probability) {
    Numbering sink{*this, false};
    Resolver.resolve<DeterministicStates>(probability, sink);
}
