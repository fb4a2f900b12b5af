#include "read/RegenerativeReader.h"

#include "read/ArmReader.h"
#include "read/DetReader.h"
#include "read/DipReader.h"
#include "read/ImpReader.h"
#include "read/InputError.h"
#include "read/LineReader.h"
#include "read/PvTypeReader.h"
#include "read/VarReader.h"

#include <cmath>
#include <cstdio>
#include <map>
#include <sys/stat.h>
#include <utility>

namespace gensolver {

namespace {

// How far the branch probabilities of a deterministic firing may miss 1 per
// branch: .arm writes them with eleven significant digits.
constexpr double kBranchSumTolerance = 1e-9;
// The smallest exponential rate recovered from a value it shares with a
// deterministic firing (value + 1): .arm gives that sum to about 5e-11, so the
// rate keeps at least seven significant digits.
constexpr double kSmallestSharedRate = 1e-3;

std::string delayText(double delay) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", delay);
    return text;
}

// Each state's delay group from the .det groups; a state listed twice is refused.
std::vector<std::int32_t> groupsOfStates(const std::string& path,
                                         const std::vector<DelayGroup>& groups,
                                         std::uint32_t states) {
    std::vector<std::int32_t> group(states, RegenerativeModel::kNoDelay);
    for (std::size_t g = 0; g < groups.size(); ++g)
        for (const std::uint32_t s : groups[g].states) {
            std::int32_t& at = group[s - 1];
            if (at != RegenerativeModel::kNoDelay)
                throw InputError(path, "state " + std::to_string(s) + " is listed under delay " +
                                           delayText(groups[static_cast<std::size_t>(at)].delay) +
                                           " and again under delay " + delayText(groups[g].delay) +
                                           ": more than one deterministic activity is enabled "
                                           "in it, which this solver does not handle");
            at = static_cast<std::int32_t>(g);
        }
    return group;
}

// With the .dac file, each delay group is split by activity, so that a clock is
// kept only across firings between states of the same activity. Every listed
// state must have its activity, and only those. Returns the .dac file's states
// in its order.
std::vector<std::uint32_t> splitByActivity(const std::string& path, RegenerativeModel& m) {
    std::vector<std::uint32_t> order;
    const std::vector<std::string> activity = readDac(path, m.states(), &order);
    std::map<std::pair<std::int32_t, std::string>, std::int32_t> split;
    std::vector<double> delays;
    for (std::uint32_t i = 0; i < m.states(); ++i) {
        const bool listed = m.group[i] != RegenerativeModel::kNoDelay;
        if (listed != !activity[i].empty())
            throw InputError(path,
                             "state " + std::to_string(i + 1) +
                                 (listed ? " is listed in .det but has no activity here"
                                         : " has an activity here but is not listed in .det"));
        if (!listed)
            continue;
        const auto [at, added] = split.emplace(std::pair{m.group[i], activity[i]},
                                               static_cast<std::int32_t>(delays.size()));
        if (added)
            delays.push_back(m.delays[static_cast<std::size_t>(m.group[i])]);
        m.group[i] = at->second;
    }
    m.delays = delays;
    return order;
}

// Without the .dip file: per variable, per listed state, the branches'
// probabilities times the first-entry impulses of their targets.
void firstEntryFiringImpulses(RegenerativeModel& m) {
    const SparseRows& d = m.deterministic;
    m.firingImpulse.assign(m.rewards.size(), {});
    for (std::size_t p = 0; p < m.rewards.size(); ++p) {
        if (m.entryImpulse[p].empty())
            continue;
        std::vector<double>& f = m.firingImpulse[p];
        f.assign(m.states(), 0.0);
        for (std::uint32_t i = 0; i < m.states(); ++i)
            for (std::uint64_t a = d.start[i]; a < d.start[i + 1]; ++a)
                f[i] += d.value[a] * m.entryImpulse[p][d.target[a]];
    }
}

// One .arm entry of the row being read.
struct Entry {
    std::uint32_t target;
    double value;
};

// The deterministic branches of listed state i (numbered from 1) from its row:
// the negative entries when they add up to 1. When they add up to less, an
// exponential rate and the deterministic firing share a value; with a single
// target the firing goes there with probability 1 and the rate is the value
// plus 1 (the other reading, a second target whose rate equals its branch
// probability so that their shared value 0 was left out, is not considered).
// Anything else cannot be told apart and is refused.
void splitListedRow(LineReader& in, std::uint64_t i, std::vector<Entry>& row) {
    double branchSum = 0.0;
    std::uint64_t branches = 0;
    for (const Entry& e : row)
        if (e.value < 0.0) {
            branchSum -= e.value;
            ++branches;
        }
    const double tolerance = kBranchSumTolerance * static_cast<double>(branches + 1);
    if (std::fabs(branchSum - 1.0) <= tolerance) {
        for (Entry& e : row)
            if (e.value < 0.0)
                e.value /= branchSum;
        return;
    }
    if (row.size() == 1 && row[0].value < 0.0 && row[0].value + 1.0 >= kSmallestSharedRate) {
        const Entry shared = row[0];
        row = {{shared.target, -1.0}, {shared.target, shared.value + 1.0}};
        return;
    }
    in.fail("the deterministic branches of state " + std::to_string(i) + " add up to " +
            std::to_string(branchSum) +
            ", not 1: an exponential rate and a deterministic firing into the same state "
            "share one .arm value, which cannot be told apart here");
}

// Reads the rows of .arm, splitting each into exponential rates (positive) and
// deterministic branches (negative), and checks them against the delay groups.
void readRows(const std::string& path, RegenerativeModel& m,
              std::vector<std::vector<double>*>& derivedImpulses) {
    const std::uint32_t states = m.states();
    LineReader in(path);
    std::string_view line;
    in.next(line); // type and count were checked when the count was read
    in.next(line);
    in.skip();
    m.exponential.start.assign(1, 0);
    m.deterministic.start.assign(1, 0);
    m.exitRate.assign(states, 0.0);
    std::vector<Entry> row;
    for (std::uint64_t i = 1; i <= states; ++i) {
        const std::uint32_t from = static_cast<std::uint32_t>(i - 1);
        std::uint64_t number = 0;
        if (!in.next(line) || !parseUnsigned(line, number) || number != i)
            in.fail("expected the row of state " + std::to_string(i));
        row.clear();
        for (;;) {
            std::uint64_t to = 0;
            if (!in.next(line) || !parseUnsigned(line, to) || to > states)
                in.fail("expected the row end 0 or a target state from 1 to " +
                        std::to_string(states) + " in the row of state " + std::to_string(i));
            if (to == 0)
                break;
            double value = 0.0;
            if (!in.next(line) || !parseDouble(line, value) || !std::isfinite(value))
                in.fail("the value from state " + std::to_string(i) + " to " + std::to_string(to) +
                        " is not a finite number");
            if (value < 0.0 && m.group[from] == RegenerativeModel::kNoDelay)
                in.fail("state " + std::to_string(i) + " has a deterministic branch to state " +
                        std::to_string(to) + " but the .det file does not list it");
            row.push_back({static_cast<std::uint32_t>(to - 1), value});
        }
        if (m.group[from] != RegenerativeModel::kNoDelay)
            splitListedRow(in, i, row);
        for (const Entry& e : row) {
            if (e.value < 0.0) {
                m.deterministic.target.push_back(e.target);
                m.deterministic.value.push_back(-e.value);
                continue;
            }
            for (std::size_t p = 0; p < derivedImpulses.size(); ++p)
                if (derivedImpulses[p] != nullptr)
                    (*derivedImpulses[p])[from] += e.value * m.entryImpulse[p][e.target];
            if (e.target == from)
                continue; // moves nothing; its impulses are counted
            m.exponential.target.push_back(e.target);
            m.exponential.value.push_back(e.value);
            m.exitRate[from] += e.value;
        }
        if (!std::isfinite(m.exitRate[from]))
            in.fail("the rates out of state " + std::to_string(i) +
                    " add up beyond the range of a double");
        m.exponential.start.push_back(m.exponential.target.size());
        m.deterministic.start.push_back(m.deterministic.target.size());
    }
    while (in.next(line))
        if (!trim(line).empty())
            in.fail("text after the row of the last state " + std::to_string(states) + ": " +
                    quote(line));
}

} // namespace

bool hasDeterministicDelays(const std::string& stem) {
    struct stat info {};
    if (::stat((stem + ".det").c_str(), &info) != 0)
        return false;
    // Only a file that is the one line "0" (blank lines aside) says there are
    // none; anything else goes to readDet, which names its fault.
    LineReader in(stem + ".det", 1 << 12);
    std::string_view line;
    std::uint64_t count = 0;
    if (!in.next(line) || !parseUnsigned(line, count) || count != 0)
        return true;
    while (in.next(line))
        if (!trim(line).empty())
            return true;
    return false;
}

RegenerativeModel readRegenerativeModel(const std::string& stem) {
    RegenerativeModel m;
    m.stem = stem;
    m.variables = readPvType(stem + ".pvtype");
    const std::uint32_t states = readArmStateCount(stem + ".arm");
    m.rewards = readVar(stem + ".var", m.variables, states);
    m.entryImpulse.resize(m.rewards.size());
    for (std::size_t p = 0; p < m.rewards.size(); ++p)
        if (m.rewards[p].hasImpulses)
            m.entryImpulse[p] = m.rewards[p].impulse;
    struct stat info {};
    std::vector<std::vector<double>*> derived(m.rewards.size(), nullptr);
    if (::stat((stem + ".imp").c_str(), &info) == 0) {
        readImp(stem + ".imp", m.variables, states, m.rewards);
        m.exactImpulses = true;
    } else {
        // Without .imp, exponential firings earn the first-entry impulses of .var.
        for (std::size_t p = 0; p < m.rewards.size(); ++p)
            if (m.rewards[p].hasImpulses) {
                m.rewards[p].impulseRate.assign(states, 0.0);
                derived[p] = &m.rewards[p].impulseRate;
            }
    }
    for (Rewards& r : m.rewards)
        std::vector<double>().swap(r.impulse);
    const std::string detPath = stem + ".det";
    const std::vector<DelayGroup> groups = readDet(detPath, states);
    if (groups.empty()) // hasDeterministicDelays sends such a run to the Markov chain's reader
        throw InputError(detPath, "lists no deterministic delay: the run's chain is a Markov "
                                  "chain, which the Markov chain's solver solves");
    for (const DelayGroup& g : groups)
        m.delays.push_back(g.delay);
    m.group = groupsOfStates(detPath, groups, states);
    readRows(stem + ".arm", m, derived);
    std::vector<std::uint32_t> enablings;
    const bool hasDac = ::stat((stem + ".dac").c_str(), &info) == 0;
    if (hasDac)
        enablings = splitByActivity(stem + ".dac", m);
    const std::string dipPath = stem + ".dip";
    if (::stat(dipPath.c_str(), &info) == 0) {
        if (!hasDac)
            throw InputError(dipPath, "there is no " + stem +
                                          ".dac file beside it to say whose firings it lists");
        m.firingImpulse = readDip(dipPath, m.variables, enablings, states);
        m.exactFiringImpulses = true;
    } else {
        firstEntryFiringImpulses(m);
    }
    if (::stat((stem + ".abs").c_str(), &info) == 0)
        m.untilAbsorption = readAbsorptionList(stem + ".abs", m.variables);
    return m;
}

} // namespace gensolver
