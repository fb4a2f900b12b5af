#include "ssg/LookAhead.h"

#include "base/NewArray.h"
#include "ssg/Reward.h"
#include "ssg/StateSpaceGen.h"

LookAhead::LookAhead(StateSpaceGen& generator, std::uint32_t numTimed, std::uint32_t stateSize,
                     std::uint32_t rewardValues)
    : Gen(generator), StateSize(stateSize), RewardValues(rewardValues) {
    for (Batch& batch : Batches) {
        batch.states = newArray<char>(static_cast<std::size_t>(numTimed) * StateSize);
        batch.rates = newArray<double>(numTimed);
        batch.actions = newArray<BaseActionClass*>(numTimed);
        batch.keys = newArray<HybridHash::Key>(numTimed);
    }
    BatchRewards = newArray<double>(static_cast<std::size_t>(numTimed) * RewardValues);
}

bool LookAhead::expand(const char* explored) {
    Batch& batch = Batches[0];
    fireBatch(batch, explored);
    prefetchStored(batch);
    return lookUpBatch(batch);
}

// Each successor's reward record holds the values of the firing that reached
// it (computed for the new state from its vector and that action, or, with
// eager rewards, captured right after the firing); and a lookup reads nothing
// that a later firing changes.
void LookAhead::fireBatch(Batch& batch, const char* explored) {
    Firing& fire = Gen.Fire;
    const std::uint32_t numTimed = Gen.Table.numTimed();
    BaseActionClass* const* timed = Gen.Table.timed();
    const bool eager = fire.eagerRewards();
    // Nothing changes the trace level during an exploration.
    const bool traced = fire.traces(1);
    std::uint32_t count = 0;
    for (std::uint32_t i = 0; i < numTimed; ++i) {
        BaseActionClass* action = timed[i];
        if (!action->Enabled())
            continue;
        char* successor = batch.states.get() + static_cast<std::size_t>(count) * StateSize;
        if (eager) {
            fire.aimAt(successor);
            fire.fireAction(action, const_cast<char*>(explored));
            fire.load(explored);
        } else {
            // Without phases (there are none) and without rewards, the target is
            // taken and the explored state put back in one pass.
            if (traced)
                fire.trace()->printFireAction(action, 0.0);
            fire.fireAndRestore(action, successor, explored);
        }
        if (fire.rate() > 0) {
            batch.rates[count] = fire.rate();
            batch.actions[count] = fire.lastFired();
            if (eager)
                Gen.RewardOut->Capture(BatchRewards.get() +
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
            Gen.StateTable->Prefetch(batch.states.get() + static_cast<std::size_t>(k) * StateSize);
    fire.aimAtBuffer();
}

void LookAhead::prefetchStored(const Batch& batch) const {
    for (std::uint32_t k = 0; k < batch.count; ++k)
        Gen.StateTable->PrefetchStored(batch.keys[k]);
}

bool LookAhead::lookUpBatch(const Batch& batch) {
    HybridHash& store = *Gen.StateTable;
    RateAccumulator& row = Gen.RateMap;
    Firing& fire = Gen.Fire;
    const bool eager = fire.eagerRewards();
    bool moved = false;
    for (std::uint32_t k = 0; k < batch.count; ++k) {
        const char* successor = batch.states.get() + static_cast<std::size_t>(k) * StateSize;
        long target = store.FindOrInsert(successor, batch.keys[k], Gen.NumStates + 1UL);
        if (target >= 0) {
            row.add(static_cast<std::uint32_t>(target), batch.rates[k]);
        } else if (eager) {
            Gen.newState(successor, batch.rates[k],
                         BatchRewards.get() + static_cast<std::size_t>(k) * RewardValues, true);
        } else {
            fire.load(successor);
            moved = true;
            fire.setLastFired(batch.actions[k]);
            Gen.newState(successor, batch.rates[k], nullptr, true);
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
void LookAhead::explore() {
    constexpr std::uint32_t InFlight = sizeof Batches / sizeof Batches[0];
    std::uint32_t fired = 0;   // the last state whose successors are fired
    std::uint32_t fetched = 0; // the last state whose stored vectors are asked for
    auto fire = [this, &fired] {
        ++fired;
        const char* explored = Gen.StateTable->StoredState(fired);
        Gen.Fire.load(explored);
        fireBatch(Batches[fired % InFlight], explored);
    };
    for (std::uint32_t number = Gen.firstToExplore(); number != 0; number = Gen.nextToExplore()) {
        while (fired < number + InFlight - 1 && fired < Gen.NumStates)
            fire();
        while (fetched < number + 1 && fetched < fired)
            prefetchStored(Batches[++fetched % InFlight]);
        lookUpBatch(Batches[number % InFlight]);
        Gen.endRow(true);
    }
}
