#pragma once
// OutputCapture: the standard output and error of a process other than the
// first in a run over several processes. Every process runs the same set-up
// and would print the same lines; only the first one's are shown. What such a
// process prints once the exploration has begun (a model error, a failed
// allocation) is its own, and is shown when the process ends before the run
// is complete.

class OutputCapture {
public:
    // Captures std::cout and std::cerr from here on.
    static void begin();
    // Forgets what was captured: what follows is shown if the process ends
    // before finish().
    static void keepFromHere();
    // The run is complete: nothing captured is shown.
    static void finish();
};
