#pragma once
// Checks of a model's structure that the generator makes before it explores
// anything. Mistakes of a model's author that would otherwise give a wrong state
// space or a crash end the run with one line on standard error naming the model
// and the action, and status 1.

class BaseActionClass;
class BaseGroupClass;

// Every action's GroupID must be the position of its group in the model's group
// list: within range, and the group there must be the action itself or hold it
// (directly or through nested groups).
void checkGroupIds(BaseActionClass* const* actions, int numActions, BaseGroupClass* const* groups,
                   int numGroups);

// Every activity of a SAN whose activities bind marking pointers to places
// (registerPointer, from LinkVariables()) must have bound some, when it is
// connected to places by arcs: an activity whose LinkVariables() was never
// called would read its markings through null pointers.
void checkMarkingsBound(BaseActionClass* const* actions, int numActions);
