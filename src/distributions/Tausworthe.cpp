#include "distributions/Tausworthe.h"

namespace {

// The state after a step has at most 31 bits, so scaling by exactly 2^-31 keeps
// every result in [0, 1) (the largest is 1 - 2^-31) and is exact. The decimal
// 4.656612875245797e-10 is 1/(2^31 - 1) instead; it would map the state
// 0x7fffffff to 1.0 and so leave the unit interval, hence 2^-31.
constexpr double stateScale = 0x1p-31;

} // namespace

double Tausworthe::rnd() {
    std::uint32_t x = seed;
    x = (x << 13) ^ x; // uint32_t drops the bits above bit 31
    x &= 0x7fffffffU;
    x = (x >> 18) ^ x;
    seed = x;
    return x * stateScale;
}

void Tausworthe::srnd(unsigned long s) {
    seed = static_cast<std::uint32_t>(s);
}
