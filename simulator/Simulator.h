#pragma once
// Simulator: estimates every measure of a model with a confidence interval.
// Measures at time points and over intervals come from independent
// replications, run in rounds spread over worker processes; long-run measures
// from batch means over one long run. Replication i draws from the stream of
// (seed, i) and the rounds are combined in index order, so the results depend
// on the seed and the settings, never on the number of workers.

#include "Measure.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

class ActionTable;
class PVModel;

// What a run estimates and when it stops.
struct SimSettings {
    std::uint64_t seed = 1;            // the run's seed
    double level = 0.95;               // confidence level of every interval
    double relWidth = 0.0;             // stop when every half-width / |value| is below; 0: off
    std::uint64_t replications = 1000; // replications: exactly these, or at most with relWidth
    std::uint64_t round = 100;         // replications between two checks of the stop rule
    unsigned threads = 1;              // worker processes of a round
    double timeLimit = 0.0;            // seconds after which no round starts; 0: none
    std::uint64_t batches = 30;        // batches: exactly these, or at least with relWidth
    std::uint64_t maxBatches = 1000;   // batches at most with relWidth
    std::uint64_t batchEvents = 10000; // timed firings of the warm-up, whose length each batch has
    // Exponential activities whose rate the replications multiply by the
    // factor (importance sampling); each replication's values are weighted by
    // its likelihood ratio. Empty: plain replications.
    std::vector<std::pair<std::string, double>> bias;
    // Balanced failure biasing of the replications: the failures named here
    // share `balancedShare` of the exponential total rate equally wherever one
    // is enabled (see Trajectory::setBalanced). Empty: none.
    std::vector<std::string> balanced;
    double balancedShare = 0.5;
    // True when the replications are biased by factors or balanced.
    bool biased() const { return !bias.empty() || !balanced.empty(); }
};

// The estimate of one measure.
struct Estimate {
    Measure measure;           // what was estimated
    double value = 0.0;        // the sample mean
    double low = 0.0;          // the interval at the run's level, which need not be
    double high = 0.0;         //   centred on the value (skewed samples)
    double halfWidth = 0.0;    // the larger distance from the value to an end of the interval
    std::uint64_t samples = 0; // replications or batches
    bool reached = true;       // the relative half-width asked for was reached
    bool correlated = false;   // batch means still correlated at the longest batches tried
    std::string method;        // how it was estimated, as the report names it
};

// The outcome of a run.
struct SimResult {
    std::vector<Estimate> estimates; // in the order of listMeasures
    std::uint64_t events = 0;        // timed firings simulated, over every worker
    double batchLength = 0.0;        // time length of a batch (long-run measures only)
    bool weighted = false;           // the replications were biased (importance sampling)
    // Mean and half-width of the replications' likelihood ratios, whose true
    // mean is 1: an interval that misses 1 shows a biasing too strong for the
    // replications made, whose weighted values are then not to be trusted.
    double likelihoodMean = 1.0;
    double likelihoodHalfWidth = 0.0;
    bool likelihoodWarning() const; // weighted, and 1 lies outside the likelihood interval
    bool allReached() const;        // every estimate reached the half-width asked for
    bool anyCorrelated() const;     // some batch means stayed correlated
    // Timed activities that were enabled during the long run's batches but
    // never completed: the long-run values cannot show what they do.
    std::vector<std::string> neverCompleted;
    bool longRunWarning() const; // batch means correlated, or an activity never completed
};

// A worker process failed after reporting its fault on standard error.
struct WorkerFailure {};

// Why the settings or the model cannot be run, or empty.
std::string settingsProblem(const SimSettings& settings, PVModel* model);

// Runs the simulation. Throws SimulationError on a fault of the model found
// while simulating, WorkerFailure when a worker reported one.
SimResult simulate(PVModel* model, const ActionTable& actions, const SimSettings& settings);
