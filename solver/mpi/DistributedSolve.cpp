#include "mpi/DistributedSolve.h"

#include "methods/BoundedKrylov.h"
#include "methods/ChainBackend.h"
#include "methods/IluPreconditioner.h"
#include "methods/Parallel.h"
#include "methods/PowerLimit.h"
#include "mpi/DistributedSteps.h"
#include "mpi/DistributedSystem.h"
#include "read/ArmReader.h"
#include "read/ImpReader.h"
#include "read/InputError.h"
#include "read/ModelReader.h"
#include "read/PvTypeReader.h"
#include "read/RegenerativeReader.h"
#include "read/VarReader.h"

#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <exception>
#include <memory>
#include <new>

namespace gensolver {

namespace {

bool exists(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0;
}

// Ends a phase that each process went through on its own: where any process
// met a fault, every process throws a SharedFault (with the fault's message
// where it was met), so that none waits for the others in a later exchange.
void agree(MPI_Comm comm, const std::exception_ptr& fault) {
    int mine = fault ? 1 : 0, any = 0;
    MPI_Allreduce(&mine, &any, 1, MPI_INT, MPI_MAX, comm);
    if (fault) {
        try {
            std::rethrow_exception(fault);
        } catch (const std::bad_alloc&) {
            throw SharedFault("not enough memory for this process's share of the chain");
        } catch (const std::exception& e) {
            throw SharedFault(e.what());
        }
    }
    if (any != 0)
        throw SharedFault("");
}

// The chain's share held by this process, as the measures see it.
class DistributedBackend : public ChainBackend {
public:
    // transitions: those out of this process's range, kept for the limit's fallback.
    DistributedBackend(MPI_Comm comm, std::uint32_t states, DistributedSteps& steps,
                       std::vector<Transition> transitions)
        : comm_(comm), states_(states), steps_(steps), transitions_(std::move(transitions)) {}
    std::uint32_t states() const override { return states_; }
    std::uint64_t transitions() const override { return steps_.transitions(); }
    std::unique_ptr<TransientMethod> transient(std::vector<const std::vector<double>*> integrands,
                                               LimitSource* limits, const TransientOptions& options,
                                               double, double& rate) override {
        rate = steps_.rate();
        return std::make_unique<TransientSolver>(steps_, std::move(integrands), limits, options);
    }
    // BiCGSTAB over the processes; where it finds no bound (state 1 outside the
    // only closed class, several closed classes, or a stall), the power iteration;
    // where that does not converge either, the chain is gathered on process 0,
    // which solves it by its components, as one process would.
    Limit limit(const LimitOptions& options) override {
        Limit krylov = krylovLimit(options);
        if (krylov.converged)
            return krylov;
        Limit power = powerLimit(steps_, options);
        if (power.converged) {
            power.fallback = "BiCGSTAB met no bound within the tolerance in " +
                             std::to_string(krylov.krylovIterations) + " iterations";
            return power;
        }
        return gatheredLimit(options, std::move(power));
    }
    double sum(double local) override {
        double total = 0.0;
        MPI_Allreduce(&local, &total, 1, MPI_DOUBLE, MPI_SUM, comm_);
        return total;
    }
    double max(double local) override {
        double m = 0.0;
        MPI_Allreduce(&local, &m, 1, MPI_DOUBLE, MPI_MAX, comm_);
        return m;
    }

    // Bytes this process sends in one product of BiCGSTAB.
    std::uint64_t krylovBytes() const { return krylovBytes_; }

private:
    Limit krylovLimit(const LimitOptions& options);
    // One distributed BiCGSTAB solve with `reference` (a state number from 0) as
    // the reference; true when its bound met the tolerance (l then holds the
    // limit). likely gets the likeliest state of a bounded solve that missed it,
    // else 0. Adds the iterations to l.
    bool krylovSolve(const LimitOptions& options, std::uint32_t reference, Limit& l,
                     std::uint32_t& likely);
    Limit gatheredLimit(const LimitOptions& options, Limit power);

    MPI_Comm comm_;
    std::uint32_t states_;
    DistributedSteps& steps_;
    std::vector<Transition> transitions_; // out of this process's range
    std::uint64_t krylovBytes_ = 0;
};

Limit DistributedBackend::krylovLimit(const LimitOptions& options) {
    Limit l;
    l.krylov = true;
    l.distributed = true;
    l.converged = false;
    l.errorEstimate = 2.0;
    std::uint32_t likely = 0;
    if (krylovSolve(options, 0, l, likely) || likely == 0)
        return l;
    // A bound was found but missed the tolerance: the reference weighs the
    // residual by the expected times to reach it, and state 1 may be rarely
    // visited. The likeliest state of that solve is the better reference.
    krylovSolve(options, likely, l, likely);
    return l;
}

bool DistributedBackend::krylovSolve(const LimitOptions& options, std::uint32_t reference, Limit& l,
                                     std::uint32_t& likely) {
    const std::uint32_t first = steps_.rangeFirst(), last = steps_.rangeLast();
    const DistributedSystem system(comm_, states_, first, last, transitions_, reference);
    krylovBytes_ = system.bytesSent();
    Parallel& pool = sharedPool();
    const IluPreconditioner ilu(pool, system.block());
    likely = 0;
    if (system.max(ilu.ok() ? 0.0 : 1.0) > 0.0)
        return false;
    std::vector<double> y;
    const BoundedSolve solved = boundedBicgstab(pool, system, ilu, system.rhs(), 0.5, options, y);
    l.krylovIterations += solved.iterations;
    if (!solved.converged) {
        if (std::isfinite(solved.bound))
            likely = system.likeliest(y);
        return false;
    }
    for (double& v : y)
        v /= solved.total;
    // The relative residual |pi Q| / |pi diag(Q)|: (pi Q)_k = -(B pi)_k off the
    // reference, and the reference's entry is minus the sum of the others.
    std::vector<double> product(y.size());
    system.multiply(pool, y, product);
    double absolute = 0.0, signedSum = 0.0, scale = 0.0;
    for (std::size_t k = 0; k < y.size(); ++k) {
        scale += y[k] * system.exitRates()[k];
        if (first + k == reference)
            continue;
        absolute += std::fabs(product[k]);
        signedSum += product[k];
    }
    absolute = system.sum(absolute);
    signedSum = system.sum(signedSum);
    scale = system.sum(scale);
    l.residual = scale > 0.0 ? (absolute + std::fabs(signedSum)) / scale : 0.0;
    l.converged = true;
    l.errorEstimate = solved.bound;
    l.classes = l.classesReached = 1;
    l.distribution = std::move(y);
    return true;
}

Limit DistributedBackend::gatheredLimit(const LimitOptions& options, Limit power) {
    const std::uint64_t powerSteps = power.sweeps;
    int rank = 0, processes = 1;
    MPI_Comm_rank(comm_, &rank);
    MPI_Comm_size(comm_, &processes);
    const std::uint64_t bytes = 16 * steps_.transitions();
    if (bytes > static_cast<std::uint64_t>(INT_MAX)) {
        // Too large for one gather: the power iteration's result stands, unconverged.
        power.fallback = "the chain is too large to gather on one process";
        return power;
    }
    static_assert(sizeof(Transition) == 16, "transitions travel as 16 bytes");
    const int mine = static_cast<int>(16 * transitions_.size());
    std::vector<int> counts(static_cast<std::size_t>(processes)), offsets(counts.size(), 0);
    MPI_Gather(&mine, 1, MPI_INT, counts.data(), 1, MPI_INT, 0, comm_);
    for (std::size_t r = 1; r < counts.size(); ++r)
        offsets[r] = offsets[r - 1] + counts[r - 1];
    std::vector<Transition> all(rank == 0 ? steps_.transitions() : 0);
    MPI_Gatherv(transitions_.data(), mine, MPI_BYTE, all.data(), counts.data(), offsets.data(),
                MPI_BYTE, 0, comm_);
    Limit l;
    std::vector<double> whole;
    std::exception_ptr fault;
    if (rank == 0) {
        try {
            l = solveLimit(buildRateMatrix(states_, all), options);
            whole = std::move(l.distribution);
        } catch (...) {
            fault = std::current_exception();
        }
    }
    agree(comm_, fault);
    // The figures of process 0's solve, then each process's slice of the distribution.
    double reals[2] = {l.residual, l.errorEstimate};
    std::uint64_t whole_numbers[16] = {l.classesReached,
                                       l.classes,
                                       l.components,
                                       l.sweeps,
                                       l.krylovIterations,
                                       l.iterative,
                                       l.krylov,
                                       l.multigrid,
                                       l.sweepsGivenUp,
                                       l.sweepsExpected,
                                       static_cast<std::uint64_t>(l.krylovRefused),
                                       l.accepted,
                                       l.sweepsStopped,
                                       l.sweepsStoppedExpected,
                                       l.transientEliminated,
                                       l.classEliminated};
    int converged = l.converged ? 1 : 0;
    MPI_Bcast(reals, 2, MPI_DOUBLE, 0, comm_);
    MPI_Bcast(whole_numbers, 16, MPI_UINT64_T, 0, comm_);
    MPI_Bcast(&converged, 1, MPI_INT, 0, comm_);
    l.residual = reals[0];
    l.errorEstimate = reals[1];
    l.classesReached = static_cast<std::uint32_t>(whole_numbers[0]);
    l.classes = static_cast<std::uint32_t>(whole_numbers[1]);
    l.components = static_cast<std::uint32_t>(whole_numbers[2]);
    l.sweeps = whole_numbers[3];
    l.krylovIterations = whole_numbers[4];
    l.iterative = whole_numbers[5] != 0;
    l.krylov = whole_numbers[6] != 0;
    l.multigrid = whole_numbers[7] != 0;
    l.sweepsGivenUp = whole_numbers[8];
    l.sweepsExpected = whole_numbers[9];
    l.krylovRefused = static_cast<Limit::Refusal>(whole_numbers[10]);
    l.accepted = whole_numbers[11] != 0;
    l.sweepsStopped = whole_numbers[12] != 0;
    l.sweepsStoppedExpected = whole_numbers[13];
    l.transientEliminated = whole_numbers[14] != 0;
    l.classEliminated = whole_numbers[15] != 0;
    l.converged = converged != 0;
    const std::vector<std::uint32_t> bounds = stateRanges(states_, processes);
    std::vector<int> sizes(static_cast<std::size_t>(processes)), starts(sizes.size());
    for (std::size_t r = 0; r < sizes.size(); ++r) {
        starts[r] = static_cast<int>(bounds[r]);
        sizes[r] = static_cast<int>(bounds[r + 1] - bounds[r]);
    }
    l.distribution.assign(steps_.size(), 0.0);
    MPI_Scatterv(whole.data(), sizes.data(), starts.data(), MPI_DOUBLE, l.distribution.data(),
                 static_cast<int>(steps_.size()), MPI_DOUBLE, 0, comm_);
    l.fallback = "the power iteration did not converge in " + std::to_string(powerSteps) +
                 " steps; solved on process 0 alone";
    return l;
}

// The transitions out of [first, last) and, per variable with first-entry
// impulses, the rate at which the range's states earn them.
struct LocalRows {
    std::uint32_t first = 0, last = 0;
    std::vector<Transition> transitions;
    const std::vector<Rewards>* rewards = nullptr;
    std::vector<std::vector<double>> impulseRate; // per variable, empty without impulses

    void add(std::uint32_t from, std::uint32_t to, double rate) {
        if (from < first || from >= last)
            return;
        for (std::size_t p = 0; p < impulseRate.size(); ++p)
            if (!impulseRate[p].empty())
                impulseRate[p][from - first] += rate * (*rewards)[p].impulse[to];
        if (from != to)
            transitions.push_back({from, to, rate});
    }
};

// Keeps the entries [first, last) of v.
void slice(std::vector<double>& v, std::uint32_t first, std::uint32_t last) {
    if (v.empty())
        return;
    v.erase(v.begin() + last, v.end());
    v.erase(v.begin(), v.begin() + first);
}

} // namespace

std::string distributedRefusal(const std::string& stem, const SolveOptions& options) {
    if (hasDeterministicDelays(stem))
        return stem + ".det: the model has deterministic activities; their solver runs on one "
                      "process (run gen-solve without mpirun)";
    if (options.absorption || exists(stem + ".abs"))
        return "values until absorption are solved on one process only (run gen-solve without "
               "mpirun)";
    if (options.transient.method == TransientChoice::Extrapolation ||
        options.transient.method == TransientChoice::Iterative)
        return "--transient extrapolation and iterative run on one process only (run gen-solve "
               "without mpirun, or use uniformization)";
    return "";
}

namespace {

// Reads this process's share: the variables, the rewards (whole, then cut to
// the range) and the rows of the range [first, last) of process `rank` of
// `processes`. Throws InputError on bad input; no communication.
void readShare(const std::string& stem, bool binaryRows, int rank, int processes, Model& model,
               LocalRows& rows, std::uint32_t& states) {
    model.stem = stem;
    model.variables = readPvType(stem + ".pvtype");

    std::vector<std::unique_ptr<PartReader>> parts;
    if (binaryRows) {
        parts = openParts(stem);
        const PartHeader& h = parts[0]->header();
        if (h.variables != model.variables.size())
            throw InputError(parts[0]->path(), "its records hold " + std::to_string(h.variables) +
                                                   " variables, " + stem + ".pvtype names " +
                                                   std::to_string(model.variables.size()));
        states = static_cast<std::uint32_t>(h.states);
        model.rewards = readPartRecords(parts, 0, states);
    } else {
        states = readArmStateCount(stem + ".arm");
        model.rewards = readVar(stem + ".var", model.variables, states);
    }
    if (exists(stem + ".imp")) {
        readImp(stem + ".imp", model.variables, states, model.rewards);
        model.exactImpulses = true;
    }
    const std::vector<std::uint32_t> bounds = stateRanges(states, processes);
    rows.first = bounds[static_cast<std::size_t>(rank)];
    rows.last = bounds[static_cast<std::size_t>(rank) + 1];
    rows.rewards = &model.rewards;
    rows.impulseRate.resize(model.rewards.size());
    for (std::size_t p = 0; p < model.rewards.size(); ++p)
        if (model.rewards[p].hasImpulses)
            rows.impulseRate[p].assign(rows.last - rows.first, 0.0);

    if (binaryRows) {
        std::vector<std::uint8_t> seen(rows.last - rows.first, 0);
        PartEntry e;
        for (auto& part : parts) {
            part->rewind();
            // Rows of other ranges are passed over unread.
            part->skipRowsOutside(rows.first + 1, rows.last);
            while (part->next(e)) {
                if (!e.isRow || e.state - 1 < rows.first || e.state - 1 >= rows.last)
                    continue;
                std::uint8_t& s = seen[e.state - 1 - rows.first];
                if (s != 0)
                    part->fail("a second row of state " + std::to_string(e.state));
                s = 1;
                for (std::uint32_t k = 0; k < e.count; ++k)
                    rows.add(e.state - 1, e.targets[k] - 1, e.values[k]);
            }
        }
        for (std::uint32_t k = 0; k < seen.size(); ++k)
            if (seen[k] == 0)
                throw InputError(parts[0]->path(), "no part holds the row of state " +
                                                       std::to_string(rows.first + k + 1));
    } else {
        walkArm(
            stem + ".arm", states,
            [](void* context, std::uint32_t from, std::uint32_t to, double rate) {
                static_cast<LocalRows*>(context)->add(from, to, rate);
            },
            &rows);
    }
    // The process's slices of the rewards; the impulse rates derived from the
    // first-entry impulses replace those.
    for (std::size_t p = 0; p < model.rewards.size(); ++p) {
        Rewards& r = model.rewards[p];
        slice(r.rate, rows.first, rows.last);
        slice(r.impulseRate, rows.first, rows.last);
        if (r.hasImpulses)
            r.impulseRate = std::move(rows.impulseRate[p]);
        std::vector<double>().swap(r.impulse);
        for (const double x : r.impulseRate)
            if (!std::isfinite(x))
                throw InputError(stem, "the impulses earned add up beyond the range of a double");
    }
}

} // namespace

std::optional<Solution> solveDistributed(MPI_Comm comm, const std::string& stem, bool binaryRows,
                                         const SolveOptions& options, std::string& alone,
                                         DistributedFigures* figures) {
    int rank = 0, processes = 1;
    MPI_Comm_rank(comm, &rank);
    MPI_Comm_size(comm, &processes);
    Model model;
    LocalRows rows;
    std::uint32_t states = 0;
    std::exception_ptr fault;
    try {
        readShare(stem, binaryRows, rank, processes, model, rows, states);
    } catch (...) {
        fault = std::current_exception();
    }
    agree(comm, fault);
    DistributedSteps steps(comm, states, rows.first, rows.last, rows.transitions);
    if (figures != nullptr) {
        figures->firstState = rows.first;
        figures->lastState = rows.last;
        figures->bytesSentPerStep = steps.bytesSentPerStep();
    }
    // The one-process rule of TransientChoice::Auto: a small chain with many
    // steps to its last time point is extrapolated, which is not distributed.
    double lastTime = 0.0;
    for (const Variable& v : model.variables)
        if (v.type != RewardType::SteadyState)
            for (const TimePoint& t : v.times)
                lastTime = std::max(lastTime, t.stop);
    const TransientOptions& t = options.transient;
    if (t.method == TransientChoice::Auto && states <= t.extrapolateStates &&
        steps.rate() * lastTime > t.extrapolateAbove) {
        alone = "the chain is small (" + std::to_string(states) +
                " states) and stiff, which the one-process solver extrapolates";
        return std::nullopt;
    }
    DistributedBackend backend(comm, states, steps, std::move(rows.transitions));
    Solution solution = solve(model, options, backend);
    if (figures != nullptr)
        figures->bytesSentPerProduct = backend.krylovBytes();
    return solution;
}

} // namespace gensolver
