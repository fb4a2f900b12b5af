#pragma once
// DistributedExplorer: the generator's stable-state exploration spread over
// the processes of an MPI run. A state belongs to the process that the hash
// of its vector names; each process stores its own states and explores them.
// The exploration goes level by level: every process fires the actions of its
// states of the level, in number order, and sends each successor, with its
// discovery key (source number, position among the source's successors), to
// its owner. The owner answers with the number of a state it knows; the states
// it does not know are numbered by their smallest key across all processes,
// which is the breadth-first discovery order of one process, so the numbers
// and the files are those of a run on one process. Process 0 writes the files
// with the generator's writers, rows and records in number order.

#include "ByteExchange.h"
#include "ssg/ExplorationHook.h"
#include "ssg/RateAccumulator.h"

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

class BaseActionClass;
class HybridHash;

class DistributedExplorer : public ExplorationHook {
public:
    // Process `rank` of `size`.
    DistributedExplorer(int rank, int size);
    ~DistributedExplorer() override;
    DistributedExplorer(const DistributedExplorer&) = delete;
    DistributedExplorer& operator=(const DistributedExplorer&) = delete;
    DistributedExplorer(DistributedExplorer&&) = delete;
    DistributedExplorer& operator=(DistributedExplorer&&) = delete;

    bool explore(StateSpaceGen& generator) override;

    // The process that owns the vector of `bytes` bytes among `size`: a hash
    // of its bytes that is independent of the store's.
    static int ownerOf(const char* state, std::uint32_t bytes, int size);

    // Whether the run ended, on this process, with the files complete.
    bool finished() const { return Finished; }

private:
    // A successor of an explored state, in firing order.
    struct Successor {
        double rate;          // rate of the firing (summed into the row by target)
        std::uint32_t target; // its number, once known
        std::uint32_t owner;  // the process that owns it
    };
    // A state seen for the first time in the present level, at its owner.
    struct Candidate {
        std::uint32_t source;   // smallest discovery key: the explored state's number,
        std::uint32_t position; // and the successor's place among its successors
        std::uint32_t action;   // the action that reached it with that key
        std::uint32_t from;     // the process that sent that key
        std::uint32_t request;  // the request's place in that process's requests
        std::uint32_t number;   // its number, once known
    };

    // Hands the zero-time resolver's stable states to addSuccessor.
    struct Sink;

    // With GEN_DISTRIBUTED_STATS set: one line on standard error with this
    // process's states, processor time, peak memory and bytes sent.
    void reportStatistics() const;
    // Refuses, on one line, what this exploration does not do.
    void refuseUnsupported(StateSpaceGen& gen) const;
    // Fires the actions of every own state of the level [Low, High] and packs
    // the successors into one request buffer per owner.
    void fireLevel(StateSpaceGen& gen);
    // Fires the actions of the loaded explored state as the exploration with
    // deterministic actions does.
    void fireDeterministic(StateSpaceGen& gen, Sink& sink);
    // Appends the successor in `state` reached at `rate` by the action of id `action`.
    void addSuccessor(const char* state, double rate, std::uint32_t action);
    // Looks the received requests up: the known states' numbers, and the
    // candidates with their smallest keys.
    void lookUpRequests();
    // Numbers the level's new states across processes; returns how many.
    std::uint32_t numberNewStates();
    // Stores the candidates as states, in number order, the next level's
    // frontier, and packs their reward records.
    void storeNewStates(StateSpaceGen& gen);
    // Packs the level's rows, targets summed in firing order.
    void packRows();
    // On process 0: writes the level's rows and the new states' records.
    void writeLevel(StateSpaceGen& gen, std::uint32_t newStates);

    int Rank, Size;                      // this process and the number of processes
    ByteExchange Exchange;               // the collective moves
    std::uint32_t StateSize = 0;         // bytes of one vector
    std::uint32_t RecordValues = 0;      // reward values per state
    std::unique_ptr<HybridHash> Store;   // owned; this process's states, numbered locally
    std::vector<std::uint32_t> Global;   // the global number of each local number (index 0 unused)
    std::vector<std::uint32_t> Frontier; // local numbers of the own states of the level, in order
    std::uint32_t Low = 1, High = 1;     // the level's global numbers
    std::uint32_t LocalBeforeLevel = 0;  // local numbers given before the level's candidates
    std::unordered_map<const BaseActionClass*, std::uint32_t>
        ActionIds;                               // timed, then instantaneous
    std::vector<const BaseActionClass*> Actions; // by id

    // The explorer's side of a level.
    std::vector<Successor> Successors;            // of the own explored states, in order
    std::vector<std::uint32_t> FirstSuccessor;    // per frontier state, then the end
    std::vector<std::vector<char>> Requests;      // per owner: source, position, action, vector
    std::vector<std::vector<std::uint32_t>> Sent; // per owner: the successor of each request
    std::uint32_t Source = 0;                     // the state being fired
    std::uint32_t Position = 0;                   // its successors so far
    std::vector<char> Explored;                   // copy of the state being fired
    std::vector<double> ImpulseRates;             // with impulse rewards: per frontier state,
                                                  // the rates of each variable's impulses
    std::uint32_t ImpulseCount = 0;               // impulse rates per state
    // An enabling of a deterministic action in an explored state.
    struct Enabling {
        double delay;         // the action's delay
        std::uint32_t action; // its place among the timed actions (its id)
    };
    bool DeterministicRun = false;            // the exploration with deterministic actions
    std::vector<Enabling> Enablings;          // of the own explored states, in order
    // With impulse rewards, per enabling (as Enablings), per variable: the impulse
    // its firing and the zero-time path after it earn (the .dip file's values).
    std::vector<double> EnablingImpulses;
    std::vector<std::uint32_t> FirstEnabling; // per frontier state, then the end
    std::vector<double> Impulses;             // scratch impulse rates, on process 0

    // The owner's side of a level.
    std::vector<char> Incoming;               // every process's requests
    std::vector<std::size_t> IncomingOffsets; // per process
    std::vector<std::uint32_t> Answers;       // per request: number, or candidate index
    std::vector<char> IsCandidate;            // per request: Answers holds a candidate
    std::vector<Candidate> Candidates;        // the level's unknown states, by local number

    std::vector<std::vector<char>> Outgoing;  // per process, for any of the exchanges
    std::vector<char> Received;               // what an exchange brought
    std::vector<std::size_t> ReceivedOffsets; // per process
    std::vector<std::uint32_t> NewPerState;   // new successors per state of the level
    std::vector<char> Rows;                   // packed rows: number, count, entries
    std::vector<char> Records;                // packed records: number, values
    std::vector<double> Values;               // scratch reward values
    RateAccumulator Row;                      // the row being packed
    bool Finished = false;                    // see finished()
    std::uint32_t Levels = 0;                 // levels explored
};
