#include "SampledKinds.h"

namespace {

// The parameters in the order of the framework's Distributions methods: the
// triangular sampler takes low, high, then the mode.
const SampledKind kinds[] = {
    {"uniform",
     "Uniform",
     2,
     {{"low", "LowParameter", ParameterRange::NotNegative},
      {"high", "HighParameter", ParameterRange::Positive}}},
    {"weibull",
     "Weibull",
     2,
     {{"shape", "ShapeParameter", ParameterRange::Positive},
      {"scale", "ScaleParameter", ParameterRange::Positive}}},
    {"lognormal",
     "Lognormal",
     2,
     {{"logmean", "LogMeanParameter", ParameterRange::Any},
      {"logvariance", "LogVarianceParameter", ParameterRange::Positive}}},
    {"gamma",
     "Gamma",
     2,
     {{"shape", "ShapeParameter", ParameterRange::Positive},
      {"scale", "ScaleParameter", ParameterRange::Positive}}},
    {"beta",
     "Beta",
     2,
     {{"shape1", "Shape1Parameter", ParameterRange::Positive},
      {"shape2", "Shape2Parameter", ParameterRange::Positive}}},
    {"normal",
     "Normal",
     2,
     {{"mean", "MeanParameter", ParameterRange::Any},
      {"variance", "VarianceParameter", ParameterRange::Positive}}},
    {"triangular",
     "Triangular",
     3,
     {{"low", "LowParameter", ParameterRange::NotNegative},
      {"high", "HighParameter", ParameterRange::Positive},
      {"mode", "ModeParameter", ParameterRange::NotNegative}}},
    {"pareto",
     "Pareto",
     2,
     {{"minimum", "MinimumParameter", ParameterRange::Positive},
      {"shape", "ShapeParameter", ParameterRange::Positive}}},
};

} // namespace

int sampledKindOf(const std::string& word) {
    for (int k = 0; k < sampledKindCount(); ++k)
        if (word == kinds[k].word)
            return k;
    return -1;
}

const SampledKind& sampledKind(int k) {
    return kinds[k];
}

int sampledKindCount() {
    return static_cast<int>(sizeof kinds / sizeof kinds[0]);
}
