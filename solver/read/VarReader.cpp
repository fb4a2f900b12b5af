#include "read/VarReader.h"

#include "read/RecordReader.h"

#include <algorithm>

namespace gensolver {

std::vector<Rewards> readVar(const std::string& path, const std::vector<Variable>& variables,
                             std::uint32_t states) {
    RecordReader in(path, variables, states);
    std::vector<Rewards> rewards(variables.size());
    // The vectors grow with the records read, so a count that the file does not
    // back up fails on the missing records, not on a huge allocation.
    const std::size_t expected = std::min<std::size_t>(states, std::size_t{1} << 16);
    for (Rewards& r : rewards) {
        r.rate.reserve(expected);
        r.impulse.reserve(expected);
    }
    for (std::uint32_t s = 1; s <= states; ++s) {
        in.beginRecord(s);
        for (Rewards& r : rewards) {
            r.impulse.push_back(in.value("impulse reward", s));
            r.rate.push_back(in.value("rate reward", s));
            if (r.impulse.back() != 0.0)
                r.hasImpulses = true;
        }
    }
    in.end();
    for (Rewards& r : rewards)
        if (!r.hasImpulses)
            std::vector<double>().swap(r.impulse);
    return rewards;
}

} // namespace gensolver
