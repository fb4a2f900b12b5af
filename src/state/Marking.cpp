#include "state/Marking.h"

#include "base/Errors.h"

#include <cmath>
#include <sstream>

namespace gen_marking {

namespace {

[[noreturn]] void refuse(const std::ostringstream& text) {
    endRunWith(text.str() + " outside the " + std::to_string(SHRT_MIN) + " .. " +
               std::to_string(SHRT_MAX) + " a marking holds");
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
