#include "Trajectory.h"

#include "actions/BaseGroupClass.h"
#include "distributions/RandomNumberGenerator.h"
#include "distributions/UserDistributions.h"
#include "pv/PerformanceVariableNode.h"

#include "state/BaseStateVariableClass.h"

#include <algorithm>
#include <stdexcept>
#include <unordered_map>

Trajectory::Trajectory(PVModel* model, const ActionTable& actions)
    : Model(model), Actions(actions), Uniform(nullptr),
      Initial(static_cast<std::size_t>(model->StateSize())), StateNow(Initial.size()),
      Pending(actions.numTimed()), Marked(actions.numTimed(), 0), ExcessOf(actions.numTimed(), 0.0),
      Factor(actions.numTimed(), 1.0), DrawnRate(actions.numTimed(), 0.0),
      Failure(actions.numTimed(), 0), RateNow(actions.numTimed(), 0.0),
      WatchSlot(actions.numTimed(), -1), LastRate(actions.numTimed(), 0.0),
      IsExponential(actions.numTimed(), 0), InGroup(actions.numTimed(), 0),
      Choice(actions.numInstant() + 1, 0), Rates(static_cast<std::size_t>(model->NumPVs), 0.0),
      Bias(actions.numTimed(), 1.0), Enablings(actions.numTimed(), 0),
      Completions(actions.numTimed(), 0) {
    MarkedList.reserve(actions.numTimed());
    Watched.reserve(actions.numTimed());
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
    buildDependencies();
}

void Trajectory::buildDependencies() {
    std::uint32_t numTimed = Actions.numTimed();
    std::uint32_t numActions = numTimed + Actions.numInstant();
    std::unordered_map<const BaseActionClass*, std::uint32_t> indexOf;
    for (std::uint32_t i = 0; i < numActions; ++i)
        indexOf[i < numTimed ? Actions.timed()[i] : Actions.instant()[i - numTimed]] = i;
    for (std::uint32_t i = 0; i < numTimed; ++i) {
        BaseActionClass* action = Actions.timed()[i];
        if (action->EnablingSVs.getNumItems() == 0 || InGroup[i] ||
            (!IsExponential[i] && action->Reactivation))
            Always.push_back(i);
    }
    DependStart.push_back(0);
    CanEnableInstant.assign(numActions, 0);
    std::vector<char> seen(numTimed, 0);
    for (std::uint32_t a = 0; a < numActions; ++a) {
        BaseActionClass* action =
            a < numTimed ? Actions.timed()[a] : Actions.instant()[a - numTimed];
        std::size_t first = Depends.size();
        if (a < numTimed) {
            Depends.push_back(a);
            seen[a] = 1;
        }
        for (int v = 0; v < action->AffectedSVs.getNumItems(); ++v) {
            List<BaseActionClass>* readers = action->AffectedSVs.getItem(v)->getEnabledActions();
            for (int r = 0; readers != nullptr && r < readers->getNumItems(); ++r) {
                auto found = indexOf.find(readers->getItem(r));
                if (found == indexOf.end()) {
                    // A reader the table does not list (a group): nothing can be trusted.
                    Untrusted = true;
                    continue;
                }
                std::uint32_t b = found->second;
                if (b >= numTimed) {
                    CanEnableInstant[a] = 1;
                } else if (seen[b] == 0) {
                    seen[b] = 1;
                    Depends.push_back(b);
                }
            }
        }
        // An action that declares no changed place may change any.
        if (action->AffectedSVs.getNumItems() == 0)
            Untrusted = true;
        for (std::size_t k = first; k < Depends.size(); ++k)
            seen[Depends[k]] = 0;
        std::sort(Depends.begin() + static_cast<std::ptrdiff_t>(first), Depends.end());
        DependStart.push_back(static_cast<std::uint32_t>(Depends.size()));
    }
    // On a few activities a look at each costs less than the book-keeping.
    ScanAll = Untrusted || numTimed <= FewActivities;
}

void Trajectory::touch(std::uint32_t index) {
    if (ScanAll)
        return;
    InstantPossible = InstantPossible || CanEnableInstant[index] != 0;
    // One action's list is sorted: the marked list stays sorted when it was empty.
    MarkedSorted = MarkedList.empty();
    for (std::uint32_t k = DependStart[index]; k < DependStart[index + 1]; ++k) {
        std::uint32_t i = Depends[k];
        if (Marked[i] == 0) {
            Marked[i] = 1;
            MarkedList.push_back(i);
        }
    }
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

std::string Trajectory::regenerationProblem() {
    Model->SetState(Initial.data());
    for (std::uint32_t i = 0; i < Actions.numInstant(); ++i)
        if (Actions.instant()[i]->Enabled())
            return "instantaneous activity " + std::string(Actions.instant()[i]->Name) +
                   " is enabled in the initial state, which therefore cannot start the "
                   "regeneration cycles of the biased long-run values";
    for (std::uint32_t i = 0; i < Actions.numTimed(); ++i)
        if (!IsExponential[i] && Actions.timed()[i]->Enabled())
            return "activity " + std::string(Actions.timed()[i]->Name) +
                   " is enabled in the initial state and not exponential: a return to that "
                   "state does not forget the past, so the biased long-run values have no "
                   "regeneration cycles";
    return "";
}

std::string Trajectory::setBalanced(const std::vector<std::string>& failures, double share) {
    std::fill(Failure.begin(), Failure.end(), 0);
    BalancedShare = 0.0;
    if (failures.empty())
        return "";
    if (Biased)
        return "--balanced: biasing by factors (--bias) is set too; choose one of the two";
    if (!(share > 0.0 && share < 1.0))
        return "--balanced: the failures' share must lie strictly between 0 and 1";
    for (const std::string& name : failures) {
        std::uint32_t i = 0;
        while (i < Actions.numTimed() && name != Actions.timed()[i]->Name)
            ++i;
        if (i == Actions.numTimed())
            return "--balanced " + name + ": the model has no timed activity of that name";
        if (!IsExponential[i])
            return "--balanced " + name +
                   ": the activity is not exponential; only exponential delays can be biased "
                   "exactly";
        if (Failure[i] != 0)
            return "--balanced " + name + ": the activity is named twice";
        Failure[i] = 1;
    }
    BalancedShare = share;
    Biased = true;
    BiasedList.clear();
    for (std::uint32_t i = 0; i < Actions.numTimed(); ++i)
        if (IsExponential[i])
            BiasedList.push_back(i);
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
    BiasedList.clear();
    for (std::uint32_t i = 0; i < Bias.size(); ++i)
        if (Bias[i] != 1.0)
            BiasedList.push_back(i);
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
    double delay = Actions.timed()[i]->SampleDistribution();
    if (!(delay >= 0.0) || std::isinf(delay))
        throw SimulationError("activity " + std::string(Actions.timed()[i]->Name) +
                              " drew the delay " + std::to_string(delay) +
                              "; a delay must be finite and not negative");
    return delay;
}

void Trajectory::modelFault(std::uint32_t index, const char* what) const {
    std::uint32_t numTimed = Actions.numTimed();
    std::string name =
        index < numTimed ? Actions.timed()[index]->Name : Actions.instant()[index - numTimed]->Name;
    std::string text = what;
    // Generated activities name themselves; other code is named here.
    std::string prefix = "activity " + name;
    if (text.rfind(prefix + ":", 0) != 0 && text.rfind(prefix + " ", 0) != 0)
        text = prefix + ": " + text;
    // One line: a message that runs over several keeps its first.
    throw SimulationError(text.substr(0, text.find('\n')));
}

void Trajectory::rewardFault(int p, const char* what) const {
    std::string text = std::string("reward variable ") + Model->PVList[p]->Name + ": " + what;
    throw SimulationError(text.substr(0, text.find('\n')));
}

std::size_t Trajectory::enabledInstants() {
    std::uint32_t numInstant = Actions.numInstant();
    BaseActionClass* const* instant = Actions.instant();
    std::size_t numEnabled = 0;
    int maxRank = 0;
    std::uint32_t i = 0;
    try {
        for (; i < numInstant; ++i) {
            if (!instant[i]->Enabled())
                continue;
            int rank = instant[i]->Rank();
            if (numEnabled == 0 || rank > maxRank) {
                maxRank = rank;
                numEnabled = 0;
            } else if (rank < maxRank) {
                continue;
            }
            Choice[numEnabled++] = i;
        }
    } catch (const SimulationError&) {
        throw;
    } catch (const std::exception& e) {
        modelFault(Actions.numTimed() + i, e.what());
    }
    return numEnabled;
}

std::uint32_t Trajectory::chooseInstant(std::size_t numEnabled) {
    if (numEnabled == 1)
        return Choice[0];
    BaseActionClass* const* instant = Actions.instant();
    std::size_t i = 0;
    try {
        double total = 0.0;
        for (i = 0; i < numEnabled; ++i)
            total += instant[Choice[i]]->Weight();
        if (!(total > 0.0) || !std::isfinite(total))
            throw SimulationError(
                "instantaneous activity " + std::string(instant[Choice[0]]->Name) +
                " and others of its rank are enabled with total weight " + std::to_string(total));
        double target = total * Uniform->rnd();
        double sum = 0.0;
        for (i = 0; i < numEnabled; ++i) {
            sum += instant[Choice[i]]->Weight();
            if (target < sum)
                return Choice[i];
        }
    } catch (const SimulationError&) {
        throw;
    } catch (const std::exception& e) {
        modelFault(Actions.numTimed() + Choice[i], e.what());
    }
    return Choice[numEnabled - 1];
}

double Trajectory::impulse(int p, BaseActionClass* action) {
    try {
        return Model->PVList[p]->FiringImpulse(action);
    } catch (const std::exception& e) {
        rewardFault(p, e.what());
    }
}

double Trajectory::checkedRate(std::uint32_t i) const {
    double rate = exponentialRate(i);
    if (!(rate >= 0.0) || std::isinf(rate))
        throw SimulationError("activity " + std::string(Actions.timed()[i]->Name) +
                              " has the rate " + std::to_string(rate) +
                              "; a rate must be finite and not negative");
    return rate;
}

void Trajectory::schedule(std::uint32_t i, double rate, double factor) {
    double drawn = rate * factor;
    if (rate == 0.0)
        Pending.set(i, Never);
    else if (Pending.at(i) == Never || drawn != DrawnRate[i]) {
        Enablings[i] += Pending.at(i) == Never;
        Pending.set(i, Now + TheDistribution->Exponential(drawn));
    }
    ExcessOf[i] = rate - drawn;
    Factor[i] = factor;
    DrawnRate[i] = drawn;
    LastRate[i] = rate;
}

void Trajectory::scheduleOther(std::uint32_t i) {
    BaseActionClass* action = Actions.timed()[i];
    if (Pending.at(i) == Never || (action->Reactivation && action->ReactivationFunction())) {
        Enablings[i] += Pending.at(i) == Never;
        Pending.set(i, Now + draw(i));
    }
}

void Trajectory::watch(std::uint32_t i) {
    if (WatchSlot[i] >= 0)
        return;
    WatchSlot[i] = static_cast<std::int64_t>(Watched.size());
    Watched.push_back(i);
}

void Trajectory::unwatch(std::uint32_t i) {
    std::int64_t slot = WatchSlot[i];
    if (slot < 0)
        return;
    std::uint32_t last = Watched.back();
    Watched[static_cast<std::size_t>(slot)] = last;
    WatchSlot[last] = slot;
    Watched.pop_back();
    WatchSlot[i] = -1;
}

void Trajectory::markChangedRates() {
    std::size_t k = 0;
    try {
        for (; k < Watched.size(); ++k) {
            std::uint32_t i = Watched[k];
            if (Marked[i] == 0 && exponentialRate(i) != LastRate[i]) {
                Marked[i] = 1;
                MarkedList.push_back(i);
                MarkedSorted = false;
            }
        }
    } catch (const SimulationError&) {
        throw;
    } catch (const std::exception& e) {
        modelFault(Watched[k], e.what());
    }
}

void Trajectory::revisit(std::uint32_t i, bool biasing) {
    try {
        if (!Actions.timed()[i]->Enabled()) {
            Pending.set(i, Never);
            ExcessOf[i] = 0.0;
            unwatch(i);
            return;
        }
        if (IsExponential[i]) {
            schedule(i, checkedRate(i), biasing ? Bias[i] : 1.0);
            watch(i);
        } else {
            scheduleOther(i);
        }
    } catch (const SimulationError&) {
        throw;
    } catch (const std::exception& e) {
        modelFault(i, e.what());
    }
}

void Trajectory::rescheduleBalanced() {
    std::uint32_t i = 0;
    try {
        std::uint32_t numTimed = Actions.numTimed();
        double failures = 0.0, others = 0.0;
        std::uint32_t numFailures = 0;
        for (i = 0; i < numTimed; ++i) {
            if (!Actions.timed()[i]->Enabled()) {
                RateNow[i] = -1.0;
                continue;
            }
            if (!IsExponential[i]) {
                RateNow[i] = -2.0;
                continue;
            }
            double rate = checkedRate(i);
            RateNow[i] = rate;
            if (rate > 0.0 && Failure[i] != 0) {
                failures += rate;
                ++numFailures;
            } else {
                others += rate;
            }
        }
        double total = failures + others;
        for (i = 0; i < numTimed; ++i) {
            double rate = RateNow[i];
            if (rate == -1.0) {
                Pending.set(i, Never);
                ExcessOf[i] = 0.0;
                continue;
            }
            if (rate == -2.0) {
                scheduleOther(i);
                continue;
            }
            double factor = 1.0;
            if (numFailures > 0 && rate > 0.0) {
                if (Failure[i] != 0)
                    factor = (others > 0.0 ? BalancedShare : 1.0) * total / (numFailures * rate);
                else
                    factor = (1.0 - BalancedShare) * total / others;
            }
            schedule(i, rate, factor);
        }
    } catch (const SimulationError&) {
        throw;
    } catch (const std::exception& e) {
        modelFault(i, e.what());
    }
}

void Trajectory::reschedule(bool all) {
    bool biasing = Biasing && Biased;
    if (biasing && BalancedShare > 0.0) {
        rescheduleBalanced();
        for (std::uint32_t i : MarkedList)
            Marked[i] = 0;
        MarkedList.clear();
    } else if (ScanAll || all) {
        for (std::uint32_t i = 0; i < Actions.numTimed(); ++i)
            revisit(i, biasing);
        for (std::uint32_t i : MarkedList)
            Marked[i] = 0;
        MarkedList.clear();
    } else {
        markChangedRates();
        for (std::uint32_t i : Always)
            if (Marked[i] == 0) {
                Marked[i] = 1;
                MarkedList.push_back(i);
            }
        // Index order: the draws are made in the order a full scan makes them.
        if (!MarkedSorted || !Always.empty())
            std::sort(MarkedList.begin(), MarkedList.end());
        for (std::uint32_t i : MarkedList) {
            Marked[i] = 0;
            revisit(i, biasing);
        }
        MarkedList.clear();
    }
    Excess = 0.0;
    if (biasing)
        for (std::uint32_t i : BiasedList)
            Excess += ExcessOf[i];
}

std::int64_t Trajectory::stale() {
    std::uint32_t i = 0;
    try {
        std::uint32_t numTimed = Actions.numTimed();
        for (i = 0; i < numTimed; ++i) {
            BaseActionClass* action = Actions.timed()[i];
            bool pending = Pending.at(i) != Never;
            if (!action->Enabled()) {
                if (pending)
                    return i;
                continue;
            }
            if (!IsExponential[i]) {
                if (!pending)
                    return i;
                continue;
            }
            double rate = exponentialRate(i);
            if (pending != (rate > 0.0) || (pending && rate != LastRate[i]))
                return i;
        }
        for (i = numTimed; i < numTimed + Actions.numInstant(); ++i)
            if (Actions.instant()[i - numTimed]->Enabled())
                return i;
        return -1;
    } catch (const SimulationError&) {
        throw;
    } catch (const std::exception& e) {
        modelFault(i, e.what());
    }
}

void Trajectory::audit() {
    if (ScanAll)
        return;
    std::int64_t missed = stale();
    if (missed < 0)
        return;
    if (Auditing) {
        ProbeFailed = true;
        ScanAll = true;
        return;
    }
    std::uint32_t numTimed = Actions.numTimed();
    auto name = [&](std::uint32_t a) {
        return std::string(a < numTimed ? Actions.timed()[a]->Name
                                        : Actions.instant()[a - numTimed]->Name);
    };
    throw SimulationError("activity " + name(static_cast<std::uint32_t>(missed)) +
                          " changed its enabling or rate after a firing of " + name(LastFired) +
                          ", which changes none of the places it declares to read: declare "
                          "every place its enabling and rate read");
}

bool Trajectory::probeDependencies(RandomNumberGenerator* generator, double horizon,
                                   std::uint64_t events) {
    struct Blind {
        void span(double, double, Trajectory&) {}
        void impulse(double, int, double) {}
    } blind;
    // Nothing to check where every firing looks at every activity.
    if (ScanAll)
        return !ProbeFailed;
    Auditing = true;
    ProbeFailed = false;
    std::uint64_t before = Events;
    for (int path = 0; path < 1000 && !ProbeFailed && Events - before < events; ++path) {
        start(generator, blind);
        audit();
        runUntil(horizon, events - (Events - before), blind);
    }
    Auditing = false;
    Events = before;
    return !ProbeFailed;
}

void Trajectory::updateRates() {
    for (int p = 0; p < Model->NumPVs; ++p) {
        PerformanceVariableNode* node = Model->PVList[p];
        try {
            node->CurrentReward(&Model->NoActionFiredYet);
        } catch (const std::exception& e) {
            rewardFault(p, e.what());
        }
        Rates[static_cast<std::size_t>(p)] = node->RateReward;
    }
    RatesValid = true;
}

void Trajectory::clearCounts() {
    // An activity pending now counts as enabled from here.
    for (std::uint32_t i = 0; i < Actions.numTimed(); ++i)
        Enablings[i] = Pending.at(i) != Never ? 1 : 0;
    std::fill(Completions.begin(), Completions.end(), 0);
}

std::vector<std::string> Trajectory::neverCompleted() const {
    std::vector<std::string> names;
    for (std::uint32_t i = 0; i < Actions.numTimed(); ++i)
        if (Enablings[i] > 0 && Completions[i] == 0)
            names.push_back(Actions.timed()[i]->Name);
    return names;
}
