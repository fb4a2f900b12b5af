#pragma once
// UserDistributions: a Distributions whose generator kind and seed are chosen
// at construction; the process-wide sampler TheGenerator is one of these.

#include "distributions/Distributions.h"

class UserDistributions : public Distributions {
public:
    UserDistributions();
    // kind 0: lagged Fibonacci; 1: Tausworthe; any other: lagged Fibonacci.
    UserDistributions(int kind, long seed);
};

// The process-wide sampler, seeded with 31415 before main runs.
extern UserDistributions TheGenerator;
// The sampler that model code and group selection draw from (&TheGenerator).
extern UserDistributions* TheDistribution;
