#pragma once
// Measure: one value the simulator estimates, a reward variable at one of its
// time points or intervals, or in the long run.

#include "pv/PerformanceVariableNode.h"

#include <string>
#include <vector>

class PVModel;

struct Measure {
    int node = 0;                        // the variable's position in the reward model's list
    RewardType type = InstantOfTimeType; // what is observed
    double start = 0.0;                  // the time point, or the interval's start
    double stop = 0.0;                   // the time point, or the interval's stop
    std::string name;                    // the variable's name
    // Accumulated from time 0 until the path is absorbed (a marking that enables
    // no activity): an interval of time [0, absorption), its stop infinite.
    bool untilAbsorption = false;

    // Estimated by batch means over one long run rather than by replications.
    bool longRun() const { return type == SteadyStateType; }
};

// Every measure of the model's variables, in variable order and, within a
// variable, in the order of its time points; a variable the model names as
// reported until absorption is one measure over [0, absorption).
std::vector<Measure> listMeasures(PVModel* model);
