#include "methods/Parallel.h"

#include <atomic>
#include <memory>

namespace gensolver {

namespace {

unsigned resolveThreads(unsigned threads) {
    if (threads > 0)
        return threads;
    const unsigned cores = std::thread::hardware_concurrency();
    return cores > 0 ? cores : 1;
}

// A pool runs one job at a time, so every thread that solves (gen-study solves
// experiments on several) has a pool of its own.
std::atomic<unsigned> sharedThreads{0};
thread_local std::unique_ptr<Parallel> shared;

} // namespace

Parallel::Parallel(unsigned threads) : threads_(resolveThreads(threads)) {
    workers_.reserve(threads_ - 1);
    for (unsigned t = 1; t < threads_; ++t)
        workers_.emplace_back([this] { work(); });
}

Parallel::~Parallel() {
    stopping_.store(true);
    {
        std::lock_guard<std::mutex> lock(mutex_);
    }
    wake_.notify_all();
    for (std::thread& w : workers_)
        w.join();
}

namespace {

// Rounds of a spin before a thread sleeps: about 50 to 100 microseconds, longer
// than most waits at a meeting and short enough that a pool whose threads
// outnumber the cores (solves side by side) loses little to it.
constexpr int kSpins = 2000;

inline void relax() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#else
    std::this_thread::yield();
#endif
}

} // namespace

void Parallel::runShare() {
    try {
        for (std::uint64_t p = next_.fetch_add(1, std::memory_order_relaxed); p < parts_;
             p = next_.fetch_add(1, std::memory_order_relaxed))
            call_(context_, p);
    } catch (...) {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!error_)
            error_ = std::current_exception();
        // The parts left are not run: the job fails as a whole.
        next_.store(parts_, std::memory_order_relaxed);
    }
}

void Parallel::run(std::uint64_t parts, Call call, void* context) {
    if (parts == 0)
        return;
    if (threads_ == 1 || parts == 1) {
        for (std::uint64_t p = 0; p < parts; ++p)
            call(context, p);
        return;
    }
    call_ = call;
    context_ = context;
    parts_ = parts;
    next_.store(0, std::memory_order_relaxed);
    error_ = nullptr;
    pending_.store(threads_ - 1);
    generation_.fetch_add(1); // publishes the job to the workers
    if (sleepingWorkers_.load() > 0) {
        { // a worker between its check and its sleep holds the mutex
            std::lock_guard<std::mutex> lock(mutex_);
        }
        wake_.notify_all();
    }
    runShare();
    for (int spin = 0; spin < kSpins && pending_.load() != 0; ++spin)
        relax();
    if (pending_.load() != 0) {
        std::unique_lock<std::mutex> lock(mutex_);
        callerSleeping_.store(true);
        finished_.wait(lock, [this] { return pending_.load() == 0; });
        callerSleeping_.store(false);
    }
    if (error_) {
        std::exception_ptr e = error_;
        error_ = nullptr;
        std::rethrow_exception(e);
    }
}

void Parallel::work() {
    std::uint64_t seen = 0;
    for (;;) {
        for (int spin = 0;
             spin < kSpins && generation_.load() == seen && !stopping_.load(); ++spin)
            relax();
        if (generation_.load() == seen && !stopping_.load()) {
            std::unique_lock<std::mutex> lock(mutex_);
            sleepingWorkers_.fetch_add(1);
            wake_.wait(lock, [&] { return stopping_.load() || generation_.load() != seen; });
            sleepingWorkers_.fetch_sub(1);
        }
        if (stopping_.load())
            return;
        seen = generation_.load();
        runShare();
        if (pending_.fetch_sub(1) == 1 && callerSleeping_.load()) {
            { // the caller between its check and its sleep holds the mutex
                std::lock_guard<std::mutex> lock(mutex_);
            }
            finished_.notify_one();
        }
    }
}

Parallel& sharedPool() {
    if (!shared)
        shared = std::make_unique<Parallel>(sharedThreads);
    return *shared;
}

void setSharedThreads(unsigned threads) {
    sharedThreads = threads;
    if (shared && shared->threads() != resolveThreads(threads))
        shared.reset();
}

} // namespace gensolver
