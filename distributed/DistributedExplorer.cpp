#include "DistributedExplorer.h"

#include "OutputCapture.h"
#include "actions/BaseActionClass.h"
#include "output/ImpulseFile.h"
#include "output/PartWriter.h"
#include "output/RunFiles.h"
#include "output/TextBuffer.h"
#include "pv/PVModel.h"
#include "ssg/Reward.h"
#include "ssg/StateSpaceGen.h"
#include "store/HybridHash.h"
#include "trace/TraceFileContainer.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <mpi.h>
#include <string>
#include <sys/resource.h>

namespace {

// The own store's parameters, those of the generator's store.
constexpr unsigned long FirstTableSize = 131071;
constexpr unsigned long StatesPerBlock = 100000;
constexpr unsigned long HashChunk = 5;
constexpr unsigned long MaxStoreBlocks = 128;

// Bytes of a request before its vector: source number, position, action.
constexpr std::size_t RequestHeader = 3 * sizeof(std::uint32_t);
// A successor marked as the first discovery of a state, before it is numbered.
constexpr std::uint32_t Discovered = 0xffffffffU;

// Appends without first filling the room with zeros, as resize would.
void putBytes(std::vector<char>& buffer, const void* bytes, std::size_t count) {
    const char* from = static_cast<const char*>(bytes);
    buffer.insert(buffer.end(), from, from + count);
}

void put32(std::vector<char>& buffer, std::uint32_t value) {
    putBytes(buffer, &value, sizeof value);
}

std::uint32_t get32(const char* at) {
    std::uint32_t value = 0;
    std::memcpy(&value, at, sizeof value);
    return value;
}

// Ends the run (status 1) with the part writer's failure, as one process does.
[[noreturn]] void partFailed(const std::exception& error) {
    std::cerr << "Error: " << error.what() << std::endl;
    std::exit(1);
}

// Ends the run (status 1) with `what` refused, on every process alike.
[[noreturn]] void refuse(int rank, const char* what) {
    if (rank == 0)
        std::cerr << "Error: " << what
                  << " is not available when the exploration runs on more than one process "
                     "(mpirun -np 1 or no mpirun explores it)"
                  << std::endl;
    std::exit(1);
}

} // namespace

// The zero-time resolver's sink: every stable state becomes a successor.
struct DistributedExplorer::Sink {
    DistributedExplorer& Explorer; // not owned
    const Firing& Fire;            // not owned

    void reached(const char* state, double rate) {
        auto id = Explorer.ActionIds.find(Fire.lastFired());
        if (id == Explorer.ActionIds.end()) {
            std::cerr << "Error: a firing reached state " << Explorer.Source
                      << " through an action outside the model's tables" << std::endl;
            std::exit(1);
        }
        Explorer.addSuccessor(state, rate, id->second);
    }
};

DistributedExplorer::DistributedExplorer(int rank, int size)
    : Rank(rank), Size(size), Exchange(rank, size), Requests(size), RequestBytes(size), Sent(size),
      Outgoing(size) {}

DistributedExplorer::~DistributedExplorer() = default;

int DistributedExplorer::ownerOf(const char* state, std::uint32_t bytes, int size) {
    std::uint64_t hash = 0x9e3779b97f4a7c15ULL ^ bytes;
    std::uint32_t i = 0;
    for (; i + 8 <= bytes; i += 8) {
        std::uint64_t word = 0;
        std::memcpy(&word, state + i, 8);
        hash = (hash ^ word) * 0xff51afd7ed558ccdULL;
        hash ^= hash >> 32;
    }
    if (i < bytes) {
        std::uint64_t word = 0;
        std::memcpy(&word, state + i, bytes - i);
        hash = (hash ^ word) * 0xc4ceb9fe1a85ec53ULL;
        hash ^= hash >> 29;
    }
    hash ^= hash >> 31;
    hash *= 0xbf58476d1ce4e5b9ULL;
    hash ^= hash >> 32;
    return static_cast<int>(hash % static_cast<std::uint64_t>(size));
}

void DistributedExplorer::refuseUnsupported(StateSpaceGen& gen) const {
    if (gen.TraceLevel > 0 || gen.TraceFileName != nullptr)
        refuse(Rank, "the trace (-l, -t)");
    if (gen.BinaryRows && DeterministicRun)
        StateSpaceGen::refuseBinaryRowsDeterministic();
    // An Erlang action's phase lives in the action, outside the state vector:
    // its successors depend on the order in which one process explores.
    if (gen.Table.numPhase() > 0)
        refuse(Rank, "a model with Erlang actions");
    if (gen.Fire.eagerRewards())
        refuse(Rank, "a model whose rewards follow every firing");
}

bool DistributedExplorer::explore(StateSpaceGen& gen) {
    if (Rank == 0)
        gen.writeModelFiles();
    DeterministicRun = gen.chooseExploration() == StateSpaceGen::Exploration::Deterministic;
    refuseUnsupported(gen);

    StateSize = gen.StateSize;
    RecordValues = 2 * static_cast<std::uint32_t>(gen.Model->NumPVs);
    Values.resize(RecordValues);
    ImpulseCount = gen.Fire.impulses().count();
    Explored.resize(StateSize);
    const ActionTable& table = gen.Table;
    for (std::uint32_t i = 0; i < table.numTimed(); ++i)
        Actions.push_back(table.timed()[i]);
    for (std::uint32_t i = 0; i < table.numInstant(); ++i)
        Actions.push_back(table.instant()[i]);
    for (std::uint32_t id = 0; id < Actions.size(); ++id)
        ActionIds.emplace(Actions[id], id);

    Store = std::make_unique<HybridHash>(gen.Model, StateSize, FirstTableSize, StatesPerBlock,
                                         HashChunk, MaxStoreBlocks, gen.HashValue,
                                         HybridHash::HomeHash::Mixed, HybridHash::Equality::Bytes);
    Global.assign(1, 0);
    const char* initial = gen.StateTable->StoredState(1);
    if (ownerOf(initial, StateSize, Size) == Rank) {
        Store->Insert(initial, 1);
        Global.push_back(1);
        Frontier.assign(1, 1);
    }
    // With the binary row form, every process writes the rows of its own
    // states into its own part; process 0's part also holds every record.
    BinaryParts = gen.BinaryRows;
    std::uint64_t runId = 0;
    if (BinaryParts) {
        runId = Rank == 0 ? PartWriter::newRunId() : 0;
        MPI_Bcast(&runId, 1, MPI_UINT64_T, 0, MPI_COMM_WORLD);
        gen.shareBinaryRows(static_cast<std::uint32_t>(Size), runId);
    }
    if (Rank == 0 && DeterministicRun)
        gen.beginDeterministic(gen.Files.armName().c_str(), gen.Files.varName().c_str(),
                               gen.Files.detName().c_str());
    else if (Rank == 0)
        gen.beginStable(gen.Files.armName().c_str(), gen.Files.varName().c_str());
    // From here on, what a process reports is its own: another process's
    // model error or failed allocation is shown.
    OutputCapture::keepFromHere();
    if (BinaryParts)
        openPart(gen, runId, initial);
    // Process 0 takes every row, or with the binary parts only what it
    // reports: the absorbing states and the impulse rates.
    Gathered = !BinaryParts || gen.AbsorbFlag == 1 || ImpulseCount > 0;

    // A level is explored in batches of consecutive numbers, the same on every
    // process, so that the buffers of a batch's transitions stay bounded.
    std::uint64_t batch = DefaultBatchPerProcess;
    if (const char* chosen = std::getenv("GEN_DISTRIBUTED_BATCH"))
        batch = std::max(1UL, std::strtoul(chosen, nullptr, 10));
    batch *= static_cast<std::uint64_t>(Size);
    Low = High = 1;
    for (;;) {
        LevelNew = 0;
        NextFrontier.clear();
        std::size_t done = 0; // the level's own states explored so far
        for (std::uint64_t first = Low; first <= High; first += batch) {
            First = static_cast<std::uint32_t>(first);
            Last = static_cast<std::uint32_t>(std::min<std::uint64_t>(High, first + batch - 1));
            Batch.clear();
            for (; done < Frontier.size() && Global[Frontier[done]] <= Last; ++done)
                Batch.push_back(Frontier[done]);
            fireBatch(gen);
            Exchange.allToAll(Requests, RequestBytes, Incoming, IncomingOffsets);
            lookUpRequests();
            const std::uint32_t newStates = numberNewStates();
            packRows();
            storeNewStates(gen);
            writeBatch(gen, newStates);
            LevelNew += newStates;
        }
        Frontier.swap(NextFrontier);
        ++Levels;
        if (LevelNew == 0)
            break;
        Low = High + 1;
        High += LevelNew;
    }
    Store->ReleaseIndex();
    if (std::getenv("GEN_DISTRIBUTED_STATS") != nullptr)
        reportStatistics();

    if (BinaryParts) {
        finishParts(gen);
        Finished = true;
        return Rank == 0;
    }
    Finished = true;
    if (Rank != 0)
        return false;
    gen.CurrentStateNumber = gen.NumStates = gen.ExploredStates = High;
    if (DeterministicRun) {
        gen.finishDeterministic(gen.Files.detName().c_str());
    } else {
        gen.finishExploration();
        gen.Files.completeArm(gen.OutputFormat, High);
    }
    return true;
}

void DistributedExplorer::openPart(StateSpaceGen& gen, std::uint64_t runId, const char* initial) {
    // The initial state's record, as process 0 computed it for the .var file.
    if (Rank == 0)
        Reward::CaptureFrom(gen.Model, Values.data());
    MPI_Bcast(Values.data(), static_cast<int>(RecordValues), MPI_DOUBLE, 0, MPI_COMM_WORLD);
    if (Rank == 0) {
        Part = gen.Parts.get();
    } else {
        OwnPart = std::make_unique<PartWriter>();
        try {
            const std::string& arm = gen.Files.armName(); // <stem>.arm
            OwnPart->open(arm.substr(0, arm.size() - 4), static_cast<std::uint32_t>(Rank),
                          static_cast<std::uint32_t>(Size),
                          static_cast<std::uint32_t>(gen.Model->NumPVs), runId);
        } catch (const std::exception& error) {
            partFailed(error);
        }
        RunFiles::markUnfinished(OwnPart->fileName());
        Part = OwnPart.get();
    }
    if (ownerOf(initial, StateSize, Size) == Rank)
        writePartRecord(1);
}

void DistributedExplorer::writePartRecord(std::uint32_t number) {
    try {
        Part->record(number, Values.data());
    } catch (const std::exception& error) {
        partFailed(error);
    }
}

void DistributedExplorer::finishParts(StateSpaceGen& gen) {
    if (Rank == 0) {
        gen.CurrentStateNumber = gen.NumStates = gen.ExploredStates = High;
        gen.finishExploration();
    }
    // No part gets its completion mark before process 0's files are complete.
    MPI_Barrier(MPI_COMM_WORLD);
    try {
        Part->finish(High);
    } catch (const std::exception& error) {
        partFailed(error);
    }
    Part = nullptr;
    OwnPart.reset();
    if (Rank == 0)
        gen.Parts.reset();
    RunFiles::keepResults();
}

void DistributedExplorer::reportStatistics() const {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const double seconds =
        static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
        static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    // Straight to the standard error: the other processes' streams are captured.
    std::fprintf(stderr,
                 "process %d of %d: %zu states owned, %.3f s processor time, %ld KB peak "
                 "memory, %llu bytes sent, %.3f s in exchanges, %u levels\n",
                 Rank, Size, Global.size() - 1, seconds, usage.ru_maxrss, Exchange.bytesSent(),
                 Exchange.secondsExchanging(), Levels);
}

void DistributedExplorer::addSuccessor(const char* state, double rate, std::uint32_t action) {
    const int owner = ownerOf(state, StateSize, Size);
    // Written in place: the buffer only grows, so that an append is two copies.
    std::vector<char>& requests = Requests[owner];
    std::size_t& used = RequestBytes[owner];
    const std::size_t record = RequestHeader + StateSize;
    if (used + record > requests.size())
        requests.resize(std::max(used + record, 2 * requests.size()));
    char* at = requests.data() + used;
    const std::uint32_t header[3] = {Source, Position, action};
    std::memcpy(at, header, RequestHeader);
    std::memcpy(at + RequestHeader, state, StateSize);
    used += record;
    Sent[owner].push_back(static_cast<std::uint32_t>(Successors.size()));
    Successors.push_back({rate, 0, static_cast<std::uint32_t>(owner)});
    ++Position;
}

void DistributedExplorer::fireBatch(StateSpaceGen& gen) {
    for (int d = 0; d < Size; ++d) {
        RequestBytes[d] = 0;
        Sent[d].clear();
    }
    Successors.clear();
    FirstSuccessor.clear();
    Firing& fire = gen.Fire;
    const ActionTable& table = gen.Table;
    BaseActionClass* const* timed = table.timed();
    const bool instant = table.numInstant() > 0;
    // Impulses are tallied only by firings made through the model.
    const bool impulses = fire.talliesImpulses();
    ImpulseRates.clear();
    Enablings.clear();
    EnablingImpulses.clear();
    FirstEnabling.clear();
    Sink sink{*this, fire};
    char* explored = Explored.data();
    for (std::uint32_t local : Batch) {
        FirstSuccessor.push_back(static_cast<std::uint32_t>(Successors.size()));
        Source = Global[local];
        Position = 0;
        std::memcpy(explored, Store->StoredState(local), StateSize);
        fire.load(explored);
        if (DeterministicRun)
            fireDeterministic(gen, sink);
        for (std::uint32_t i = 0; i < table.numTimed() && !DeterministicRun; ++i) {
            BaseActionClass* action = timed[i];
            if (!action->Enabled())
                continue;
            if (instant) {
                fire.fireAction(action, explored);
                gen.Resolver.resolve<StableStates>(1.0, sink);
                fire.load(explored);
            } else if (impulses) {
                // Without instantaneous actions or phases, the action fired is the one reached by.
                fire.fireAction(action, explored);
                if (fire.rate() > 0)
                    addSuccessor(fire.target(), fire.rate(), i);
                fire.load(explored);
            } else {
                fire.fireAndRestore(action, fire.target(), explored);
                if (fire.rate() > 0)
                    addSuccessor(fire.target(), fire.rate(), i);
            }
        }
        if (impulses) {
            ImpulseTally& tally = fire.impulses();
            ImpulseRates.insert(ImpulseRates.end(), tally.sums(), tally.sums() + tally.count());
            tally.clear();
        }
    }
    FirstSuccessor.push_back(static_cast<std::uint32_t>(Successors.size()));
    FirstEnabling.push_back(static_cast<std::uint32_t>(Enablings.size()));
}

// The firings of the exploration with deterministic actions, as the generator
// makes them: a deterministic action's rate is minus its share, and its
// enabling is recorded with its delay.
void DistributedExplorer::fireDeterministic(StateSpaceGen& gen, Sink& sink) {
    Firing& fire = gen.Fire;
    const ActionTable& table = gen.Table;
    const char* explored = Explored.data();
    FirstEnabling.push_back(static_cast<std::uint32_t>(Enablings.size()));
    // The model is reloaded before each action only when a firing changed it.
    bool changed = false;
    for (std::uint32_t i = 0; i < table.numTimed(); ++i) {
        BaseActionClass* action = table.timed()[i];
        if (changed) {
            fire.load(explored);
            changed = false;
        }
        if (!action->Enabled())
            continue;
        const double share = table.groupOf(action)->Probability(action);
        if (action->DistributionType != Deterministic) {
            fire.setRate(action->Rate() * share);
        } else {
            fire.setRate(-share);
            Enablings.push_back({StateSpaceGen::delayOf(action), i});
        }
        fire.fire(action);
        changed = true;
        gen.Resolver.resolve<DeterministicStates>(1.0, sink);
        if (action->DistributionType == Deterministic && fire.talliesImpulses()) {
            ImpulseTally& earned = fire.deterministicImpulses();
            EnablingImpulses.insert(EnablingImpulses.end(), earned.sums(),
                                    earned.sums() + earned.count());
            earned.clear();
        }
    }
}

void DistributedExplorer::lookUpRequests() {
    Answers.clear();
    IsCandidate.clear();
    Candidates.clear();
    LocalBeforeLevel = static_cast<std::uint32_t>(Global.size() - 1);
    const std::size_t record = RequestHeader + StateSize;
    // The index entries of the requests a few ahead are asked for while the
    // present one is looked up, so that the waits for memory overlap.
    constexpr std::size_t Ahead = 8;
    HybridHash::Key keys[Ahead];
    for (int from = 0; from < Size; ++from) {
        const char* first = Incoming.data() + IncomingOffsets[from];
        const std::size_t count = (IncomingOffsets[from + 1] - IncomingOffsets[from]) / record;
        for (std::size_t r = 0; r < Ahead && r < count; ++r)
            keys[r] = Store->Prefetch(first + r * record + RequestHeader);
        for (std::uint32_t request = 0; request < count; ++request) {
            const char* bytes = first + request * record;
            const HybridHash::Key key = keys[request % Ahead];
            if (request + Ahead < count)
                keys[request % Ahead] = Store->Prefetch(bytes + Ahead * record + RequestHeader);
            const std::uint32_t source = get32(bytes);
            const std::uint32_t position = get32(bytes + 4);
            const auto next = static_cast<unsigned long>(LocalBeforeLevel) + Candidates.size() + 1;
            const long local = Store->FindOrInsert(bytes + RequestHeader, key, next);
            if (local >= 0 && static_cast<std::uint32_t>(local) <= LocalBeforeLevel) {
                Answers.push_back(Global[local]);
                IsCandidate.push_back(0);
                continue;
            }
            std::uint32_t index = 0;
            if (local < 0) {
                index = static_cast<std::uint32_t>(Candidates.size());
                Candidates.push_back({source, position, get32(bytes + 8),
                                      static_cast<std::uint32_t>(from), request, 0});
            } else {
                index = static_cast<std::uint32_t>(local) - LocalBeforeLevel - 1;
                Candidate& seen = Candidates[index];
                if (source < seen.source || (source == seen.source && position < seen.position))
                    seen = {source,  position, get32(bytes + 8), static_cast<std::uint32_t>(from),
                            request, 0};
            }
            Answers.push_back(index);
            IsCandidate.push_back(1);
        }
    }
}

std::uint32_t DistributedExplorer::numberNewStates() {
    // Each candidate's first discovery, told to the process that made it.
    for (auto& out : Outgoing)
        out.clear();
    for (const Candidate& candidate : Candidates)
        put32(Outgoing[candidate.from], candidate.request);
    Exchange.allToAll(Outgoing, Received, ReceivedOffsets);
    for (int owner = 0; owner < Size; ++owner)
        for (std::size_t at = ReceivedOffsets[owner]; at < ReceivedOffsets[owner + 1]; at += 4)
            Successors[Sent[owner][get32(Received.data() + at)]].target = Discovered;

    // The new states per state of the batch, summed over the processes: their
    // prefix sums number the new states in discovery order.
    const std::uint32_t width = Last - First + 1;
    NewPerState.assign(width, 0);
    for (std::size_t k = 0; k + 1 < FirstSuccessor.size(); ++k) {
        std::uint32_t count = 0;
        for (std::uint32_t s = FirstSuccessor[k]; s < FirstSuccessor[k + 1]; ++s)
            count += Successors[s].target == Discovered ? 1 : 0;
        NewPerState[Global[Batch[k]] - First] = count;
    }
    const double start = MPI_Wtime();
    MPI_Allreduce(MPI_IN_PLACE, NewPerState.data(), static_cast<int>(width), MPI_UINT32_T, MPI_SUM,
                  MPI_COMM_WORLD);
    Exchange.addExchanging(MPI_Wtime() - start);
    std::uint64_t total = 0;
    for (std::uint32_t& count : NewPerState) {
        const std::uint32_t here = count;
        count = static_cast<std::uint32_t>(total);
        total += here;
    }
    if (std::uint64_t{High} + LevelNew + total > 0xffffffffULL) {
        if (Rank == 0)
            std::cerr << "Error: more than 4294967295 states" << std::endl;
        std::exit(1);
    }
    for (std::size_t k = 0; k + 1 < FirstSuccessor.size(); ++k) {
        std::uint32_t next = High + LevelNew + NewPerState[Global[Batch[k]] - First] + 1;
        for (std::uint32_t s = FirstSuccessor[k]; s < FirstSuccessor[k + 1]; ++s)
            if (Successors[s].target == Discovered)
                Successors[s].target = next++;
    }

    // The numbers back to the owners, in the order they named the discoveries.
    for (auto& out : Outgoing)
        out.clear();
    for (int owner = 0; owner < Size; ++owner)
        for (std::size_t at = ReceivedOffsets[owner]; at < ReceivedOffsets[owner + 1]; at += 4)
            put32(Outgoing[owner], Successors[Sent[owner][get32(Received.data() + at)]].target);
    Exchange.allToAll(Outgoing, Received, ReceivedOffsets);
    std::vector<std::size_t> cursor(ReceivedOffsets.begin(), ReceivedOffsets.end() - 1);
    for (Candidate& candidate : Candidates) {
        candidate.number = get32(Received.data() + cursor[candidate.from]);
        cursor[candidate.from] += 4;
    }

    // Every request's answer, in the order of the requests.
    for (auto& out : Outgoing)
        out.clear();
    std::size_t request = 0;
    for (int from = 0; from < Size; ++from) {
        const std::size_t count =
            (IncomingOffsets[from + 1] - IncomingOffsets[from]) / (RequestHeader + StateSize);
        for (std::size_t r = 0; r < count; ++r, ++request)
            put32(Outgoing[from], IsCandidate[request] != 0 ? Candidates[Answers[request]].number
                                                            : Answers[request]);
    }
    Exchange.allToAll(Outgoing, Received, ReceivedOffsets);
    for (int owner = 0; owner < Size; ++owner) {
        std::uint32_t r = 0;
        for (std::size_t at = ReceivedOffsets[owner]; at < ReceivedOffsets[owner + 1]; at += 4)
            Successors[Sent[owner][r++]].target = get32(Received.data() + at);
    }
    return static_cast<std::uint32_t>(total);
}

void DistributedExplorer::packRows() {
    Rows.clear();
    for (std::size_t k = 0; k + 1 < FirstSuccessor.size(); ++k) {
        for (std::uint32_t s = FirstSuccessor[k]; s < FirstSuccessor[k + 1]; ++s)
            Row.add(Successors[s].target, Successors[s].rate);
        const std::uint32_t number = Global[Batch[k]];
        if (BinaryParts)
            writePartRow(number);
        if (!Gathered) {
            Row.clear();
            continue;
        }
        put32(Rows, number);
        put32(Rows, Row.size());
        // A binary part's rows stay here: process 0 takes only what it reports.
        for (std::uint32_t i = 0; i < Row.size() && !BinaryParts; ++i) {
            put32(Rows, Row.target(i));
            const double rate = Row.rate(i);
            putBytes(Rows, &rate, sizeof rate);
        }
        // An absorbing state's vector, for its report.
        if (Row.empty())
            putBytes(Rows, Store->StoredState(Batch[k]), StateSize);
        Row.clear();
        if (!ImpulseRates.empty())
            putBytes(Rows, ImpulseRates.data() + k * ImpulseCount, ImpulseCount * sizeof(double));
        if (DeterministicRun) {
            put32(Rows, FirstEnabling[k + 1] - FirstEnabling[k]);
            for (std::uint32_t e = FirstEnabling[k]; e < FirstEnabling[k + 1]; ++e) {
                putBytes(Rows, &Enablings[e].delay, sizeof(double));
                put32(Rows, Enablings[e].action);
                if (!EnablingImpulses.empty())
                    putBytes(Rows, EnablingImpulses.data() + std::size_t{e} * ImpulseCount,
                             ImpulseCount * sizeof(double));
            }
        }
    }
}

void DistributedExplorer::writePartRow(std::uint32_t number) {
    Row.sort();
    try {
        Part->row(number, Row);
    } catch (const std::exception& error) {
        partFailed(error);
    }
}

void DistributedExplorer::storeNewStates(StateSpaceGen& gen) {
    // The batch's new states follow every earlier batch's in number order.
    const std::size_t from = NextFrontier.size();
    Global.resize(LocalBeforeLevel + 1 + Candidates.size());
    for (std::uint32_t c = 0; c < Candidates.size(); ++c) {
        const std::uint32_t local = LocalBeforeLevel + 1 + c;
        Global[local] = Candidates[c].number;
        NextFrontier.push_back(local);
    }
    const auto fresh = NextFrontier.begin() + static_cast<std::ptrdiff_t>(from);
    std::sort(fresh, NextFrontier.end(),
              [this](std::uint32_t a, std::uint32_t b) { return Global[a] < Global[b]; });
    // Each new state's rewards, computed as the firing that reached it first
    // leaves them: the model holds the state, and that firing's action is named.
    Records.clear();
    for (auto at = fresh; at != NextFrontier.end(); ++at) {
        const std::uint32_t local = *at;
        gen.Fire.load(Store->StoredState(local));
        const Candidate& candidate = Candidates[local - LocalBeforeLevel - 1];
        gen.Fire.computeRewards(const_cast<BaseActionClass*>(Actions[candidate.action]));
        Reward::CaptureFrom(gen.Model, Values.data());
        if (BinaryParts)
            writePartRecord(Global[local]);
        put32(Records, Global[local]);
        putBytes(Records, Values.data(), Values.size() * sizeof(double));
    }
}

void DistributedExplorer::writeBatch(StateSpaceGen& gen, std::uint32_t newStates) {
    if (Gathered)
        Exchange.toFirst(Rows, Received, ReceivedOffsets);
    std::vector<TargetRate> row;
    std::vector<std::size_t> cursor;
    if (Rank == 0 && !Gathered) {
        for (std::uint64_t number = (First + 999ULL) / 1000 * 1000; number <= Last; number += 1000)
            std::cout << "_$" << number << "$" << std::endl;
    } else if (Rank == 0) {
        cursor.assign(ReceivedOffsets.begin(), ReceivedOffsets.end() - 1);
        for (std::uint32_t number = First; number <= Last; ++number) {
            int from = 0;
            while (cursor[from] == ReceivedOffsets[from + 1] ||
                   get32(Received.data() + cursor[from]) != number)
                ++from;
            const char* at = Received.data() + cursor[from];
            const std::uint32_t count = get32(at + 4);
            at += 8;
            if (!BinaryParts) {
                row.resize(count);
                for (std::uint32_t i = 0; i < count; ++i, at += 12) {
                    row[i].target = get32(at);
                    std::memcpy(&row[i].rate, at + 4, sizeof(double));
                }
                gen.Rows->line(number);
            }
            if (number % 1000 == 0)
                std::cout << "_$" << number << "$" << std::endl;
            if (count == 0) {
                if (gen.AbsorbFlag == 1 && DeterministicRun) {
                    gen.Fire.load(at);
                    gen.reportAbsorbingDeterministic();
                } else if (gen.AbsorbFlag == 1) {
                    if (gen.Trace)
                        gen.Trace->printStr(1, "The following state is absorbing: ");
                    std::cout << "absorbing state" << std::endl;
                    if (gen.Trace) {
                        gen.Fire.load(at);
                        gen.Trace->printState();
                    }
                }
                at += StateSize;
            }
            if (!BinaryParts)
                gen.Rows->rateRow(row.data(), count);
            if (gen.ImpulseOut) {
                Impulses.resize(ImpulseCount);
                std::memcpy(Impulses.data(), at, ImpulseCount * sizeof(double));
                gen.ImpulseOut->record(number, Impulses.data(), ImpulseCount);
                at += ImpulseCount * sizeof(double);
            }
            if (DeterministicRun) {
                const std::uint32_t enablings = get32(at);
                at += 4;
                for (std::uint32_t e = 0; e < enablings; ++e, at += 12) {
                    double delay = 0;
                    std::memcpy(&delay, at, sizeof delay);
                    gen.DetList.insertEnablingState(static_cast<int>(number), delay);
                    gen.DetActivities.emplace_back(number, Actions[get32(at + 8)]->Name);
                    if (gen.ImpulseOut) {
                        const std::size_t from = gen.DetImpulses.size();
                        gen.DetImpulses.resize(from + ImpulseCount);
                        std::memcpy(gen.DetImpulses.data() + from, at + 12,
                                    ImpulseCount * sizeof(double));
                        at += ImpulseCount * sizeof(double);
                    }
                }
            }
            cursor[from] = static_cast<std::size_t>(at - Received.data());
        }
    }
    Exchange.toFirst(Records, Received, ReceivedOffsets);
    if (Rank == 0) {
        const std::size_t record = 4 + RecordValues * sizeof(double);
        cursor.assign(ReceivedOffsets.begin(), ReceivedOffsets.end() - 1);
        const std::uint32_t firstNew = High + LevelNew + 1;
        for (std::uint32_t number = firstNew; number < firstNew + newStates; ++number) {
            int from = 0;
            while (cursor[from] == ReceivedOffsets[from + 1] ||
                   get32(Received.data() + cursor[from]) != number)
                ++from;
            std::memcpy(Values.data(), Received.data() + cursor[from] + 4,
                        RecordValues * sizeof(double));
            gen.RewardOut->Write(number, Values.data());
            cursor[from] += record;
        }
    }
}
