#pragma once
// StreamSampler: while it exists, the process-wide sampler that model code and
// group selection draw from (TheDistribution) is fed by one StreamGenerator,
// whose stream is chosen per replication; the previous sampler comes back when
// it is destroyed.

#include "StreamGenerator.h"
#include "distributions/UserDistributions.h"

#include <cstdint>

class StreamSampler {
public:
    // Draws from the streams of `seed`.
    explicit StreamSampler(std::uint64_t seed);
    // Puts the previous process-wide sampler back.
    ~StreamSampler();
    StreamSampler(const StreamSampler&) = delete;
    StreamSampler& operator=(const StreamSampler&) = delete;

    // The stream of replication `index`, from its start.
    RandomNumberGenerator* stream(std::uint64_t index) {
        Stream->srnd(static_cast<unsigned long>(index));
        return Stream;
    }

private:
    UserDistributions Sampler;   // owns Stream
    StreamGenerator* Stream;     // not owned
    UserDistributions* Previous; // not owned: the process-wide sampler
};
