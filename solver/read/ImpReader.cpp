#include "read/ImpReader.h"

#include "read/RecordReader.h"

#include <algorithm>

namespace gensolver {

void readImp(const std::string& path, const std::vector<Variable>& variables, std::uint32_t states,
             std::vector<Rewards>& rewards) {
    RecordReader in(path, variables, states);
    // The vectors grow with the records read, so a count that the file does not
    // back up fails on the missing records, not on a huge allocation.
    const std::size_t expected = std::min<std::size_t>(states, std::size_t{1} << 16);
    std::vector<bool> earns(rewards.size(), false);
    for (Rewards& r : rewards) {
        std::vector<double>().swap(r.impulse);
        r.hasImpulses = false; // the .arm reader has nothing to derive
        r.impulseRate.clear();
        r.impulseRate.reserve(expected);
    }
    for (std::uint32_t s = 1; s <= states; ++s) {
        in.beginRecord(s);
        for (std::size_t p = 0; p < rewards.size(); ++p) {
            rewards[p].impulseRate.push_back(in.value("impulse rate", s));
            earns[p] = earns[p] || rewards[p].impulseRate.back() != 0.0;
        }
    }
    in.end();
    for (std::size_t p = 0; p < rewards.size(); ++p)
        if (!earns[p])
            std::vector<double>().swap(rewards[p].impulseRate);
}

} // namespace gensolver
