#include "actions/GeneratedActivity.h"

#include "base/Errors.h"

#include <cmath>
#include <sstream>
#include <stdexcept>
#include <string>

void gen_activity::refuseValue(const char* activity, const char* what, double value) {
    endRunWith("activity " + std::string(activity != nullptr ? activity : "?") + " has the " +
               what + " " + valueText(value) + "; a " + what + " must be finite and not negative");
}

void gen_activity::refusePhases(const char* activity, double value) {
    endRunWith("activity " + std::string(activity != nullptr ? activity : "?") +
               " has the phases " + valueText(value) +
               "; the phases must be a whole number up to 32767 (one below 1 counts as 1)");
}

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
    DistributionParameters.resize(static_cast<std::size_t>(ParameterCount()));
    Parameters(DistributionParameters.data());
    return DistributionParameters.data();
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
    // In (0, 1] when `zero` is false, in [0, 1] when it is true.
    auto probability = [&](int k, const char* what, bool zero) {
        if (!((zero ? p[k] >= 0.0 : p[k] > 0.0) && p[k] <= 1.0))
            badParameter(Name, what, p[k], zero ? "in [0, 1]" : "in (0, 1]");
    };
    // A whole number of at least `least`.
    auto count = [&](int k, const char* what, double least) {
        if (!(p[k] >= least && std::isfinite(p[k]) && p[k] == std::floor(p[k])))
            badParameter(Name, what, p[k],
                         least > 0.0 ? "a whole number, 1 or above" : "a whole number, 0 or above");
    };
    const int n = static_cast<int>(DistributionParameters.size());
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
    case Geometric:
        probability(0, "geometric probability", false);
        return TheDistribution->Geometric(p[0]);
    case ConditionalWeibull:
        positive(0, "conditionalweibull shape");
        positive(1, "conditionalweibull scale");
        finite(2, "conditionalweibull age");
        if (!(p[2] >= 0.0))
            badParameter(Name, "conditionalweibull age", p[2], "not negative");
        return TheDistribution->ConditionalWeibull(p[0], p[1], p[2]);
    case Binomial:
        count(0, "binomial trials", 0.0);
        probability(1, "binomial probability", true);
        return TheDistribution->Binomial(p[0], p[1]);
    case NegativeBinomial:
        count(0, "negativebinomial successes", 1.0);
        probability(1, "negativebinomial probability", false);
        return TheDistribution->NegativeBinomial(p[0], p[1]);
    case HyperExponential: {
        // Pairs of a phase's rate and its probability; the probabilities must
        // sum to 1, as the sampler would otherwise scale them silently.
        double sum = 0.0;
        for (int k = 0; k < n; k += 2) {
            positive(k, "hyperexponential phaserate");
            probability(k + 1, "hyperexponential probability", true);
            sum += p[k + 1];
        }
        if (!(std::fabs(sum - 1.0) <= 1e-9))
            badParameter(Name, "sum of the hyperexponential probabilities", sum, "1");
        return TheDistribution->HyperExponential(n / 2, p);
    }
    case HypoExponential:
        for (int k = 0; k < n; ++k)
            positive(k, "hypoexponential phaserate");
        return TheDistribution->HypoExponential(n, p);
    default:
        break;
    }
    throw std::domain_error("activity " + std::string(Name) +
                            ": no sampler for its distribution type " +
                            std::to_string(static_cast<int>(DistributionType)));
}
