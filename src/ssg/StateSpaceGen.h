#pragma once
// StateSpaceGen: the state-space generator. Built over the model's reward model,
// it sorts the actions by delay distribution, seeds the store and the frontier
// with the initial state (number 1), and when run explores every reachable
// stable state breadth-first, writing the rate rows (.arm), the reward records
// (.var) and, with deterministic actions, their enabling states (.det).

#include "base/List.h"
#include "models/StateMap.h"
#include "ssg/DeterministicList.h"
#include "ssg/HybridHash.h"
#include "ssg/RateAccumulator.h"
#include "ssg/state_struct.h"

#include <cstdint>
#include <fstream>
#include <memory>

class BaseActionClass;
class BaseGroupClass;
class PVModel;
class Queue;
class ResultsDB;
class Reward;
class TextBuffer;
class TraceFileContainer;
class TraceFileVantorSSG;

class StateSpaceGen {
public:
    // path and name are not owned (they must outlive the generator); dbEntity
    // is not used; traceFileName (malloc'd or null) is taken over and freed.
    // Ends the process (status 1) for a model without state variables.
    StateSpaceGen(PVModel* model, const char* path, const char* name, short absorbFlag,
                  double hashValue, const char* dbHost, const char* dbEntity, char* traceFileName);
    ~StateSpaceGen();
    StateSpaceGen(const StateSpaceGen&) = delete;
    StateSpaceGen& operator=(const StateSpaceGen&) = delete;
    StateSpaceGen(StateSpaceGen&&) = delete;
    StateSpaceGen& operator=(StateSpaceGen&&) = delete;

    // Builds the trace output; call after setting TraceLevel.
    void InitializeTrace();
    // The whole run: .pvtype, exploration, counts and processor time.
    void GenStateSpace();
    // Builds the file names, writes .pvtype, chooses and runs the exploration.
    void SetMethodPointers();
    void setHashValue(double value) { HashValue = value; }

    // Stable-state exploration.
    void GenStateSpaceNormal(const char* armName, const char* varName);
    void FindNextNormal(char* state);
    void FindNextInstant(char* state);
    bool FireAction(BaseActionClass* action, char* state);
    void FireInstant(double probability);
    void SaveStableState(double rate, long stateNumber);

    // Exploration with deterministic actions.
    void GenStateSpaceDeterministic(const char* armName, const char* varName, const char* detName);
    void FindNextDeterministic(char* state);
    void FireInstantDet(double probability);

    // Longest chain of successive zero-time firings that may end in a stable state.
    static constexpr short MaxZeroTimeDepth = 23;

    std::uint32_t CurrentStateNumber = 0; // the state being explored; the last one afterwards
    RateAccumulator RateMap;              // rates from the explored state, per target
    std::uint32_t NumTimedActions = 0;
    std::uint32_t NumStates = 0; // highest number handed out
    std::uint32_t StateSize = 0; // bytes of one state vector
    std::uint32_t NumPhaseActions = 0;
    std::unique_ptr<ResultsDB> Database;    // owned; only with a database host
    int DistributionMask = 0;               // the timed actions' distribution types
    PVModel* Model;                         // not owned
    std::unique_ptr<Reward> RewardOut;      // owned during an exploration
    std::unique_ptr<Queue> StateQueue;      // owned; holds the initial state until the exploration
                                            // begins, which takes the states to explore from the
                                            // store in number order
    std::unique_ptr<HybridHash> StateTable; // owned; every numbered state
    std::unique_ptr<BaseActionClass*[]> InstantActions; // owned array; type 18, model order
    std::unique_ptr<BaseActionClass*[]> TimedActions;   // owned array; all others
    std::unique_ptr<BaseActionClass*[]> PhaseActions;   // owned array; type 7
    List<BaseActionClass> ActionList;                   // the model's actions
    BaseActionClass** Actions = nullptr;                // ActionList's item array
    List<BaseGroupClass> GroupList;                     // the model's groups
    BaseGroupClass** Groups = nullptr;         // GroupList's item array, indexed by GroupID
    state_struct CurrentState;                 // the state numbered last (points at its bytes)
    double Rate = 0.0;                         // rate of the timed action fired last
    DeterministicList DetList;                 // enabling states of deterministic actions
    char* NextState = nullptr;                 // where the model writes its state after a firing:
                                               // NextStateBuffer, or a slot of the successor batch
    const char* ExperimentPath;                // not owned
    const char* ExperimentName;                // not owned
    short AbsorbFlag;                          // 1: report absorbing states
    short OutputFormat = 1;                    // output file type; 1 (text)
    char* TraceFileName;                       // owned (free); null for standard output
    std::unique_ptr<TraceFileContainer> Trace; // owned; null until InitializeTrace
    std::unique_ptr<TraceFileVantorSSG> TraceOut; // owned; the one trace file
    int TraceLevel = 0;                           // 0 to 4, set before InitializeTrace
    short ZeroTimeDepth = 0;                      // instantaneous firings on the present path
    std::uint32_t NumInstantActions = 0;
    double HashValue; // load factor of the store

private:
    bool traces(int level) const { return Trace != nullptr && TraceLevel >= level; }
    // Numbers `state` as a new state: queued, stored (unless `stored`: the
    // store's FindOrInsert has already stored it under NumStates + 1), rate
    // recorded, reward record written with `rewards` (stored by Reward::Capture)
    // or, when null, the values the variables hold now.
    void newState(const char* state, double rate, const double* rewards = nullptr,
                  bool stored = false);
    // The successors of one explored state with positive rates, held from
    // their firing to their lookup: vectors, rates, the actions behind them and
    // their hashes.
    struct Batch {
        std::unique_ptr<char[]> states;              // owned; NumTimedActions x StateSize
        std::unique_ptr<double[]> rates;             // owned; NumTimedActions
        std::unique_ptr<BaseActionClass*[]> actions; // owned; NumTimedActions
        std::unique_ptr<HybridHash::Key[]> keys;     // owned; NumTimedActions
        std::uint32_t count = 0;                     // successors held
    };
    // The exploration's walk over the frontier: the first state to explore (the
    // initial state), then each next one, 0 when none is left. Sets
    // CurrentStateNumber and counts ExploredStates.
    std::uint32_t firstToExplore();
    std::uint32_t nextToExplore();
    // After the explored state's FindNext: its row number, the progress marker,
    // the absorbing-state report and the row. `reloadForReport`: the model does
    // not hold the explored state, and is loaded with it for the report.
    void endRow(bool reloadForReport);
    // Fires every enabled timed action of the state that the model holds (whose
    // vector is `explored`), putting the model back after each, and asks for
    // the index entries of the successors.
    void fireBatch(Batch& batch, const char* explored);
    // Asks for the stored vectors that the batch's lookups will compare.
    void prefetchStored(const Batch& batch) const;
    // Looks up the batch's successors in firing order, numbering the new ones;
    // true when the model was loaded with a new state for its rewards.
    bool lookUpBatch(const Batch& batch);
    // The loop of GenStateSpaceNormal without trace and without eager rewards:
    // the next states' firings overlap the present state's lookups.
    void explorePipelined();
    // Opens the .arm file, writes the placeholder header and the initial state's
    // reward record; `blanks` is the width of the placeholder line.
    void beginExploration(const char* armName, const char* varName, const char* openMessage,
                          int blanks);
    // Writes the explored state's row and empties RateMap.
    void writeRow();
    // Releases the store's index, writes out the rows and closes .var.
    void finishExploration();
    // Writes the count over the .arm header's placeholder and closes the file:
    // the last step of a run, once every other file is complete.
    void closeArm();
    void reportAbsorbing();
    // Ends the run (status 1) when the trace file is one of the run's result
    // files, before anything is written.
    void refuseTraceOnResultFile() const;
    [[noreturn]] void zeroTimeLimit(const char* firstLine, const char* lastLine) const;
    // Fires `action` as the model's FireAction does, leaving the new state in
    // NextState, but computes the rewards only when they are eager.
    void fireModel(BaseActionClass* action);
    // Every considered variable's rewards for the model's present state,
    // reached by `action`.
    void computeRewards(BaseActionClass* action);
    // Loads the model from a state vector / writes its state into one.
    inline void loadState(const char* state);
    inline void storeState(char* state);

    std::unique_ptr<char[]> NextStateBuffer; // owned; NextState outside the batch
    std::unique_ptr<char[]> ExploredState;   // owned; copy of the state being explored
    Batch Batches[3]; // the explored state's successors, and those of the next two
    std::unique_ptr<double[]> BatchRewards; // owned; with eager rewards, NumTimedActions x
                                            // RewardValues values captured after the firings
    std::uint32_t RewardValues = 0;         // reward values per state
    std::unique_ptr<char[]> SavedStates;    // owned; per zero-time depth, a saved state
    std::unique_ptr<BaseActionClass*[]> EnabledInstant; // owned; per depth, enabled actions
    std::ofstream ArmFile;                              // the .arm file during an exploration
    std::unique_ptr<TextBuffer> ArmOut;                 // owned; buffers ArmFile
    const char* ArmName = nullptr;                      // not owned; for messages
    int ArmHeaderBlanks = 0;                            // width of the header's placeholder
    std::uint32_t ExploredStates = 0;                   // states explored so far
    StateMap CellMap;                     // where the model's state vector lives in memory
    bool MapUsable = false;               // CellMap does what the model's SetState/CurrentState do
    bool EagerRewards = false;            // rewards after every firing (models with phase actions)
    BaseActionClass* LastFired = nullptr; // not owned; the action that led to NextState
};

// The exploration step that the loop calls for every dequeued state.
extern void (StateSpaceGen::*FindNext)(char* state);
