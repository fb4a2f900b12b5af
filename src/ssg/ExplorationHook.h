#pragma once
// ExplorationHook: an exploration that replaces the generator's own, set on a
// StateSpaceGen before GenStateSpace (the exploration spread over several
// processes is one). The generator's counts, markers and files are the hook's
// to produce; the framework knows nothing of how it runs.

class StateSpaceGen;

class ExplorationHook {
public:
    virtual ~ExplorationHook() = default;
    // Runs the whole exploration of `generator`'s model; true when this process
    // reports the run (the count, the final marker and the time), false when
    // another process does.
    virtual bool explore(StateSpaceGen& generator) = 0;
};
