#include "Trajectory.h"

#include "actions/BaseGroupClass.h"
#include "distributions/RandomNumberGenerator.h"
#include "distributions/UserDistributions.h"
#include "pv/PerformanceVariableNode.h"

#include <algorithm>
#include <stdexcept>

Trajectory::Trajectory(PVModel* model, const ActionTable& actions)
    : Model(model), Actions(actions), Uniform(nullptr),
      Initial(static_cast<std::size_t>(model->StateSize())), Completion(actions.numTimed(), Never),
      LastRate(actions.numTimed(), 0.0), IsExponential(actions.numTimed(), 0),
      InGroup(actions.numTimed(), 0), Choice(actions.numInstant() + 1, nullptr),
      Rates(static_cast<std::size_t>(model->NumPVs), 0.0), Bias(actions.numTimed(), 1.0) {
    Model->CurrentState(Initial.data());
    for (std::uint32_t i = 0; i < actions.numTimed(); ++i) {
        BaseActionClass* action = actions.timed()[i];
        IsExponential[i] = action->DistributionType == Exponential;
        BaseGroupClass* group = actions.groupOf(action);
        InGroup[i] = group != action && group->NumMembers > 1;
    }
    for (int p = 0; p < model->NumPVs; ++p)
        if (model->PVList[p]->NumImpulses > 0)
            ImpulseNodes.push_back(p);
}

Trajectory::~Trajectory() {
    Model->SetState(Initial.data());
    Model->LastAction = &Model->NoActionFiredYet;
}

std::string Trajectory::problem() const {
    if (Model->NumPVs == 0)
        return "the model has no reward variable to estimate";
    for (std::uint32_t i = 0; i < Actions.numTimed(); ++i) {
        BaseActionClass* action = Actions.timed()[i];
        if (InGroup[i] && !IsExponential[i])
            return "activity " + std::string(action->Name) +
                   " is timed but not exponential and shares a group with other activities; "
                   "the simulator draws such a group's share only for exponential delays";
    }
    return "";
}

std::string Trajectory::setBias(const std::vector<std::pair<std::string, double>>& factors) {
    std::fill(Bias.begin(), Bias.end(), 1.0);
    Biased = false;
    std::vector<char> named(Bias.size(), 0);
    for (const auto& [name, factor] : factors) {
        std::uint32_t i = 0;
        while (i < Actions.numTimed() && name != Actions.timed()[i]->Name)
            ++i;
        if (i == Actions.numTimed())
            return "--bias " + name + ": the model has no timed activity of that name";
        if (!IsExponential[i])
            return "--bias " + name +
                   ": the activity is not exponential; only exponential delays can be biased "
                   "exactly";
        if (!(factor > 0.0) || std::isinf(factor))
            return "--bias " + name + ": the factor must be positive and finite";
        if (named[i] != 0)
            return "--bias " + name + ": the activity is named twice";
        named[i] = 1;
        Bias[i] = factor;
        Biased = Biased || factor != 1.0;
    }
    return "";
}

double Trajectory::exponentialRate(std::uint32_t i) const {
    BaseActionClass* action = Actions.timed()[i];
    double rate = action->Rate();
    if (InGroup[i])
        rate *= Actions.groupOf(action)->Probability(action);
    return rate;
}

double Trajectory::draw(std::uint32_t i) {
    BaseActionClass* action = Actions.timed()[i];
    double delay = 0.0;
    try {
        delay = action->SampleDistribution();
    } catch (const std::domain_error& e) {
        // A generated activity's parameter out of its range.
        throw SimulationError(e.what());
    }
    if (!(delay >= 0.0) || std::isinf(delay))
        throw SimulationError("activity " + std::string(action->Name) + " drew the delay " +
                              std::to_string(delay) + "; a delay must be finite and not negative");
    return delay;
}

void Trajectory::reschedule() {
    std::uint32_t numTimed = Actions.numTimed();
    BaseActionClass* const* timed = Actions.timed();
    bool biasing = Biasing && Biased;
    Excess = 0.0;
    for (std::uint32_t i = 0; i < numTimed; ++i) {
        BaseActionClass* action = timed[i];
        if (!action->Enabled()) {
            Completion[i] = Never;
            continue;
        }
        if (IsExponential[i]) {
            double rate = exponentialRate(i);
            if (!(rate >= 0.0) || std::isinf(rate))
                throw SimulationError("activity " + std::string(action->Name) + " has the rate " +
                                      std::to_string(rate) +
                                      "; a rate must be finite and not negative");
            double factor = biasing ? Bias[i] : 1.0;
            if (rate == 0.0) {
                Completion[i] = Never;
            } else if (Completion[i] == Never || rate != LastRate[i]) {
                Completion[i] = Now + TheDistribution->Exponential(rate * factor);
            }
            Excess += rate - rate * factor;
            LastRate[i] = rate;
            continue;
        }
        if (Completion[i] == Never || (action->Reactivation && action->ReactivationFunction()))
            Completion[i] = Now + draw(i);
    }
}

void Trajectory::updateRates() {
    for (int p = 0; p < Model->NumPVs; ++p) {
        PerformanceVariableNode* node = Model->PVList[p];
        node->CurrentReward(&Model->NoActionFiredYet);
        Rates[static_cast<std::size_t>(p)] = node->RateReward;
    }
}
