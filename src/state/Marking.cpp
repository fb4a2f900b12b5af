#include "state/Marking.h"

#include <cmath>
#include <cstdlib>
#include <iostream>
#include <sstream>

namespace gen_marking {

namespace {

// One write of the whole line: the simulator's worker processes may report at once.
[[noreturn]] void refuse(const std::ostringstream& text) {
    std::cerr << text.str() + " outside the " + std::to_string(SHRT_MIN) + " .. " +
                     std::to_string(SHRT_MAX) + " a marking holds\n"
              << std::flush;
    std::exit(1);
}

} // namespace

void outOfRange(const char* activity, const char* place, int index, double value) {
    std::ostringstream text;
    text << "activity " << (activity != nullptr ? activity : "?")
         << ": the firing sets the marking of place " << place;
    if (index >= 0)
        text << "[" << index << "]";
    text.precision(17);
    text << " to " << value << ",";
    refuse(text);
}

short initialMarking(const char* place, double value) {
    if (!(std::trunc(value) >= SHRT_MIN && std::trunc(value) <= SHRT_MAX)) {
        std::ostringstream text;
        text << "place " << place << ": the initial marking " << value << " is";
        refuse(text);
    }
    return static_cast<short>(value);
}

} // namespace gen_marking
