#pragma once
// StateSpaceGen: the state-space generator. Built over the model's reward model,
// it sorts the actions by delay distribution, seeds the store and the frontier
// with the initial state (number 1), and when run explores every reachable
// stable state breadth-first, writing the rate rows (.arm), the reward records
// (.var), with impulse rewards the impulse rates (.imp) and, with deterministic
// actions, their enabling states (.det). The
// firing semantics live in Firing and ZeroTimeResolver, the files in RunFiles,
// and the look-ahead of the plain exploration loop in LookAhead.

#include "firing/ActionTable.h"
#include "firing/Firing.h"
#include "firing/ZeroTimeResolver.h"
#include "output/RunFiles.h"
#include "ssg/DeterministicList.h"
#include "ssg/LookAhead.h"
#include "ssg/RateAccumulator.h"
#include "ssg/state_struct.h"
#include "store/HybridHash.h"

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <utility>
#include <vector>

class BaseActionClass;
class ExplorationHook;
class ImpulseFile;
class PartWriter;
class PVModel;
class Queue;
class ResultsDB;
class Reward;
class TraceFileContainer;
class TextBuffer;
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
    // Writes the .pvtype and .abs files.
    void writeModelFiles();
    // The exploration the model needs: sets FindNext, or ends the run (status 1)
    // with the refusal of a model that cannot be explored.
    enum class Exploration { Stable, Deterministic };
    Exploration chooseExploration();
    // Hands the exploration to `hook` (not owned; it outlives the run); null
    // keeps the generator's own.
    void setExplorationHook(ExplorationHook* hook) { Hook = hook; }
    // With `on`, the rows and reward records go to the binary row form (one
    // part, see PartWriter) in place of the text .arm; call before GenStateSpace.
    void writeBinaryRows(bool on) { BinaryRows = on; }
    // The generator's part is part 0 of `parts`, all named by `runId`: the
    // exploration spread over processes writes the others, and every part's
    // records (see PartWriter).
    void shareBinaryRows(std::uint32_t parts, std::uint64_t runId) {
        PartCount = parts;
        PartRunId = runId;
    }
    // Ends the run (status 1), with its one line, for a model with
    // deterministic activities explored with the binary row form.
    static void refuseBinaryRowsDeterministic();
    // Records a load factor; the store keeps the one it was built with.
    void setHashValue(double value) { HashValue = value; }

    // Stable-state exploration.
    void GenStateSpaceNormal(const char* armName, const char* varName);
    void FindNextNormal(char* state);
    void FindNextInstant(char* state);
    // Fires the timed `action` from the explored state `state` (see Firing).
    bool FireAction(BaseActionClass* action, char* state);
    // Resolves the zero-time firings from the state the model holds.
    void FireInstant(double probability);
    // Records the rate to the state in the firing's target: `stateNumber` when
    // the store holds it (>= 0), a new state otherwise.
    void SaveStableState(double rate, long stateNumber);

    // Exploration with deterministic actions.
    void GenStateSpaceDeterministic(const char* armName, const char* varName, const char* detName);
    // Writes DetActivities to the .dac file beside `detName`, the .det file.
    void writeDeterministicActivities(const std::string& detName) const;
    // Writes DetImpulses to `dipName`, the .dip file beside the .det file.
    void writeDeterministicImpulses(const std::string& dipName) const;
    void FindNextDeterministic(char* state);
    void FireInstantDet(double probability);
    // The delay of the deterministic `action`; ends the run (status 1) when it
    // gives none.
    static double delayOf(BaseActionClass* action);

    // Longest chain of successive zero-time firings that may end in a stable state.
    static constexpr short MaxZeroTimeDepth = ZeroTimeResolver::MaxDepth;

    int TraceLevel = 0; // 0 to 4, set before InitializeTrace

private:
    friend class LookAhead;           // the plain exploration loop, run ahead
    friend class DistributedExplorer; // the exploration spread over processes

    // Hands the stable states of the zero-time resolver to the store and the row.
    struct Numbering;

    bool traces(int level) const { return Trace != nullptr && TraceLevel >= level; }
    // Numbers `state` as a new state: queued, stored (unless `stored`: the
    // store's FindOrInsert has already stored it under NumStates + 1), rate
    // recorded, reward record written with `rewards` (stored by Reward::Capture)
    // or, when null, the values the variables hold now.
    void newState(const char* state, double rate, const double* rewards = nullptr,
                  bool stored = false);
    // The exploration's walk over the frontier: the first state to explore (the
    // initial state), then each next one, 0 when none is left. Sets
    // CurrentStateNumber and counts ExploredStates.
    std::uint32_t firstToExplore();
    std::uint32_t nextToExplore();
    // After the explored state's FindNext: its row number, the progress marker,
    // the absorbing-state report and the row. `reloadForReport`: the model does
    // not hold the explored state, and is loaded with it for the report.
    void endRow(bool reloadForReport);
    // Opens the .arm file, writes the placeholder header and the initial state's
    // reward record; `blanks` is the width of the placeholder line.
    void beginExploration(const char* armName, const char* varName, const char* openMessage,
                          int blanks);
    // The deterministic exploration's files: the .det opened (an earlier .dac
    // removed) and beginExploration; at the end, finishExploration, the .det
    // and .dac written and the .arm completed.
    void beginDeterministic(const char* armName, const char* varName, const char* detName);
    void finishDeterministic(const char* detName);
    // The absorbing-state report of the deterministic exploration, for the
    // state the model holds.
    void reportAbsorbingDeterministic() const;
    // beginExploration for the stable-state exploration.
    void beginStable(const char* armName, const char* varName);
    // Writes the explored state's row and empties RateMap; with impulses, also
    // the state's impulse rates, which it then clears.
    void writeRow();
    // Releases the store's index, writes out the rows and closes .var (and .imp).
    void finishExploration();
    // The explored state's row, sorted, into the binary part.
    void writePartRow();
    // Copies the explored state and loads the model with it.
    void loadExplored(const char* state);

    // Built in this order: an empty model is refused before the store is
    // built, and the store before the model's actions are checked.
    std::unique_ptr<ResultsDB> Database;    // owned; only with a database host
    PVModel* Model;                         // not owned
    double HashValue;                       // load factor of the store
    std::uint32_t StateSize;                // bytes of one state vector
    std::unique_ptr<HybridHash> StateTable; // owned; every numbered state
    std::unique_ptr<Queue> StateQueue;      // owned; holds the initial state until the exploration
                                            // begins, which takes the states to explore from the
                                            // store in number order
    ActionTable Table;                      // the model's actions, sorted
    Firing Fire;                            // fires the actions on state vectors
    ZeroTimeResolver Resolver;              // instantaneous firings down to stable states
    LookAhead Ahead;                        // the successors fired ahead of their lookups
    RunFiles Files;                         // the result files
    const char* ExperimentName;             // not owned
    std::unique_ptr<char[]> ExploredState;  // owned; copy of the state being explored

    std::uint32_t CurrentStateNumber = 0;    // the state being explored; the last one afterwards
    std::uint32_t NumStates = 0;             // highest number handed out
    std::uint32_t ExploredStates = 0;        // states explored so far
    RateAccumulator RateMap;                 // rates from the explored state, per target
    std::unique_ptr<Reward> RewardOut;       // owned during an exploration
    std::unique_ptr<ImpulseFile> ImpulseOut; // owned during an exploration of a model with
                                             // impulse rewards; null otherwise
    TextBuffer* Rows = nullptr;              // not owned: Files' .arm buffer during an exploration
    state_struct CurrentState;               // the state numbered last (points at its bytes)
    DeterministicList DetList;               // enabling states of deterministic actions
    std::ofstream* DetFile = nullptr;        // not owned: Files' .det stream during a
                                             // deterministic exploration
    // Per enabling of a deterministic action, the state and the action's name (not
    // owned: the action's), in exploration order; written to the .dac file.
    std::vector<std::pair<std::uint32_t, const char*>> DetActivities;
    bool BinaryRows = false;                // rows go to the binary part, not .arm
    std::unique_ptr<PartWriter> Parts;      // owned during a binary-rows exploration
    std::uint32_t PartCount = 1;            // parts of the run; Parts is part 0
    std::uint64_t PartRunId = 0;            // their shared identifier; 0: a fresh one
    // Per enabling of a deterministic action (as DetActivities), per variable:
    // the impulse its firing and the zero-time path after it earn, weighted by
    // the action's share and the path's probability. Only for a model with
    // impulse rewards; written to the .dip file.
    std::vector<double> DetImpulses;
    short AbsorbFlag;                             // 1: report absorbing states
    short OutputFormat = 1;                       // output file type; 1 (text)
    char* TraceFileName;                          // owned (free); null for standard output
    std::unique_ptr<TraceFileContainer> Trace;    // owned; null until InitializeTrace
    std::unique_ptr<TraceFileVantorSSG> TraceOut; // owned; the one trace file
    ExplorationHook* Hook = nullptr;              // not owned; null: the own exploration
};

// The exploration step that the loop calls for every dequeued state.
extern void (StateSpaceGen::*FindNext)(char* state);
