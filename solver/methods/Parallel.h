#pragma once
// A small persistent pool of worker threads for the solver's loops over rows.
// Work over [0, n) is cut into chunks of a fixed size that does not depend on the
// number of threads, and every sum adds one partial per chunk, then the partials in
// chunk order: results are the same whatever the number of threads and timing.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace gensolver {

class Parallel {
public:
    // Rows per chunk: large enough that a chunk outweighs handing it out.
    static constexpr std::uint64_t kChunk = 8192;

    // Starts threads - 1 workers (the calling thread is the first); 0 means one
    // per core.
    explicit Parallel(unsigned threads = 0);
    ~Parallel();
    Parallel(const Parallel&) = delete;
    Parallel& operator=(const Parallel&) = delete;
    Parallel(Parallel&&) = delete;
    Parallel& operator=(Parallel&&) = delete;

    unsigned threads() const { return threads_; }

    // Number of chunks that [0, n) is cut into.
    static std::uint64_t chunks(std::uint64_t n) { return (n + kChunk - 1) / kChunk; }

    // Calls task(part) once for every part in [0, parts); each thread claims the
    // next part not yet taken, so a thread the system holds back leaves its
    // parts to the others. Returns when all are done; rethrows the first
    // exception a task threw. Not reentrant: a task must not use the same pool.
    template <class Task> void forParts(std::uint64_t parts, Task&& task) {
        run(
            parts, [](void* context, std::uint64_t part) { (*static_cast<Task*>(context))(part); },
            &task);
    }

    // Calls body(begin, end) for the chunks of [0, n).
    template <class Body> void forEach(std::uint64_t n, Body&& body) {
        forParts(chunks(n), [&](std::uint64_t c) {
            const std::uint64_t begin = c * kChunk;
            body(begin, begin + kChunk < n ? begin + kChunk : n);
        });
    }

    // The sum over the chunks of [0, n) of body(begin, end), added in chunk order.
    template <class Body> double sum(std::uint64_t n, Body&& body) {
        const std::uint64_t count = chunks(n);
        if (partials_.size() < count)
            partials_.resize(count);
        forParts(count, [&](std::uint64_t c) {
            const std::uint64_t begin = c * kChunk;
            partials_[c] = body(begin, begin + kChunk < n ? begin + kChunk : n);
        });
        double total = 0.0;
        for (std::uint64_t c = 0; c < count; ++c)
            total += partials_[c];
        return total;
    }

private:
    using Call = void (*)(void*, std::uint64_t);
    void run(std::uint64_t parts, Call call, void* context);
    void work();
    void runShare();

    unsigned threads_;
    std::vector<std::thread> workers_; // owned; joined by the destructor
    // A meeting of the threads (a job handed out and its end awaited) first
    // spins on the atomics below and only then sleeps on the condition
    // variables: the sweeps by wavefront meet once per level, thousands of
    // times a second, and a wake-up through the kernel costs tens of
    // microseconds. The sleepers' counts tell the other side whether it must
    // notify; each side publishes its count before it checks the state it
    // waits for, and the other changes that state before it reads the count
    // (both sequentially consistent), so one of them always sees the other.
    std::mutex mutex_;
    std::condition_variable wake_;     // workers sleep here for a job
    std::condition_variable finished_; // the caller sleeps here for the workers
    std::atomic<std::uint64_t> generation_{0}; // bumped for every job
    std::atomic<unsigned> pending_{0};         // workers still busy with the job
    std::atomic<bool> stopping_{false};
    std::atomic<unsigned> sleepingWorkers_{0};
    std::atomic<bool> callerSleeping_{false};
    // The current job.
    Call call_ = nullptr;
    void* context_ = nullptr;
    std::uint64_t parts_ = 0;
    std::atomic<std::uint64_t> next_{0}; // the next part of the job to claim
    std::exception_ptr error_;
    std::vector<double> partials_; // per chunk, for sum()
};

// The pool the solver's methods share on the calling thread, started on the
// thread's first use with the number of threads last given to setSharedThreads
// (default: one per core). Solves on different threads use different pools.
Parallel& sharedPool();

// Sets the number of threads of the pools started from here on (0: one per
// core); restarts the calling thread's pool when it already runs with another
// number. Not to be called while that pool works.
void setSharedThreads(unsigned threads);

} // namespace gensolver
