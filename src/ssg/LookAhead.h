#pragma once
// LookAhead: the generator's plain exploration loop (no trace, rewards per new
// state), with the firings of the next states run ahead of the present
// state's lookups. A lookup waits for its index entry, then for the stored
// vector the entry names; firing every enabled action of a state first and
// asking for its successors' entries and vectors while other states are fired
// lets those waits overlap. The outcome is that of firing and looking up
// action by action: lookups run in firing order, so a new state gets the same
// number and is found by the later lookups of its batch.

#include "store/HybridHash.h"

#include <cstdint>
#include <memory>

class BaseActionClass;
class StateSpaceGen;

class LookAhead {
public:
    // Buffers for the generator's timed actions and state size; `generator` is
    // not owned (it owns the look-ahead), and is read through from the first
    // call on, once the generator is built.
    LookAhead(StateSpaceGen& generator, std::uint32_t numTimed, std::uint32_t stateSize,
              std::uint32_t rewardValues);
    LookAhead(const LookAhead&) = delete;
    LookAhead& operator=(const LookAhead&) = delete;
    LookAhead(LookAhead&&) = delete;
    LookAhead& operator=(LookAhead&&) = delete;

    // The successors of the state that the model holds (vector `explored`),
    // fired and then looked up as one batch; true when the model was loaded
    // with a new state for its rewards.
    bool expand(const char* explored);
    // The whole exploration loop, three states in flight.
    void explore();

private:
    // The successors of one explored state with positive rates, held from
    // their firing to their lookup: vectors, rates, the actions behind them and
    // their hashes.
    struct Batch {
        std::unique_ptr<char[]> states;              // owned; numTimed x StateSize
        std::unique_ptr<double[]> rates;             // owned; numTimed
        std::unique_ptr<BaseActionClass*[]> actions; // owned; numTimed
        std::unique_ptr<HybridHash::Key[]> keys;     // owned; numTimed
        std::uint32_t count = 0;                     // successors held
    };

    // Fires every enabled timed action of the state that the model holds (whose
    // vector is `explored`), putting the model back after each, and asks for
    // the index entries of the successors.
    void fireBatch(Batch& batch, const char* explored);
    // Asks for the stored vectors that the batch's lookups will compare.
    void prefetchStored(const Batch& batch) const;
    // Looks up the batch's successors in firing order, numbering the new ones;
    // true when the model was loaded with a new state for its rewards.
    bool lookUpBatch(const Batch& batch);

    StateSpaceGen& Gen;      // not owned: the generator that owns this
    std::uint32_t StateSize; // bytes of one state vector
    Batch Batches[3];        // the explored state's successors, and those of the next two
    std::unique_ptr<double[]> BatchRewards; // owned; with eager rewards, numTimed x
                                            // RewardValues values captured after the firings
    std::uint32_t RewardValues;             // reward values per state
};
