#pragma once
// The checked model: what the emitter writes from. Every name is resolved to an
// index, every value has its type, every study value and time point is computed,
// and every C++ fragment carries the places it reads or writes.

#include "Ast.h"

#include <string>
#include <vector>

// A C++ fragment with the places (indices into CheckedModel::places) that it names,
// itself or through the named expressions it uses. Each use of a named expression
// in `code` is written as a call, `name()`.
struct CheckedFragment {
    Fragment code;
    std::vector<int> places;
    // The named expressions (indices into CheckedModel::defines) it uses, directly
    // or through one another, each after those it uses itself.
    std::vector<int> defines;
};

// A named expression: a local function of every generated method that uses it.
struct CheckedDefine {
    std::string name;
    bool condition = true; // a bool; otherwise the expression's own type
    CheckedFragment body;  // its places and defines: everything it reaches
};

struct CheckedGlobal {
    std::string name;
    ValueType type;
    // The value in each experiment, as a C++ literal of the variable's type.
    std::vector<std::string> values;
};

struct CheckedField {
    std::string name;
    ValueType type;
    bool hasInit = false;
    Fragment init;
};

struct CheckedStruct {
    std::string name;
    std::vector<CheckedField> fields;
};

struct CheckedPlace {
    enum Kind { Scalar, Array, Struct } kind = Scalar;
    std::string name;
    std::string size; // Array: C++ text of the size (a literal or a global's name)
    bool sizeIsGlobal = false;
    int structType = -1; // Struct: index into CheckedModel::structs
    bool hasInit = false;
    Fragment init;
    // A phase counter that the compiler adds for erlang activities: in the state
    // vector, but no name of the language reaches it.
    bool hidden = false;
};

struct CheckedArc {
    int place = -1;
    bool indexed = false;
    CheckedFragment index;
};

struct CheckedActivity {
    std::string name;
    ActivityKind kind = ActivityKind::Exponential;
    bool family = false;
    std::string index; // the family's index name
    CheckedFragment first, last;
    bool hasRate = false, hasDelay = false, hasPhases = false, hasWeight = false, hasRank = false,
         hasWhen = false, hasEffect = false;
    CheckedFragment rate, delay, phases, weight, rank, when, effect;
    std::vector<CheckedArc> inputs, outputs;
    std::vector<int> enablingPlaces;  // in first-use order: inputs, then `when`
    std::vector<int> affectedPlaces;  // inputs, outputs, then `do`
    std::vector<int> firingPlaces;    // every arc's place and index, then `do`
    std::vector<int> linkedPlaces;    // every place any of its code touches
    std::vector<int> enablingDefines; // named expressions of the arcs' indices, `when`, stops
    std::vector<int> firingDefines;   // named expressions of the arcs' indices and `do`
    // Arrays that a family member uses only at its own index (`a[i]`, i the
    // family's index): the member binds that one element.
    std::vector<int> ownElementArrays;
    int group = -1; // index into CheckedModel::groups, -1 when alone
    // Erlang: the hidden place that counts its completed phases, its own or its
    // group's; -1 for the other kinds.
    int phasePlace = -1;
    // Sampled: the kind's entry in SampledKinds.h, its parameters in the table's
    // order (group after group for a repeated kind), and where the activity is
    // declared (for the compiler's warning).
    int sampled = -1;
    std::vector<CheckedFragment> parameters;
    SourceLocation at;
};

struct CheckedGroup {
    std::string name;
    std::vector<int> members; // activities, in the group's order
    int phasePlace = -1;      // the hidden phase counter its erlang members share, or -1
};

struct CheckedImpulse {
    int activity = -1;
    CheckedFragment value;
};

struct CheckedReward {
    std::string name;
    RewardKind kind = RewardKind::Instant; // never UntilAbsorption: that is an Interval
    bool untilAbsorption = false;          // reported until absorption (the .abs file)
    std::vector<double> starts, stops;
    bool hasRate = false;
    CheckedFragment rate;
    std::vector<CheckedImpulse> impulses;
};

struct CheckedModel {
    std::string file;      // the model file as named on the command line
    std::string modelName; // the SAN's name
    std::string stem;      // the reward model's stem
    std::string studyName;
    std::vector<CheckedGlobal> globals;
    int numExperiments = 1;
    std::vector<std::string> experimentNames; // empty entry: the default name
    std::vector<CheckedStruct> structs;
    std::vector<CheckedPlace> places;
    std::vector<CheckedActivity> activities;
    std::vector<CheckedGroup> groups;
    std::vector<CheckedReward> rewards;
    std::vector<Fragment> code;         // helper code blocks, in file order
    std::vector<CheckedDefine> defines; // named expressions, in file order
    std::vector<CheckedFragment> stops; // absorbing conditions: no activity is enabled
};
