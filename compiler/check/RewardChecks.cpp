#include "check/ModelChecker.h"

#include <cmath>
#include <set>

namespace {

constexpr int maxTimePoints = 10000;

} // namespace

void ModelChecker::checkRewards() {
    std::map<std::string, SourceLocation> seen;
    for (const RewardDecl& r : file.rewards) {
        auto [it, fresh] = seen.emplace(r.name.text, r.name.at);
        if (!fresh) {
            diag.error(r.name.at, "duplicate reward variable '" + r.name.text +
                                      "' (first declared at " + where(it->second) + ")");
            continue;
        }
        CheckedReward c;
        c.name = r.name.text;
        c.untilAbsorption = r.kind == RewardKind::UntilAbsorption;
        c.kind = c.untilAbsorption ? RewardKind::Interval : r.kind;
        if (!checkRewardTimes(r, c))
            continue;
        if (r.hasRate) {
            c.hasRate = true;
            c.rate = resolve(r.rate);
        }
        checkImpulses(r, c);
        if (!r.hasRate && r.impulses.empty())
            diag.error(r.name.at, "reward '" + c.name + "' has neither a rate nor an impulse");
        m.rewards.push_back(c);
    }
}

// The time points or intervals of a reward; false when a range of time points
// cannot be read at all (its end was reported by the parser).
bool ModelChecker::checkRewardTimes(const RewardDecl& r, CheckedReward& c) {
    const bool instant = r.kind == RewardKind::Instant;
    // A reward until absorption has no time either; it is written as the interval [0, 0].
    const bool steady = r.kind == RewardKind::Steady || r.kind == RewardKind::UntilAbsorption;
    const bool interval = r.kind == RewardKind::Interval || r.kind == RewardKind::Average;
    if (r.hasAt && !instant)
        diag.error(r.atAt, "'at' gives the time points of an instant reward; " +
                               std::string(!steady ? "an interval reward uses 'over'"
                                           : r.kind == RewardKind::Steady
                                               ? "a steady-state reward has none"
                                               : "a reward until absorption has none"));
    if (r.hasOver && !interval)
        diag.error(r.overAt,
                   std::string("'over' gives the intervals of an interval or average "
                               "reward; ") +
                       (!steady                        ? "an instant reward uses 'at'"
                        : r.kind == RewardKind::Steady ? "a steady-state reward has none"
                                                       : "a reward until absorption has none"));
    if (instant && !r.hasAt)
        diag.error(r.name.at, "instant reward '" + c.name + "' has no time point (at <time>)");
    if (interval && !r.hasOver)
        diag.error(r.name.at,
                   "interval reward '" + c.name + "' has no interval (over <start> .. <stop>)");
    if (steady) {
        c.starts = {0.0};
        c.stops = {0.0};
    } else if (instant && r.hasAt) {
        return instantTimes(r, c);
    } else if (r.hasOver) {
        for (std::size_t k = 0; k + 1 < r.over.size(); k += 2) {
            double a = 0, b = 0;
            if (!literals.number(r.over[k], a) || !literals.number(r.over[k + 1], b))
                continue;
            if (b < a)
                diag.error(r.over[k].at, "the interval " + r.over[k].text + " .. " +
                                             r.over[k + 1].text + " ends before it starts");
            c.starts.push_back(a);
            c.stops.push_back(b);
        }
        if (c.starts.size() > static_cast<std::size_t>(maxTimePoints))
            diag.error(r.overAt, "too many intervals");
    }
    return true;
}

bool ModelChecker::instantTimes(const RewardDecl& r, CheckedReward& c) {
    std::vector<double> t;
    bool ok = true;
    for (const Literal& l : r.at) {
        double v = 0;
        ok = literals.number(l, v) && ok;
        t.push_back(v);
    }
    if (!r.atRange) {
        if (!ok)
            return true;
        if (t.size() > static_cast<std::size_t>(maxTimePoints))
            diag.error(r.at[0].at, "too many time points");
        c.starts = t;
        c.stops = t;
        return true;
    }
    if (!ok || t.size() < 2)
        return false;
    const double step = t.size() > 2 ? t[2] : 1.0;
    const double n = step == 0 ? -1 : std::round((t[1] - t[0]) / step);
    if (step == 0 || !(n >= 0) || n + 1 > maxTimePoints) {
        diag.error(r.at[0].at, step == 0 ? "the step of a range must not be 0"
                                         : "the range of time points is empty or too long");
        return true;
    }
    double x = t[0];
    for (int k = 0; k <= static_cast<int>(n); ++k, x += step) {
        c.starts.push_back(x);
        c.stops.push_back(x);
    }
    return true;
}

void ModelChecker::checkImpulses(const RewardDecl& r, CheckedReward& c) {
    std::set<std::string> impulseOn;
    for (const ImpulseDecl& imp : r.impulses) {
        const Entry* e = lookup(imp.activity.text);
        if (e == nullptr || e->kind != Kind::Activity) {
            diag.error(imp.activity.at, e == nullptr
                                            ? "unknown activity '" + imp.activity.text + "'"
                                            : "'" + imp.activity.text + "' is " +
                                                  kindName(e->kind) + ", not an activity");
            continue;
        }
        if (!impulseOn.insert(imp.activity.text).second) {
            diag.error(imp.activity.at, "a second impulse on '" + imp.activity.text +
                                            "' in reward '" + c.name + "'");
            continue;
        }
        c.impulses.push_back({e->index, resolve(imp.value)});
    }
}
