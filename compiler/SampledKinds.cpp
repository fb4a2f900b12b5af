#include "SampledKinds.h"

#include <cmath>

namespace {

// The parameters in the order of the framework's Distributions methods: the
// triangular sampler takes low, high, then the mode; the hyperexponential one
// reads each branch as its rate followed by its probability.
const std::vector<SampledKind> kinds = {
    {"uniform",
     "Uniform",
     {{"low", "LowParameter", ParameterRange::NotNegative},
      {"high", "HighParameter", ParameterRange::Positive}}},
    {"weibull",
     "Weibull",
     {{"shape", "ShapeParameter", ParameterRange::Positive},
      {"scale", "ScaleParameter", ParameterRange::Positive}}},
    {"lognormal",
     "Lognormal",
     {{"logmean", "LogMeanParameter", ParameterRange::Any},
      {"logvariance", "LogVarianceParameter", ParameterRange::Positive}}},
    {"gamma",
     "Gamma",
     {{"shape", "ShapeParameter", ParameterRange::Positive},
      {"scale", "ScaleParameter", ParameterRange::Positive}}},
    {"beta",
     "Beta",
     {{"shape1", "Shape1Parameter", ParameterRange::Positive},
      {"shape2", "Shape2Parameter", ParameterRange::Positive}}},
    {"normal",
     "Normal",
     {{"mean", "MeanParameter", ParameterRange::Any},
      {"variance", "VarianceParameter", ParameterRange::Positive}}},
    {"triangular",
     "Triangular",
     {{"low", "LowParameter", ParameterRange::NotNegative},
      {"high", "HighParameter", ParameterRange::Positive},
      {"mode", "ModeParameter", ParameterRange::NotNegative}}},
    {"pareto",
     "Pareto",
     {{"minimum", "MinimumParameter", ParameterRange::Positive},
      {"shape", "ShapeParameter", ParameterRange::Positive}}},
    {"geometric",
     "Geometric",
     {{"probability", "ProbabilityParameter", ParameterRange::Probability}}},
    {"conditionalweibull",
     "ConditionalWeibull",
     {{"shape", "ShapeParameter", ParameterRange::Positive},
      {"scale", "ScaleParameter", ParameterRange::Positive},
      {"age", "AgeParameter", ParameterRange::NotNegative}}},
    {"binomial",
     "Binomial",
     {{"trials", "TrialsParameter", ParameterRange::Count},
      {"probability", "ProbabilityParameter", ParameterRange::Fraction}}},
    {"negativebinomial",
     "NegativeBinomial",
     {{"successes", "SuccessesParameter", ParameterRange::PositiveCount},
      {"probability", "ProbabilityParameter", ParameterRange::Probability}}},
    {"hyperexponential",
     "HyperExponential",
     {{"phaserate", "PhaseRateParameter", ParameterRange::Positive},
      {"probability", "ProbabilityParameter", ParameterRange::Fraction}},
     true},
    {"hypoexponential",
     "HypoExponential",
     {{"phaserate", "PhaseRateParameter", ParameterRange::Positive}},
     true},
};

} // namespace

int sampledKindOf(const std::string& word) {
    for (int k = 0; k < sampledKindCount(); ++k)
        if (word == kinds[static_cast<std::size_t>(k)].word)
            return k;
    return -1;
}

const SampledKind& sampledKind(int k) {
    return kinds[static_cast<std::size_t>(k)];
}

int sampledKindCount() {
    return static_cast<int>(kinds.size());
}

int sampledParameterOf(const SampledKind& k, const std::string& word) {
    for (std::size_t p = 0; p < k.parameters.size(); ++p)
        if (word == k.parameters[p].word)
            return static_cast<int>(p);
    return -1;
}

bool inRange(ParameterRange range, double value) {
    switch (range) {
    case ParameterRange::Positive:
        return value > 0.0;
    case ParameterRange::NotNegative:
        return value >= 0.0;
    case ParameterRange::Any:
        return std::isfinite(value);
    case ParameterRange::Probability:
        return value > 0.0 && value <= 1.0;
    case ParameterRange::Fraction:
        return value >= 0.0 && value <= 1.0;
    case ParameterRange::Count:
        return value >= 0.0 && std::isfinite(value) && value == std::floor(value);
    case ParameterRange::PositiveCount:
        return value >= 1.0 && std::isfinite(value) && value == std::floor(value);
    }
    return false;
}

const char* rangeRule(ParameterRange range) {
    switch (range) {
    case ParameterRange::Positive:
        return "must be positive";
    case ParameterRange::NotNegative:
        return "must not be negative";
    case ParameterRange::Any:
        return "must be finite";
    case ParameterRange::Probability:
        return "must lie in (0, 1]";
    case ParameterRange::Fraction:
        return "must lie in [0, 1]";
    case ParameterRange::Count:
        return "must be a whole number, 0 or above";
    case ParameterRange::PositiveCount:
        return "must be a whole number, 1 or above";
    }
    return "";
}

std::string parameterMethod(const SampledKind& k, int slot, int group) {
    const std::string method = k.parameters[static_cast<std::size_t>(slot)].method;
    return k.repeated ? method + std::to_string(group + 1) : method;
}
