#include "Simulator.h"

#include "StreamSampler.h"
#include "Tally.h"
#include "Trajectory.h"
#include "base/Errors.h"
#include "distributions/UserDistributions.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <limits>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Exit statuses of a worker process: a fault it reported on standard error,
// and a failure it could not report (its pipe broke).
constexpr int WorkerReported = 1;
constexpr int WorkerUnreported = 3;
// Leads a worker's report of a line with which the model framework ends the run
// (a marking out of range, a negative rate): the parent ends the run with that
// line as it stands, as a run on one worker does.
constexpr char FrameworkLine = '\x01';

// The pipe of this worker process to its parent (-1 in the parent).
int reportPipe = -1;

bool writeAll(int fd, const void* data, std::size_t size);

// endRunWith in a worker: the line goes to the parent in place of the rows.
void reportRunEnd(const std::string& line) {
    const std::string text = FrameworkLine + line;
    ::_exit(writeAll(reportPipe, text.data(), text.size()) ? WorkerReported : WorkerUnreported);
}

// Timed firings of the trial of the model's declared dependencies.
constexpr std::uint64_t ProbeEvents = 2000;
// Timed firings after which a regeneration cycle is taken as never ending.
constexpr std::uint64_t MaxCycleEvents = 100000000;
// The most times a batch's length is doubled: 1024 times the warm-up's. A run
// to a path's end (or to absorption) may take as many firings as the longest batches.
constexpr int MaxDoublings = 10;

// Gathers one replication's values: instants when the path passes their time,
// interval rewards as the rate over the overlapping span plus the impulses
// earned inside the interval.
struct ReplicationObserver {
    const std::vector<Measure>& measures;
    double* values;
    std::vector<char> done;
    bool instantsOnly;  // no measure is an interval
    double nextInstant; // the earliest time point not yet passed

    ReplicationObserver(const std::vector<Measure>& m, double* v)
        : measures(m), values(v), done(m.size(), 0), instantsOnly(true), nextInstant(0.0) {
        for (const Measure& measure : m)
            instantsOnly = instantsOnly && measure.type == InstantOfTimeType;
        nextInstant = earliestInstant();
    }
    double earliestInstant() const {
        double earliest = std::numeric_limits<double>::infinity();
        for (std::size_t m = 0; m < measures.size(); ++m)
            if (measures[m].type == InstantOfTimeType && done[m] == 0)
                earliest = std::min(earliest, measures[m].start);
        return earliest;
    }

    void span(double from, double to, Trajectory& path) {
        // Most spans of a path end before its next time point.
        if (instantsOnly && to <= nextInstant)
            return;
        bool passed = false;
        for (std::size_t m = 0; m < measures.size(); ++m) {
            const Measure& measure = measures[m];
            if (measure.type == InstantOfTimeType) {
                if (done[m] == 0 && from <= measure.start && measure.start < to) {
                    values[m] = path.rates()[measure.node];
                    done[m] = 1;
                    passed = true;
                }
                continue;
            }
            // A value until absorption takes nothing from the absorbed marking.
            if (measure.untilAbsorption && path.ended())
                continue;
            double overlap = std::min(to, measure.stop) - std::max(from, measure.start);
            if (overlap > 0.0)
                values[m] += path.rates()[measure.node] * overlap;
        }
        if (passed)
            nextInstant = earliestInstant();
    }
    void impulse(double time, int node, double value) {
        for (std::size_t m = 0; m < measures.size(); ++m) {
            const Measure& measure = measures[m];
            if (measure.node == node && measure.type != InstantOfTimeType &&
                measure.start <= time && time <= measure.stop)
                values[m] += value;
        }
    }
    // The path stands at the horizon: the instants there take its marking.
    void finish(const double* rates) {
        for (std::size_t m = 0; m < measures.size(); ++m) {
            const Measure& measure = measures[m];
            if (measure.type == InstantOfTimeType && done[m] == 0)
                values[m] = rates[measure.node];
            if (measure.type == TimeAveragedIntervalOfTimeType)
                values[m] /= measure.stop - measure.start;
        }
    }
};

// Sums every long-run measure's reward over the present batch.
struct BatchObserver {
    const std::vector<Measure>& measures;
    std::vector<double> sums;

    void span(double from, double to, Trajectory& path) {
        const double* rates = path.rates();
        for (std::size_t m = 0; m < measures.size(); ++m)
            sums[m] += rates[measures[m].node] * (to - from);
    }
    void impulse(double, int node, double value) {
        for (std::size_t m = 0; m < measures.size(); ++m)
            if (measures[m].node == node)
                sums[m] += value;
    }
};

// Sees nothing: the warm-up.
struct NoObserver {
    void span(double, double, Trajectory&) {}
    void impulse(double, int, double) {}
};

// One replication's values of the terminating measures, followed by its
// likelihood ratio (1 without biasing). An infinite horizon (values until
// absorption) runs each path until it is absorbed; one not absorbed after
// `maxEvents` timed firings ends the run: where a path may never be absorbed,
// the values until absorption are infinite or not defined, and no number of
// replications estimates them.
void replicate(Trajectory& path, StreamSampler& sampler, const std::vector<Measure>& measures,
               double horizon, std::uint64_t maxEvents, std::uint64_t index, double* values) {
    std::fill(values, values + measures.size(), 0.0);
    ReplicationObserver observer(measures, values);
    path.start(sampler.stream(index), observer);
    const bool toAbsorption = std::isinf(horizon);
    path.runUntil(horizon, toAbsorption ? maxEvents : std::numeric_limits<std::uint64_t>::max(),
                  observer);
    if (toAbsorption) {
        if (!path.ended()) {
            char at[32];
            std::snprintf(at, sizeof at, "%g", path.now());
            throw SimulationError(
                "replication " + std::to_string(index + 1) + " had not been absorbed after " +
                std::to_string(maxEvents) + " timed firings (1024 times --warmup-events; time " +
                at +
                "): values until absorption are estimated only where every path is absorbed "
                "(gen-solve gives the probability of absorption)");
        }
        // The absorbed marking holds on: the intervals and time points beyond
        // the absorption see it, as a path run to their horizon would.
        double last = 0.0;
        for (const Measure& m : measures)
            if (!m.untilAbsorption)
                last = std::max(last, m.stop);
        if (last > path.now())
            observer.span(path.now(), last, path);
    }
    observer.finish(path.rates());
    // Importance sampling: the value times the likelihood ratio of the whole
    // path has the true mean (the ratio at the horizon is a martingale's end).
    double weight = path.likelihood();
    if (weight != 1.0)
        for (std::size_t m = 0; m < measures.size(); ++m)
            values[m] *= weight;
    values[measures.size()] = weight;
}

// Moves all `size` bytes through `transfer` (read or write), resuming after
// interruptions; false when the pipe ends or fails first.
template <class Transfer>
bool transferAll(Transfer transfer, int fd, char* data, std::size_t size) {
    while (size > 0) {
        ssize_t n = transfer(fd, data, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

bool writeAll(int fd, const void* data, std::size_t size) {
    auto put = [](int f, char* p, std::size_t n) { return ::write(f, p, n); };
    return transferAll(put, fd, static_cast<char*>(const_cast<void*>(data)), size);
}

// Replications first .. first + count - 1 into values (count rows of
// measures.size() + 1, the last the likelihood ratio), over `threads` worker processes: worker w
// runs the replications w, w + workers, ... of the round. Returns the timed firings made.
std::uint64_t runRound(Trajectory& path, StreamSampler& sampler,
                       const std::vector<Measure>& measures, double horizon,
                       std::uint64_t maxEvents, std::uint64_t first, std::uint64_t count,
                       unsigned threads, std::vector<double>& values) {
    std::size_t width = measures.size() + 1;
    std::uint64_t workers = std::min<std::uint64_t>(threads, count);
    if (workers <= 1) {
        std::uint64_t before = path.events();
        for (std::uint64_t i = 0; i < count; ++i)
            replicate(path, sampler, measures, horizon, maxEvents, first + i, &values[i * width]);
        return path.events() - before;
    }
    std::cout.flush();
    std::cerr.flush();
    std::vector<int> reads(workers, -1);
    std::vector<pid_t> children(workers, -1);
    bool failed = false;
    for (std::uint64_t w = 0; w < workers; ++w) {
        int fds[2];
        if (::pipe(fds) != 0) {
            failed = true;
            break;
        }
        pid_t child = ::fork();
        if (child < 0) {
            ::close(fds[0]);
            ::close(fds[1]);
            failed = true;
            break;
        }
        if (child == 0) {
            ::close(fds[0]);
            reportPipe = fds[1];
            setRunEndHandler(&reportRunEnd);
            int status = 0;
            try {
                std::uint64_t before = path.events();
                // The worker's rows go over in one piece at its end: one
                // system call rather than one per replication.
                std::vector<double> rows;
                rows.reserve(((count - w + workers - 1) / workers) * width);
                std::vector<double> row(width);
                for (std::uint64_t i = w; i < count; i += workers) {
                    replicate(path, sampler, measures, horizon, maxEvents, first + i, row.data());
                    rows.insert(rows.end(), row.begin(), row.end());
                }
                std::uint64_t made = path.events() - before;
                if (!writeAll(fds[1], rows.data(), rows.size() * sizeof(double)) ||
                    !writeAll(fds[1], &made, sizeof made))
                    status = WorkerUnreported;
            } catch (const SimulationError& e) {
                // The fault goes to the parent in place of the rows, which
                // prints one line for the whole round.
                std::string text = e.what();
                status =
                    writeAll(fds[1], text.data(), text.size()) ? WorkerReported : WorkerUnreported;
            }
            ::_exit(status);
        }
        ::close(fds[1]);
        reads[w] = fds[0];
        children[w] = child;
    }
    // Every pipe is drained as its worker writes, so that no worker waits on a
    // full pipe while another one is read.
    std::vector<std::vector<char>> received(workers);
    std::vector<pollfd> open;
    for (std::uint64_t w = 0; w < workers; ++w)
        if (reads[w] >= 0)
            open.push_back({reads[w], POLLIN, 0});
    char chunk[65536];
    while (!open.empty()) {
        if (::poll(open.data(), open.size(), -1) < 0) {
            if (errno == EINTR)
                continue;
            failed = true;
            break;
        }
        for (std::size_t k = 0; k < open.size();) {
            if (open[k].revents == 0) {
                ++k;
                continue;
            }
            ssize_t n = ::read(open[k].fd, chunk, sizeof chunk);
            if (n < 0 && errno == EINTR)
                continue;
            if (n > 0) {
                std::size_t w = static_cast<std::size_t>(
                    std::find(reads.begin(), reads.end(), open[k].fd) - reads.begin());
                received[w].insert(received[w].end(), chunk, chunk + n);
                ++k;
                continue;
            }
            ::close(open[k].fd);
            open.erase(open.begin() + static_cast<std::ptrdiff_t>(k));
        }
    }
    std::uint64_t events = 0;
    std::size_t rowBytes = width * sizeof(double);
    for (std::uint64_t w = 0; w < workers && !failed; ++w) {
        std::uint64_t rows = (count - w + workers - 1) / workers;
        if (received[w].size() != rows * rowBytes + sizeof(std::uint64_t)) {
            failed = true;
            break;
        }
        const char* p = received[w].data();
        for (std::uint64_t i = w; i < count; i += workers, p += rowBytes)
            std::memcpy(&values[i * width], p, rowBytes);
        std::uint64_t made = 0;
        std::memcpy(&made, p, sizeof made);
        events += made;
    }
    // A worker that met a fault of the model sent its message instead of its
    // rows: the first such worker's fault is the run's, in one line.
    std::string fault;
    for (std::uint64_t w = 0; w < workers; ++w) {
        if (children[w] < 0)
            continue;
        int status = 0;
        while (::waitpid(children[w], &status, 0) < 0 && errno == EINTR) {
        }
        if (WIFEXITED(status) && WEXITSTATUS(status) == WorkerReported && fault.empty())
            fault.assign(received[w].begin(), received[w].end());
        else if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
            failed = true;
    }
    if (!fault.empty() && fault.front() == FrameworkLine)
        endRunWith(fault.substr(1));
    if (!fault.empty())
        throw SimulationError(fault);
    if (failed) {
        std::cerr << "Error: a worker process of the simulation failed" << std::endl;
        throw WorkerFailure{};
    }
    return events;
}

// The larger distance from the mean to an end of its interval.
double reach(const Tally& tally, double level) {
    Tally::Interval range = tally.interval(level);
    return std::max(tally.mean() - range.low, range.high - tally.mean());
}

// Samples without spread (an interval of width 0) never reach a width: all
// zero after a hundred replications says nothing about a failure of
// probability 1e-7, so the run goes on to its budget.
bool reachedWidth(const Tally& tally, double level, double relWidth) {
    if (relWidth <= 0.0)
        return true;
    double half = reach(tally, level);
    return half > 0.0 && half <= relWidth * std::fabs(tally.mean());
}

// The stop rule, asked after a round or a batch: every value within the
// relative half-width asked for, or the time limit passed.
bool stopNow(const std::vector<Tally>& tallies, const SimSettings& settings,
             std::chrono::steady_clock::time_point begun) {
    if (settings.relWidth > 0.0 && std::all_of(tallies.begin(), tallies.end(), [&](const Tally& t) {
            return reachedWidth(t, settings.level, settings.relWidth);
        }))
        return true;
    std::chrono::duration<double> spent = std::chrono::steady_clock::now() - begun;
    return settings.timeLimit > 0.0 && spent.count() >= settings.timeLimit;
}

// Each tally's estimate, into `estimates` at `positions`.
void store(const std::vector<Tally>& tallies, const std::vector<std::size_t>& positions,
           const SimSettings& settings, std::vector<Estimate>& estimates) {
    for (std::size_t m = 0; m < tallies.size(); ++m) {
        Estimate& e = estimates[positions[m]];
        e.value = tallies[m].mean();
        Tally::Interval range = tallies[m].interval(settings.level);
        e.low = range.low;
        e.high = range.high;
        e.halfWidth = std::max(e.value - e.low, e.high - e.value);
        e.samples = tallies[m].count();
        e.reached = reachedWidth(tallies[m], settings.level, settings.relWidth);
    }
}

// The method of the replications, as the report names it.
std::string replicationMethod(const SimSettings& settings) {
    std::string text;
    if (!settings.balanced.empty()) {
        char buf[32];
        std::snprintf(buf, sizeof buf, "%g", settings.balancedShare);
        text = std::string("importance sampling, balanced failure biasing ") + buf + ":";
        for (const std::string& name : settings.balanced)
            text += " " + name;
        return text;
    }
    for (const auto& [name, factor] : settings.bias) {
        char buf[32];
        std::snprintf(buf, sizeof buf, "%g", factor);
        text += (text.empty() ? "importance sampling, bias " : " ") + name + " x" + buf;
    }
    return text.empty() ? "replications" : text;
}

// The terminating measures by replications, into `estimates` at `positions`.
std::uint64_t estimateByReplications(Trajectory& path, const std::vector<Measure>& measures,
                                     const std::vector<std::size_t>& positions,
                                     const SimSettings& settings, std::vector<Estimate>& estimates,
                                     Tally& ratio) {
    double horizon = 0.0;
    for (const Measure& m : measures)
        horizon = std::max(horizon, m.stop);
    StreamSampler sampler(settings.seed);
    std::vector<Tally> tallies(measures.size());
    std::vector<double> values;
    auto begun = std::chrono::steady_clock::now();
    std::uint64_t done = 0;
    std::uint64_t events = 0;
    while (done < settings.replications) {
        // Without a stop rule every replication runs in one round: the workers
        // start once. The values are combined in index order either way.
        bool checks = settings.relWidth > 0.0 || settings.timeLimit > 0.0;
        std::uint64_t round = checks ? settings.round : settings.replications;
        std::uint64_t count = std::min(round, settings.replications - done);
        std::size_t width = measures.size() + 1;
        values.assign(count * width, 0.0);
        events += runRound(path, sampler, measures, horizon, settings.batchEvents << MaxDoublings,
                           done, count, settings.threads, values);
        for (std::uint64_t i = 0; i < count; ++i) {
            for (std::size_t m = 0; m < measures.size(); ++m)
                tallies[m].add(values[i * width + m]);
            ratio.add(values[i * width + measures.size()]);
        }
        done += count;
        if (done >= 2 && stopNow(tallies, settings, begun))
            break;
    }
    store(tallies, positions, settings, estimates);
    return events;
}

// The lag-1 autocorrelation of a series, or 0 when it does not vary.
double lagOneCorrelation(const std::vector<double>& x) {
    double mean = 0.0;
    for (double v : x)
        mean += v;
    mean /= static_cast<double>(x.size());
    double squares = 0.0, products = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        squares += (x[i] - mean) * (x[i] - mean);
        if (i + 1 < x.size())
            products += (x[i] - mean) * (x[i + 1] - mean);
    }
    return squares > 0.0 ? products / squares : 0.0;
}

// Batch means that follow one another too closely to be taken as independent:
// the lag-1 autocorrelation above what independent batches exceed in 1 case in
// 20 (about -1/k + 1.645 / sqrt(k) for k batches). Below MinTestedBatches the
// test has no power and is not made; means that differ only by the rounding of
// their sums (a value constant along the path) are not tested either.
constexpr std::size_t MinTestedBatches = 10;
bool correlated(const std::vector<double>& means) {
    if (means.size() < MinTestedBatches)
        return false;
    Tally spread;
    for (double x : means)
        spread.add(x);
    if (spread.equalToRounding())
        return false;
    double k = static_cast<double>(means.size());
    return lagOneCorrelation(means) > -1.0 / k + 1.645 / std::sqrt(k);
}

// Each batch is made of this many consecutive parts, whose series the
// correlation test reads: eight times as many values as batches give the test
// its power, and parts that look independent make batches eight times their
// length all the more so.
constexpr std::size_t PartsPerBatch = 8;

// The long-run measures of a model whose long run ended in a marking that
// enables no activity (by time endedAt), into `estimates` at `positions`. Its
// long-run values are then that marking's rate rewards, and which marking a
// run ends in is chance: one run's batch means would all repeat one outcome,
// an interval of width 0 around it (a unit that fails for good in one of two
// ways, a quarter of the time in the first, gave 0 or 1 with no spread). They
// are estimated by replications that each run to their end instead, every one
// giving the rewards of the marking it ends in. A replication that has not
// ended after as many firings as the longest batches allow leaves no estimate:
// where some paths end and others run on, neither method stands.
void estimateByEnds(Trajectory& path, const std::vector<Measure>& measures,
                    const std::vector<std::size_t>& positions, const SimSettings& settings,
                    std::vector<Estimate>& estimates, double endedAt) {
    StreamSampler sampler(settings.seed);
    // Streams neither the replications, the batches nor the cycles use.
    constexpr std::uint64_t FirstStream = std::uint64_t{3} << 62;
    const std::uint64_t maxEvents = settings.batchEvents << MaxDoublings;
    std::vector<Tally> tallies(measures.size());
    NoObserver none;
    const auto begun = std::chrono::steady_clock::now();
    for (std::uint64_t r = 0; r < settings.replications; ++r) {
        // The stop rule between rounds, as the replications take it.
        if (r > 0 && settings.round > 0 && r % settings.round == 0 &&
            (settings.relWidth > 0.0 || settings.timeLimit > 0.0) &&
            stopNow(tallies, settings, begun))
            break;
        path.start(sampler.stream(FirstStream + r), none);
        path.runUntil(std::numeric_limits<double>::infinity(), maxEvents, none);
        if (!path.ended()) {
            char at[32];
            std::snprintf(at, sizeof at, "%g", endedAt);
            throw SimulationError(
                std::string("the long run came, by time ") + at +
                ", to a marking that enables no activity, but a run to the end had not ended "
                "after " +
                std::to_string(maxEvents) +
                " timed firings: where some paths end and others run on, the long-run values "
                "cannot be estimated by simulation (gen-solve gives them)");
        }
        const double* rates = path.rates();
        for (std::size_t m = 0; m < measures.size(); ++m)
            tallies[m].add(rates[measures[m].node]);
    }
    store(tallies, positions, settings, estimates);
    for (const std::size_t at : positions)
        estimates[at].method = "replications to each path's end";
}

// The long-run measures by batch means, into `estimates` at `positions`. The
// batches start at the warm-up's length, each the mean of PartsPerBatch parts.
// Whenever the run would stop, the parts' series of every measure is tested
// for correlation between neighbours; while one is correlated, neighbouring
// parts are merged in pairs, every length doubles and the run goes on to the
// count of batches again. A slow part of the model (repairs that last many
// batches) otherwise makes neighbouring batches alike and their interval far
// too narrow.
std::uint64_t estimateByBatches(Trajectory& path, const std::vector<Measure>& measures,
                                const std::vector<std::size_t>& positions,
                                const SimSettings& settings, std::vector<Estimate>& estimates,
                                double& batchLength, std::vector<std::string>& neverCompleted) {
    std::uint64_t before = path.events();
    StreamSampler sampler(settings.seed);
    // Batch means follow the true dynamics: a likelihood ratio over one long
    // run degenerates.
    path.useBias(false);
    // A stream no replication uses.
    RandomNumberGenerator* stream = sampler.stream(std::numeric_limits<std::uint64_t>::max());
    NoObserver none;
    path.start(stream, none);
    path.runUntil(std::numeric_limits<double>::infinity(), settings.batchEvents, none);
    if (path.ended()) {
        batchLength = 0.0;
        estimateByEnds(path, measures, positions, settings, estimates, path.now());
        return path.events() - before;
    }
    double partLength = (path.now() > 0.0 ? path.now() : 1.0) / PartsPerBatch;
    path.clearCounts();
    std::vector<std::vector<double>> parts(measures.size());
    std::vector<Tally> tallies(measures.size());
    // The batch means of the whole batches among the parts.
    auto batchMean = [&](std::size_t m, std::size_t batch) {
        double sum = 0.0;
        for (std::size_t i = 0; i < PartsPerBatch; ++i)
            sum += parts[m][batch * PartsPerBatch + i];
        return sum / PartsPerBatch;
    };
    BatchObserver observer{measures, std::vector<double>(measures.size(), 0.0)};
    std::uint64_t limit = settings.relWidth > 0.0 ? std::max(settings.maxBatches, settings.batches)
                                                  : settings.batches;
    auto begun = std::chrono::steady_clock::now();
    int doublings = 0;
    for (;;) {
        std::fill(observer.sums.begin(), observer.sums.end(), 0.0);
        path.runUntil(path.now() + partLength, std::numeric_limits<std::uint64_t>::max(), observer);
        if (path.ended()) {
            batchLength = 0.0;
            estimateByEnds(path, measures, positions, settings, estimates, path.now());
            return path.events() - before;
        }
        for (std::size_t m = 0; m < measures.size(); ++m)
            parts[m].push_back(observer.sums[m] / partLength);
        if (parts[0].size() % PartsPerBatch != 0)
            continue;
        std::uint64_t count = parts[0].size() / PartsPerBatch;
        for (std::size_t m = 0; m < measures.size(); ++m)
            tallies[m].add(batchMean(m, count - 1));
        if (count < settings.batches ||
            (settings.relWidth > 0.0 && count < limit && !stopNow(tallies, settings, begun)))
            continue;
        bool late =
            settings.timeLimit > 0.0 &&
            std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count() >=
                settings.timeLimit;
        if (doublings == MaxDoublings || late ||
            std::none_of(parts.begin(), parts.end(), correlated))
            break;
        // Neighbouring parts merged: the parts' count stays even, the whole
        // batches among them are counted again, and a half-filled batch is
        // filled by the parts that follow.
        ++doublings;
        partLength *= 2;
        for (std::size_t m = 0; m < measures.size(); ++m) {
            std::vector<double>& x = parts[m];
            for (std::size_t i = 0; i + 1 < x.size(); i += 2)
                x[i / 2] = (x[i] + x[i + 1]) / 2;
            x.resize(x.size() / 2);
            tallies[m] = Tally();
            for (std::size_t batch = 0; batch < x.size() / PartsPerBatch; ++batch)
                tallies[m].add(batchMean(m, batch));
        }
    }
    batchLength = partLength * PartsPerBatch;
    store(tallies, positions, settings, estimates);
    for (std::size_t m = 0; m < measures.size(); ++m)
        estimates[positions[m]].correlated = correlated(parts[m]);
    neverCompleted = path.neverCompleted();
    return path.events() - before;
}

// The long-run measures of a biased run by regeneration cycles, into
// `estimates` at `positions`. A cycle runs from the initial state to the next
// return to it. Each measure is the ratio of the reward earned over a cycle to
// the cycle's length: the reward's mean from biased cycles, each weighted by
// its likelihood ratio, and the length's mean from as many cycles drawn
// without bias, on streams of their own; the interval is the delta method's
// for the ratio of two independent means.
std::uint64_t estimateByCycles(Trajectory& path, const std::vector<Measure>& measures,
                               const std::vector<std::size_t>& positions,
                               const SimSettings& settings, std::vector<Estimate>& estimates,
                               Tally& ratio) {
    std::string problem = path.regenerationProblem();
    if (!problem.empty())
        throw SimulationError(problem);
    std::uint64_t before = path.events();
    StreamSampler sampler(settings.seed);
    std::vector<Tally> rewards(measures.size());
    Tally lengths;
    BatchObserver observer{measures, std::vector<double>(measures.size(), 0.0)};
    constexpr std::uint64_t FirstStream = std::uint64_t{1} << 62;
    for (int biased = 1; biased >= 0; --biased) {
        path.useBias(biased == 1);
        for (std::uint64_t c = 0; c < settings.replications; ++c) {
            std::fill(observer.sums.begin(), observer.sums.end(), 0.0);
            std::uint64_t stream = FirstStream * (biased == 1 ? 1 : 2) + c;
            path.start(sampler.stream(stream), observer);
            if (!path.runCycle(MaxCycleEvents, observer))
                throw SimulationError(
                    "a regeneration cycle did not come back to the initial state within " +
                    std::to_string(MaxCycleEvents) +
                    " timed firings (or the path ended): the biased long-run values need a "
                    "model that always returns to its initial state");
            if (biased == 1) {
                double weight = path.likelihood();
                for (std::size_t m = 0; m < measures.size(); ++m)
                    rewards[m].add(observer.sums[m] * weight);
                ratio.add(weight);
            } else {
                lengths.add(path.now());
            }
        }
    }
    path.useBias(true);
    double length = lengths.mean();
    std::uint64_t n = settings.replications;
    double z = studentQuantile(0.5 + settings.level / 2.0, n - 1);
    for (std::size_t m = 0; m < measures.size(); ++m) {
        Estimate& e = estimates[positions[m]];
        e.value = rewards[m].mean() / length;
        double variance = (rewards[m].variance() + e.value * e.value * lengths.variance()) /
                          (static_cast<double>(n) * length * length);
        e.halfWidth = z * std::sqrt(variance);
        e.low = e.value - e.halfWidth;
        e.high = e.value + e.halfWidth;
        e.samples = n;
        e.reached = settings.relWidth <= 0.0 ||
                    (e.halfWidth > 0.0 && e.halfWidth <= settings.relWidth * std::fabs(e.value));
    }
    return path.events() - before;
}

} // namespace

bool SimResult::anyCorrelated() const {
    return std::any_of(estimates.begin(), estimates.end(),
                       [](const Estimate& e) { return e.correlated; });
}

bool SimResult::longRunWarning() const {
    return !neverCompleted.empty() || anyCorrelated();
}

bool SimResult::allReached() const {
    return std::all_of(estimates.begin(), estimates.end(),
                       [](const Estimate& e) { return e.reached; });
}

bool SimResult::likelihoodWarning() const {
    return weighted && std::fabs(likelihoodMean - 1.0) > likelihoodHalfWidth;
}

std::string settingsProblem(const SimSettings& settings, PVModel* model) {
    if (!(settings.level > 0.0 && settings.level < 1.0))
        return "the confidence level must lie strictly between 0 and 1";
    if (!(settings.relWidth >= 0.0) || std::isinf(settings.relWidth))
        return "the relative half-width must be a finite number, not negative";
    if (settings.replications < 2)
        return "at least 2 replications are needed for an interval";
    if (settings.batches < 2)
        return "at least 2 batches are needed for an interval";
    if (settings.batchEvents < 1)
        return "the warm-up needs at least 1 event";
    if (settings.threads < 1)
        return "at least 1 worker is needed";
    for (const Measure& m : listMeasures(model)) {
        // A path to absorption has no bound on its length, and the likelihood
        // ratio of a long path multiplies many factors: on a wear-out chain the
        // ratios' variance is infinite under balanced biasing, and an interval
        // of 20,000 replications missed the value.
        if (m.untilAbsorption && settings.biased())
            return "variable " + m.name +
                   " is reported until absorption, which --bias and --balanced do not serve: "
                   "over paths of unbounded length the likelihood ratios may have no finite "
                   "variance, and no interval would hold (simulate it without them)";
        if (m.longRun() || m.untilAbsorption)
            continue;
        if (!std::isfinite(m.start) || !std::isfinite(m.stop) || m.start < 0.0 || m.stop < m.start)
            return "variable " + m.name + " has the time interval [" + std::to_string(m.start) +
                   ", " + std::to_string(m.stop) + "], which cannot be simulated";
        if (m.type == TimeAveragedIntervalOfTimeType && m.stop == m.start)
            return "variable " + m.name + " is averaged over an empty interval";
    }
    return "";
}

SimResult simulate(PVModel* model, const ActionTable& actions, const SimSettings& settings) {
    Trajectory path(model, actions);
    std::string problem = path.problem();
    if (problem.empty())
        problem = path.setBias(settings.bias);
    if (problem.empty())
        problem = path.setBalanced(settings.balanced, settings.balancedShare);
    if (!problem.empty())
        throw SimulationError(problem);
    path.useBias(true);
    SimResult result;
    std::vector<Measure> all = listMeasures(model);
    {
        // A trial of the model's declared dependencies, from a stream of its
        // own, on paths as the replications run them (or as long as a warm-up).
        double horizon = 0.0;
        for (const Measure& m : all)
            horizon =
                m.longRun() ? std::numeric_limits<double>::infinity() : std::max(horizon, m.stop);
        StreamSampler sampler(settings.seed);
        path.probeDependencies(sampler.stream(std::numeric_limits<std::uint64_t>::max() - 1),
                               horizon, ProbeEvents);
    }
    std::vector<Measure> terminating, longRun;
    std::vector<std::size_t> terminatingAt, longRunAt;
    for (std::size_t i = 0; i < all.size(); ++i) {
        std::string method = replicationMethod(settings);
        if (all[i].longRun())
            method = settings.balanced.empty() ? "batch means" : method + ", regeneration cycles";
        if (all[i].untilAbsorption)
            method += ", each to absorption";
        result.estimates.push_back({all[i], 0.0, 0.0, 0.0, 0.0, 0, true, false, method});
        (all[i].longRun() ? longRun : terminating).push_back(all[i]);
        (all[i].longRun() ? longRunAt : terminatingAt).push_back(i);
    }
    // The likelihood ratios of the biased replications and cycles: each has mean 1.
    Tally ratio;
    if (!terminating.empty())
        result.events += estimateByReplications(path, terminating, terminatingAt, settings,
                                                result.estimates, ratio);
    // Balanced biasing keeps every holding time's law, so a cycle's likelihood
    // ratio is a product of jump probabilities over a finite path; a factor
    // changes the time spent in the initial state, whose ratio
    // exp((biased - true rate) t) has an infinite variance once the biased rate
    // is twice the true one: biasing by factors leaves the long run to batch means.
    if (!longRun.empty() && !settings.balanced.empty())
        result.events +=
            estimateByCycles(path, longRun, longRunAt, settings, result.estimates, ratio);
    else if (!longRun.empty())
        result.events += estimateByBatches(path, longRun, longRunAt, settings, result.estimates,
                                           result.batchLength, result.neverCompleted);
    if (settings.biased()) {
        result.weighted = true;
        result.likelihoodMean = ratio.mean();
        result.likelihoodHalfWidth = ratio.halfWidth(settings.level);
    }
    return result;
}
