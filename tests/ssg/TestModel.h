#pragma once
// Small models for the generator's tests, built from a table in the shape of the
// generated models (a SANModel with Activity subclasses under a PVModel), and a
// helper that runs the generator over one in-process.

#include "actions/BaseActionClass.h"
#include "pv/PVModel.h"
#include "support/TestSupport.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

class Place;

namespace testmodel {

// The markings of a test SAN's places.
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

// "Place i holds v", "set place i to v", "add d to place i", "the marking of place i".
Predicate holds(int place, int value);
Effect put(int place, int value);
Effect add(int place, int delta);
std::function<double(const Marking&)> markingOf(int place);

struct ActivitySpec {
    std::string name;
    Predicate enabled;
    Effect fire;
    double rate = 1.0;
    Distribution type = Exponential;
    int rank = 0;
    double weight = 1.0;
    double erlangM = 1.0; // ErlangParamM()
    double delay = 0.0;   // first distribution parameter of a deterministic activity
    int group = -1;       // index into ModelShape::groups, or -1 for the activity's own group
};

struct ModelShape {
    std::vector<std::pair<std::string, short>> places; // name and initial marking
    std::vector<ActivitySpec> activities;
    std::vector<std::string> groups; // shared groups, listed after the activities' own groups
    std::vector<std::pair<std::string, std::function<double(const Marking&)>>> rewards;
};

// The reward model over a SAN named "test" built from the table.
class TestPVModel : public PVModel {
public:
    explicit TestPVModel(ModelShape shape);
    PerformanceVariableNode* createPVNode(int pvIndex, int timeIndex) override;

private:
    ModelShape Shape;
};

struct Outcome {
    std::string out; // standard output up to the processor-time line
    std::string arm, var, det;
};

// Runs the generator over `model` with the files <dir>run.*, as gen does.
Outcome runGenerator(PVModel* model, const testsupport::TempDir& dir, int traceLevel = 0,
                     short absorb = 0, double hashValue = 0.5, const char* traceFile = nullptr);

// The .arm header for `count` states: the type, the count, and the rest of the
// placeholder line (63 blanks, or 8 on the deterministic path) left blank.
std::string armHeader(int count, int placeholder = 63);

} // namespace testmodel
