#pragma once
// Tausworthe: a small shift-register generator whose whole state is one 31-bit word.

#include "distributions/RandomNumberGenerator.h"

#include <cstdint>

class Tausworthe : public RandomNumberGenerator {
public:
    // The state starts at 0 (which yields 0 forever) until srnd sets it.
    Tausworthe() = default;
    ~Tausworthe() override = default;
    Tausworthe(const Tausworthe&) = delete;
    Tausworthe& operator=(const Tausworthe&) = delete;

    // Advances the state and returns it scaled into [0, 1).
    double rnd() override;
    // The seed becomes the state, reduced to its low 32 bits.
    void srnd(unsigned long s) override;

    std::uint32_t seed = 0; // the whole generator state
};
