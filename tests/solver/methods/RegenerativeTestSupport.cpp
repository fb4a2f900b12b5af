#include "RegenerativeTestSupport.h"

#include <string>

namespace regentest {

using namespace gensolver;

namespace {

SparseRows rowsOf(const Process& p, bool deterministic) {
    SparseRows rows;
    rows.start.assign(1, 0);
    for (std::uint32_t i = 0; i < p.states; ++i) {
        for (const Process::Arc& a : p.arcs)
            if (a.from == i && a.deterministic == deterministic) {
                rows.target.push_back(a.to);
                rows.value.push_back(a.value);
            }
        rows.start.push_back(rows.target.size());
    }
    return rows;
}

} // namespace

RegenerativeModel modelOf(const Process& p, const std::vector<std::vector<double>>& rewards,
                          RewardType type, std::vector<TimePoint> times) {
    RegenerativeModel m;
    m.stem = "test";
    m.delays = p.delays;
    m.group = p.group;
    m.exponential = rowsOf(p, false);
    m.deterministic = rowsOf(p, true);
    m.exitRate.assign(p.states, 0.0);
    for (const Process::Arc& a : p.arcs)
        if (!a.deterministic)
            m.exitRate[a.from] += a.value;
    for (std::size_t v = 0; v < rewards.size(); ++v) {
        Variable variable;
        variable.name = std::string(1, static_cast<char>('a' + v));
        variable.type = type;
        variable.times = times;
        m.variables.push_back(variable);
        Rewards r;
        r.rate = rewards[v];
        m.rewards.push_back(r);
        m.entryImpulse.emplace_back();
    }
    return m;
}

} // namespace regentest
