#pragma once
// What the rewards that gen-compile writes check of the values a model's
// expressions give them.

namespace gen_reward {

// Ends the run (status 1) with one line: the reward variable's `what` (its
// "rate reward", or its "impulse" on the activity `on`, empty for none) is
// infinite or not a number.
[[noreturn]] void refuseValue(const char* variable, const char* what, const char* on, double value);

// A generated rate reward or impulse, as the model gives it. Any finite value
// stands, negative ones too; one that is not finite would be written into the
// .var file as such, and would make every simulated interval of the variable
// not a number.
inline double finite(const char* variable, const char* what, const char* on, double value) {
    if (!(value >= -1.7976931348623157e308 && value <= 1.7976931348623157e308))
        refuseValue(variable, what, on, value);
    return value;
}

} // namespace gen_reward
