#pragma once
// SampledKinds: the timed activity kinds whose delay the simulator samples from
// one of the framework's distributions and that the generator cannot explore.
// The parser, the checker and the emitter read the same table.

#include <string>

// How a literal parameter is bounded.
enum class ParameterRange { Positive, NotNegative, Any };

// One parameter clause of a sampled kind.
struct SampledParameter {
    const char* word;     // the clause's word in the model file
    const char* method;   // the generated member function that returns it
    ParameterRange range; // what a literal value must satisfy
};

// One sampled kind: its statement word, the framework's Distribution and the
// parameter clauses in the order the framework's sampler takes them.
struct SampledKind {
    const char* word;
    const char* distribution;
    int count; // the number of parameters
    SampledParameter parameters[3];
};

// The kind whose statement word is `word`, or -1.
int sampledKindOf(const std::string& word);
// Kind k of the table (0 <= k < sampledKindCount()).
const SampledKind& sampledKind(int k);
int sampledKindCount();
