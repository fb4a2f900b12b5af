#pragma once
// RandomNumberGenerator: the interface of the uniform generators behind the
// sampling methods and group selection.

class RandomNumberGenerator {
public:
    RandomNumberGenerator() = default;
    virtual ~RandomNumberGenerator() = default;
    RandomNumberGenerator(const RandomNumberGenerator&) = delete;
    RandomNumberGenerator& operator=(const RandomNumberGenerator&) = delete;

    // Next uniform number in [0, 1); the base returns 0.0.
    virtual double rnd() { return 0.0; }
    // Sets the state from a seed; the base does nothing.
    virtual void srnd(unsigned long /*seed*/) {}
};
