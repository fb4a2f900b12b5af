#pragma once
// Small models for the generator's tests, built from a table: places with their
// initial markings, activities whose enabling, firing, rate, weight and rank are
// functions of the marking, optional shared groups, and performance variables
// whose reward is a function of the marking. They follow the shape of the
// generated models: a SANModel with Activity subclasses under a PVModel.

#include "actions/BaseActionClass.h"
#include "pv/PVModel.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

class Place;

namespace testmodel {

// The markings of a test SAN's places, read and written by the activities.
class Marking {
public:
    explicit Marking(const std::vector<Place*>& places) : Places(places) {}
    short operator[](int i) const;
    void set(int i, int value) const;

private:
    const std::vector<Place*>& Places;
};

using Predicate = std::function<bool(const Marking&)>;
using Effect = std::function<void(const Marking&)>;
using Value = std::function<double(const Marking&)>;

inline Value constant(double value) {
    return [value](const Marking&) { return value; };
}

struct ActivitySpec {
    std::string name;
    Distribution type = Exponential;
    Predicate enabled;
    Effect fire;
    Value rate = constant(1.0);
    Value weight = constant(1.0);
    std::function<int(const Marking&)> rank = [](const Marking&) { return 0; };
    double erlangM = 1.0; // ErlangParamM()
    double delay = 0.0;   // first distribution parameter of a deterministic activity
    int group = -1;       // index into ModelSpec::groups, or -1 for the activity's own group
};

struct ModelSpec {
    std::vector<std::pair<std::string, short>> places; // name and initial marking
    std::vector<ActivitySpec> activities;
    std::vector<std::string> groups; // names of shared groups, listed after the own groups
    std::vector<std::pair<std::string, Value>> rewards; // performance variables
};

// The reward model over a SAN named "test" built from the table.
class TestPVModel : public PVModel {
public:
    explicit TestPVModel(ModelSpec spec);
    ~TestPVModel() override = default;
    PerformanceVariableNode* createPVNode(int pvIndex, int timeIndex) override;

private:
    ModelSpec Spec;
};

} // namespace testmodel
