#pragma once
// The bases of the activity classes that gen-compile writes: what every such
// activity would otherwise repeat, so that a generated class states only what its
// model says. Hand-written activities derive from Activity and keep its defaults.

#include "actions/Activity.h"
#include "distributions/UserDistributions.h"

#include <cmath>
#include <vector>

// GeneratedActivity: an activity of weight 1 and rank 1 unless the generated
// class says otherwise; the base of every generated activity, instantaneous ones
// directly.
class GeneratedActivity : public Activity {
public:
    GeneratedActivity();
    ~GeneratedActivity() override;
    GeneratedActivity(const GeneratedActivity&) = delete;
    GeneratedActivity& operator=(const GeneratedActivity&) = delete;

    double Weight() override; // 1.0
    int Rank() override;      // 1
};

namespace gen_activity {

// Ends the run (status 1) with one line: activity's `what` is negative,
// infinite or not a number.
[[noreturn]] void refuseValue(const char* activity, const char* what, double value);

// A generated activity's rate, weight or delay (`what`), as the model gives it.
// Dropped as a rate of 0 or less is, a negative rate would leave a chain
// without the transitions the model meant; a negative weight would make the
// others' shares exceed 1; such a delay would be written as one; a simulation
// refuses them all.
inline double checked(const char* activity, const char* what, double value) {
    if (!(value >= 0.0) || value > 1.7976931348623157e308)
        refuseValue(activity, what, value);
    return value;
}

// Ends the run (status 1) with one line: an Erlang activity's number of phases
// is not a whole number up to 32767.
[[noreturn]] void refusePhases(const char* activity, double value);

// A generated Erlang activity's number of phases, as the model gives it: a
// whole number, where one below 1 counts as 1. A fraction would be rounded up
// by the chain's phase counter and down by a simulation; beyond 32767 the
// counter, a marking, would wrap around and the activity never fire.
inline double phases(const char* activity, double value) {
    if (!(value >= -1.7976931348623157e308 && value <= 32767.0) || value != std::floor(value))
        refusePhases(activity, value);
    return value < 1.0 ? 1.0 : value;
}

} // namespace gen_activity

// ExponentialActivity: a generated activity whose delay is exponential at Rate().
class ExponentialActivity : public GeneratedActivity {
public:
    ExponentialActivity();
    ~ExponentialActivity() override;
    ExponentialActivity(const ExponentialActivity&) = delete;
    ExponentialActivity& operator=(const ExponentialActivity&) = delete;

    double SampleDistribution() override;            // a draw at Rate()
    double* ReturnDistributionParameters() override; // {Rate()}

    double DistributionParameters[1] = {0.0}; // owned: the rate of the latest call
};

// ErlangActivity: a generated activity whose delay has ErlangParamM() phases,
// each exponential at Rate().
class ErlangActivity : public GeneratedActivity {
public:
    ErlangActivity();
    ~ErlangActivity() override;
    ErlangActivity(const ErlangActivity&) = delete;
    ErlangActivity& operator=(const ErlangActivity&) = delete;

    double SampleDistribution() override;            // a draw of the phases' sum
    double* ReturnDistributionParameters() override; // {phases, phases / Rate()}

    double DistributionParameters[2] = {0.0, 0.0}; // owned: phases and mean of the latest call
};

// DeterministicActivity: a generated activity whose delay is Self::Delay(). The
// generator asks a deterministic activity for its delay once per firing, so the
// delay is read through Self without a second virtual call.
template <class Self> class DeterministicActivity : public GeneratedActivity {
public:
    DeterministicActivity() = default;
    ~DeterministicActivity() override = default;
    DeterministicActivity(const DeterministicActivity&) = delete;
    DeterministicActivity& operator=(const DeterministicActivity&) = delete;

    // A "draw" of the delay: the delay itself.
    double SampleDistribution() override {
        return TheDistribution->Deterministic(static_cast<Self*>(this)->Delay());
    }
    // {delay}
    double* ReturnDistributionParameters() override {
        DistributionParameters[0] = static_cast<Self*>(this)->Delay();
        return DistributionParameters;
    }

    double DistributionParameters[1] = {0.0}; // owned: the delay of the latest call
};

// SampledActivity: a generated timed activity whose delay follows the framework's
// distribution DistributionType (uniform, weibull, lognormal, gamma, beta, normal,
// triangular, pareto, geometric, conditional weibull, binomial, negative binomial,
// hyper- or hypoexponential) with the parameters the generated class gives. A draw
// with a parameter out of its range throws std::domain_error naming the activity.
class SampledActivity : public GeneratedActivity {
public:
    SampledActivity();
    ~SampledActivity() override;
    SampledActivity(const SampledActivity&) = delete;
    SampledActivity& operator=(const SampledActivity&) = delete;

    double SampleDistribution() override;            // a draw with the current parameters
    double* ReturnDistributionParameters() override; // the parameters, in the sampler's order
    // The number of parameters, fixed per activity.
    virtual int ParameterCount() = 0;
    // Writes the parameters in the order the framework's sampler takes them.
    virtual void Parameters(double* values) = 0;

    std::vector<double> DistributionParameters; // owned: those of the latest call
};
