#include "pv/GeneratedReward.h"

#include "base/Errors.h"

#include <string>

void gen_reward::refuseValue(const char* variable, const char* what, const char* on, double value) {
    endRunWith("reward " + std::string(variable) + " has the " + what + " " + valueText(value) +
               (*on != '\0' ? " on activity " + std::string(on) : std::string()) +
               "; a reward must be finite");
}
