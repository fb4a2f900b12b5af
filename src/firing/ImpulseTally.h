#pragma once
// ImpulseTally: the rate at which each performance variable earns impulses in
// the state being explored. Every firing made from that state adds its impulse
// times its weight: the rate of the timed firing, times, for an instantaneous
// firing on the zero-time path that follows, the probability of the path up to
// and including it. The sums are in the order of the reward model's variables.

#include <cstdint>
#include <memory>

class BaseActionClass;
class PVModel;

class ImpulseTally {
public:
    // Sums for every variable of `model` (not owned; it outlives the tally).
    explicit ImpulseTally(PVModel* model);
    ImpulseTally(const ImpulseTally&) = delete;
    ImpulseTally& operator=(const ImpulseTally&) = delete;
    ImpulseTally(ImpulseTally&&) = delete;
    ImpulseTally& operator=(ImpulseTally&&) = delete;

    // The model has impulse rewards: only then is anything tallied.
    bool active() const { return Active; }
    // Adds the impulses of `action`, which has just fired into the state the
    // model holds, times `weight` (> 0). No allocation.
    void add(BaseActionClass* action, double weight);
    // The sums since the last clear(), one per variable.
    const double* sums() const { return Sums.get(); }
    std::uint32_t count() const { return Count; }
    void clear();

private:
    PVModel* Model;                 // not owned
    std::uint32_t Count;            // the model's variables
    std::unique_ptr<double[]> Sums; // owned; Count sums
    bool Active = false;            // some variable has an impulse
};
