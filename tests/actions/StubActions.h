#pragma once
// Test doubles for the action tests: an activity whose answers the test sets,
// and a uniform generator that returns given variates.

#include "actions/Activity.h"
#include "distributions/UserDistributions.h"

#include <vector>

// Keeps the generated Enabled() pattern (shift CurrentEnabled into PreviousEnabled).
class StubActivity : public Activity {
public:
    explicit StubActivity(const char* name, int rank = 1, double weight = 1.0, bool on = true)
        : Activity(name, 0, Instantaneous, DefaultPolicy, 0, 0, false), on(on), rank(rank),
          weight(weight) {}
    bool Enabled() override {
        ++enabledCalls;
        PreviousEnabled = CurrentEnabled;
        return CurrentEnabled = on;
    }
    double Weight() override { return weight; }
    int Rank() override { return rank; }
    BaseActionClass* Fire() override { return this; }
    void LinkVariables() override {}

    bool on;
    int rank;
    double weight;
    int enabledCalls = 0;
};

// Returns the given variates in order, counting the draws, while it sits in the
// global sampler (the previous generator is put back on destruction).
class FixedGenerator : public RandomNumberGenerator {
public:
    explicit FixedGenerator(std::vector<double> values)
        : values(std::move(values)), saved(TheDistribution->generator) {
        TheDistribution->generator = this;
    }
    ~FixedGenerator() override { TheDistribution->generator = saved; }
    double rnd() override { return values.at(draws++); }

    std::vector<double> values;
    std::size_t draws = 0;

private:
    RandomNumberGenerator* saved;
};
