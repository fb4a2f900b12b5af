#pragma once
// StreamGenerator: the uniform generator of one replication, xoshiro256** seeded
// from the run's seed and the replication's index, so that every replication
// draws the same numbers whichever worker runs it.

#include "distributions/RandomNumberGenerator.h"

#include <cstdint>

class StreamGenerator : public RandomNumberGenerator {
public:
    // The stream of replication `index` of a run seeded with `seed`.
    StreamGenerator(std::uint64_t seed, std::uint64_t index);
    ~StreamGenerator() override = default;
    StreamGenerator(const StreamGenerator&) = delete;
    StreamGenerator& operator=(const StreamGenerator&) = delete;

    // Next uniform number, strictly inside (0, 1): the samplers take its logarithm.
    double rnd() override;
    // Restarts the stream of replication `s` under the same seed.
    void srnd(unsigned long s) override;

private:
    std::uint64_t Seed;     // the run's seed
    std::uint64_t State[4]; // xoshiro256** state, never all zero
};
