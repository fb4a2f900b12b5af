#include "actions/GeneratedActivity.h"

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
