#include "StreamSampler.h"

StreamSampler::StreamSampler(std::uint64_t seed) : Sampler(1, 0), Previous(TheDistribution) {
    delete Sampler.generator;
    Stream = new StreamGenerator(seed, 0);
    Sampler.generator = Stream;
    TheDistribution = &Sampler;
}

StreamSampler::~StreamSampler() {
    TheDistribution = Previous;
}
