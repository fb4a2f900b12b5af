#include "methods/PackedRates.h"

namespace gensolver {

PackedRates::PackedRates(const RateMatrix& m) : m_(m) {
    RateTable table;
    std::vector<std::uint16_t> index(m.rate.size());
    for (std::size_t e = 0; e < m.rate.size(); ++e) {
        const int k = table.indexOf(m.rate[e]);
        if (k < 0)
            return;
        index[e] = static_cast<std::uint16_t>(k);
    }
    distinct_ = table.rates();
    indexBits_ = table.indexBits();
    const auto sourceBits = static_cast<unsigned>(std::bit_width(std::max(m.states(), 2u) - 1));
    if (indexBits_ + sourceBits <= 32) {
        word_.resize(index.size());
        for (std::size_t e = 0; e < index.size(); ++e)
            word_[e] = m.source[e] << indexBits_ | index[e];
    } else {
        index_ = std::move(index);
    }
}

} // namespace gensolver
