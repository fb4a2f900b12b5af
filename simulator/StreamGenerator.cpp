#include "StreamGenerator.h"

namespace {

// One step of splitmix64: spreads consecutive or similar seeds over the whole word.
std::uint64_t splitmix(std::uint64_t& x) {
    x += 0x9E3779B97F4A7C15ULL;
    std::uint64_t z = x;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
}

std::uint64_t rotl(std::uint64_t x, int k) {
    return (x << k) | (x >> (64 - k));
}

} // namespace

StreamGenerator::StreamGenerator(std::uint64_t seed, std::uint64_t index) : Seed(seed) {
    srnd(static_cast<unsigned long>(index));
}

void StreamGenerator::srnd(unsigned long s) {
    std::uint64_t mix = Seed;
    std::uint64_t key = splitmix(mix) ^ (static_cast<std::uint64_t>(s) * 0xD1B54A32D192ED03ULL);
    for (std::uint64_t& word : State)
        word = splitmix(key);
    if ((State[0] | State[1] | State[2] | State[3]) == 0)
        State[0] = 1;
}

double StreamGenerator::rnd() {
    std::uint64_t result = rotl(State[1] * 5, 7) * 9;
    std::uint64_t t = State[1] << 17;
    State[2] ^= State[0];
    State[3] ^= State[1];
    State[1] ^= State[2];
    State[0] ^= State[3];
    State[2] ^= t;
    State[3] = rotl(State[3], 45);
    // The top 53 bits and a half: the centre of one of 2^53 equal cells.
    return (static_cast<double>(result >> 11) + 0.5) * 0x1.0p-53;
}
