#pragma once
// DistributedExplorer: the generator's stable-state exploration spread over
// the processes of an MPI run. A state belongs to the process that the hash
// of its vector names; each process stores its own states and explores them.
// The exploration goes level by level, and a level in batches of consecutive
// numbers: every process fires the actions of its states of the batch, in
// number order, and sends each successor, with its discovery key (source
// number, position among the source's successors), to its owner. The owner
// answers with the number of a state it knows; the states it does not know are
// numbered by their smallest key across all processes, which is the
// breadth-first discovery order of one process, so the numbers and the files
// are those of a run on one process. Process 0 writes the files with the
// generator's writers, rows and records in number order; with the binary row
// form, each process writes its own states' rows into its own part.

#include "ByteExchange.h"
#include "ssg/ExplorationHook.h"
#include "ssg/RateAccumulator.h"

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

class BaseActionClass;
class HybridHash;
class PartWriter;

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
    // A state seen for the first time in the present batch, at its owner.
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
    // Fires the actions of every own state of the batch [First, Last] and
    // packs the successors into one request buffer per owner.
    void fireBatch(StateSpaceGen& gen);
    // Fires the actions of the loaded explored state as the exploration with
    // deterministic actions does.
    void fireDeterministic(StateSpaceGen& gen, Sink& sink);
    // Appends the successor in `state` reached at `rate` by the action of id `action`.
    void addSuccessor(const char* state, double rate, std::uint32_t action);
    // Looks the received requests up: the known states' numbers, and the
    // candidates with their smallest keys.
    void lookUpRequests();
    // Numbers the batch's new states across processes; returns how many.
    std::uint32_t numberNewStates();
    // Stores the candidates as states, in number order, appends them to the
    // next level's frontier, and packs their reward records.
    void storeNewStates(StateSpaceGen& gen);
    // Packs the batch's rows for process 0, targets summed in firing order;
    // with the binary parts, writes them into this process's part instead.
    void packRows();
    // Writes the row held in Row, of state `number`, sorted, into the part.
    void writePartRow(std::uint32_t number);
    // Opens this process's part of the binary row form (process 0's is the
    // generator's), all named by `runId`; the owner of the initial state
    // `initial` writes its record, which process 0 computed.
    void openPart(StateSpaceGen& gen, std::uint64_t runId, const char* initial);
    // Writes the reward record in Values, of state `number`, into the part.
    void writePartRecord(std::uint32_t number);
    // Completes process 0's files, then every part with its completion mark.
    void finishParts(StateSpaceGen& gen);
    // On process 0: writes the batch's rows and the new states' records.
    void writeBatch(StateSpaceGen& gen, std::uint32_t newStates);

    // Own states explored per batch and process, unless GEN_DISTRIBUTED_BATCH
    // says otherwise: the batch's buffers take about 190 bytes per transition.
    static constexpr std::uint64_t DefaultBatchPerProcess = 65536;

    int Rank, Size;                      // this process and the number of processes
    ByteExchange Exchange;               // the collective moves
    std::uint32_t StateSize = 0;         // bytes of one vector
    std::uint32_t RecordValues = 0;      // reward values per state
    std::unique_ptr<HybridHash> Store;   // owned; this process's states, numbered locally
    std::vector<std::uint32_t> Global;   // the global number of each local number (index 0 unused)
    std::vector<std::uint32_t> Frontier; // local numbers of the own states of the level, in order
    std::vector<std::uint32_t> NextFrontier; // those of the next level, found so far, in order
    std::vector<std::uint32_t> Batch;        // those of the batch, in order
    std::uint32_t Low = 1, High = 1;         // the level's global numbers
    std::uint32_t First = 1, Last = 1;       // the batch's global numbers
    std::uint32_t LevelNew = 0;              // the level's new states numbered before the batch
    std::uint32_t LocalBeforeLevel = 0;      // local numbers given before the batch's candidates
    std::unordered_map<const BaseActionClass*, std::uint32_t>
        ActionIds;                               // timed, then instantaneous
    std::vector<const BaseActionClass*> Actions; // by id

    // The explorer's side of a batch.
    std::vector<Successor> Successors;            // of the own explored states, in order
    std::vector<std::uint32_t> FirstSuccessor;    // per frontier state, then the end
    std::vector<std::vector<char>> Requests;      // per owner: source, position, action, vector
    std::vector<std::size_t> RequestBytes;        // per owner: the bytes of Requests in use
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
    bool DeterministicRun = false;   // the exploration with deterministic actions
    std::vector<Enabling> Enablings; // of the own explored states, in order
    // With impulse rewards, per enabling (as Enablings), per variable: the impulse
    // its firing and the zero-time path after it earn (the .dip file's values).
    std::vector<double> EnablingImpulses;
    std::vector<std::uint32_t> FirstEnabling; // per frontier state, then the end
    std::vector<double> Impulses;             // scratch impulse rates, on process 0

    // The owner's side of a batch.
    std::vector<char> Incoming;               // every process's requests
    std::vector<std::size_t> IncomingOffsets; // per process
    std::vector<std::uint32_t> Answers;       // per request: number, or candidate index
    std::vector<char> IsCandidate;            // per request: Answers holds a candidate
    std::vector<Candidate> Candidates;        // the batch's unknown states, by local number

    std::vector<std::vector<char>> Outgoing;  // per process, for any of the exchanges
    std::vector<char> Received;               // what an exchange brought
    std::vector<std::size_t> ReceivedOffsets; // per process
    std::vector<std::uint32_t> NewPerState;   // new successors per state of the batch
    std::vector<char> Rows;                   // packed rows: number, count, entries
    std::vector<char> Records;                // packed records: number, values
    std::vector<double> Values;               // scratch reward values
    RateAccumulator Row;                      // the row being packed
    bool Finished = false;                    // see finished()
    bool BinaryParts = false;                 // rows go to each process's binary part
    bool Gathered = true;                     // process 0 gathers the batch's rows
    PartWriter* Part = nullptr;               // not owned: this process's part, while open
    std::unique_ptr<PartWriter> OwnPart;      // owned; the part of a process other than 0
    std::uint32_t Levels = 0;                 // levels explored
};
