#include "pv/GeneratedReward.h"

#include "base/Errors.h"

#include <cmath>
#include <sstream>
#include <string>

void gen_reward::refuseValue(const char* variable, const char* what, const char* on, double value) {
    std::ostringstream text;
    text << "reward " << variable << " has the " << what << " ";
    if (std::isnan(value))
        text << "nan"; // whatever its sign bit
    else
        text << value;
    if (*on != '\0')
        text << " on activity " << on;
    text << "; a reward must be finite";
    endRunWith(text.str());
}
