#include "read/DipReader.h"

#include "read/RecordReader.h"

namespace gensolver {

std::vector<std::vector<double>> readDip(const std::string& path,
                                         const std::vector<Variable>& variables,
                                         const std::vector<std::uint32_t>& enablings,
                                         std::uint32_t states) {
    RecordReader in(path, variables, static_cast<std::uint32_t>(enablings.size()), ".dac");
    std::vector<std::vector<double>> impulse(variables.size(), std::vector<double>(states, 0.0));
    std::vector<bool> earns(variables.size(), false);
    for (std::size_t r = 0; r < enablings.size(); ++r) {
        const std::uint32_t state = enablings[r];
        in.beginRecord(static_cast<std::uint32_t>(r + 1), state);
        for (std::size_t p = 0; p < variables.size(); ++p) {
            impulse[p][state - 1] = in.value("firing impulse", state);
            earns[p] = earns[p] || impulse[p][state - 1] != 0.0;
        }
    }
    in.end();
    for (std::size_t p = 0; p < variables.size(); ++p)
        if (!earns[p])
            std::vector<double>().swap(impulse[p]);
    return impulse;
}

} // namespace gensolver
