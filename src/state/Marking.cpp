#include "state/Marking.h"

#include <cmath>
#include <cstdlib>
#include <iostream>

namespace gen_marking {

void outOfRange(const char* activity, const char* place, int index, long long value) {
    std::cerr << "activity " << (activity != nullptr ? activity : "?")
              << ": the firing sets the marking of place " << place;
    if (index >= 0)
        std::cerr << "[" << index << "]";
    std::cerr << " to " << value << ", outside the " << SHRT_MIN << " .. " << SHRT_MAX
              << " a marking holds" << std::endl;
    std::exit(1);
}

short initialMarking(const char* place, double value) {
    if (!(std::trunc(value) >= SHRT_MIN && std::trunc(value) <= SHRT_MAX)) {
        std::cerr << "place " << place << ": the initial marking " << value << " is outside the "
                  << SHRT_MIN << " .. " << SHRT_MAX << " a marking holds" << std::endl;
        std::exit(1);
    }
    return static_cast<short>(value);
}

} // namespace gen_marking
