#include "actions/GeneratedActivity.h"

#include <cmath>
#include <sstream>
#include <stdexcept>
#include <string>

GeneratedActivity::GeneratedActivity() = default;

GeneratedActivity::~GeneratedActivity() = default;

double GeneratedActivity::Weight() {
    return 1.0;
}

int GeneratedActivity::Rank() {
    return 1;
}

ExponentialActivity::ExponentialActivity() = default;

ExponentialActivity::~ExponentialActivity() = default;

double ExponentialActivity::SampleDistribution() {
    return TheDistribution->Exponential(Rate());
}

double* ExponentialActivity::ReturnDistributionParameters() {
    DistributionParameters[0] = Rate();
    return DistributionParameters;
}

ErlangActivity::ErlangActivity() = default;

ErlangActivity::~ErlangActivity() = default;

double ErlangActivity::SampleDistribution() {
    return TheDistribution->Erlang(ErlangParamM(), ErlangParamM() / Rate());
}

double* ErlangActivity::ReturnDistributionParameters() {
    DistributionParameters[0] = ErlangParamM();
    DistributionParameters[1] = ErlangParamM() / Rate();
    return DistributionParameters;
}

namespace {

// "activity <name>: the <what> is <value>; it must be <rule>" as a thrown error.
[[noreturn]] void badParameter(const char* activity, const char* what, double value,
                               const char* rule) {
    std::ostringstream text;
    text << "activity " << activity << ": the " << what << " is " << value << "; it must be "
         << rule;
    throw std::domain_error(text.str());
}

} // namespace

SampledActivity::SampledActivity() = default;

SampledActivity::~SampledActivity() = default;

double* SampledActivity::ReturnDistributionParameters() {
    Parameters(DistributionParameters);
    return DistributionParameters;
}

double SampledActivity::SampleDistribution() {
    double* p = ReturnDistributionParameters();
    // Written so that a parameter that is not a number fails its test too.
    auto positive = [&](int k, const char* what) {
        if (!(p[k] > 0.0) || std::isinf(p[k]))
            badParameter(Name, what, p[k], "positive and finite");
    };
    auto finite = [&](int k, const char* what) {
        if (!std::isfinite(p[k]))
            badParameter(Name, what, p[k], "finite");
    };
    switch (DistributionType) {
    case Uniform:
        finite(0, "uniform low");
        finite(1, "uniform high");
        if (!(p[0] >= 0.0))
            badParameter(Name, "uniform low", p[0], "not negative");
        if (!(p[0] < p[1]))
            badParameter(Name, "uniform high", p[1], "above the low end");
        return TheDistribution->Uniform(p[0], p[1]);
    case Weibull:
        positive(0, "weibull shape");
        positive(1, "weibull scale");
        return TheDistribution->Weibull(p[0], p[1]);
    case Lognormal:
        finite(0, "lognormal logmean");
        positive(1, "lognormal logvariance");
        return TheDistribution->Lognormal(p[0], p[1]);
    case Gamma:
        positive(0, "gamma shape");
        positive(1, "gamma scale");
        return TheDistribution->Gamma(p[0], p[1]);
    case Beta:
        positive(0, "beta shape1");
        positive(1, "beta shape2");
        return TheDistribution->Beta(p[0], p[1]);
    case Normal:
        finite(0, "normal mean");
        positive(1, "normal variance");
        return TheDistribution->Normal(p[0], p[1]);
    case Triangular:
        finite(0, "triangular low");
        finite(1, "triangular high");
        if (!(p[0] >= 0.0))
            badParameter(Name, "triangular low", p[0], "not negative");
        if (!(p[0] < p[1]))
            badParameter(Name, "triangular high", p[1], "above the low end");
        if (!(p[0] <= p[2] && p[2] <= p[1]))
            badParameter(Name, "triangular mode", p[2], "between low and high");
        return TheDistribution->Triangular(p[0], p[1], p[2]);
    case Pareto:
        positive(0, "pareto minimum");
        positive(1, "pareto shape");
        return TheDistribution->Pareto(p[0], p[1]);
    default:
        break;
    }
    throw std::domain_error("activity " + std::string(Name) +
                            ": no sampler for its distribution type " +
                            std::to_string(static_cast<int>(DistributionType)));
}
