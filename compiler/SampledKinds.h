#pragma once
// SampledKinds: the timed activity kinds whose delay the simulator samples from
// one of the framework's distributions and that the generator cannot explore.
// The parser, the checker and the emitter read the same table.

#include <string>
#include <vector>

// How a literal parameter is bounded.
enum class ParameterRange {
    Positive,      // above 0
    NotNegative,   // 0 or above
    Any,           // any finite number
    Probability,   // in (0, 1]
    Fraction,      // in [0, 1]
    Count,         // a whole number, 0 or above
    PositiveCount, // a whole number, 1 or above
};

// One parameter clause of a sampled kind.
struct SampledParameter {
    const char* word;     // the clause's word in the model file
    const char* method;   // the generated member function that returns it
    ParameterRange range; // what a literal value must satisfy
};

// One sampled kind: its statement word, the framework's Distribution and the
// parameter clauses in the order the framework's sampler takes them. A kind
// with `repeated` takes its parameters as a group written one or more times
// (the i-th clause of each word belongs to the i-th group); the sampler reads
// the groups one after the other.
struct SampledKind {
    const char* word;
    const char* distribution;
    std::vector<SampledParameter> parameters;
    bool repeated = false;
};

// The kind whose statement word is `word`, or -1.
int sampledKindOf(const std::string& word);
// Kind k of the table (0 <= k < sampledKindCount()).
const SampledKind& sampledKind(int k);
int sampledKindCount();
// The table entry of the word `word` in kind `k`, or -1.
int sampledParameterOf(const SampledKind& k, const std::string& word);
// Whether `value` satisfies `range`, and the rule in words ("positive", ...).
bool inRange(ParameterRange range, double value);
const char* rangeRule(ParameterRange range);
// The generated member that returns slot `slot` of group `group` (0-based):
// the table's method, numbered from 1 for a repeated kind.
std::string parameterMethod(const SampledKind& k, int slot, int group);
