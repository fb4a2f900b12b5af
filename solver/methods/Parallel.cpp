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
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    for (std::thread& w : workers_)
        w.join();
}

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
    {
        std::lock_guard<std::mutex> lock(mutex_);
        call_ = call;
        context_ = context;
        parts_ = parts;
        next_.store(0, std::memory_order_relaxed);
        error_ = nullptr;
        pending_ = threads_ - 1;
        ++generation_;
    }
    wake_.notify_all();
    runShare();
    std::unique_lock<std::mutex> lock(mutex_);
    finished_.wait(lock, [this] { return pending_ == 0; });
    if (error_) {
        std::exception_ptr e = error_;
        error_ = nullptr;
        std::rethrow_exception(e);
    }
}

void Parallel::work() {
    std::uint64_t seen = 0;
    for (;;) {
        {
            std::unique_lock<std::mutex> lock(mutex_);
            wake_.wait(lock, [&] { return stopping_ || generation_ != seen; });
            if (stopping_)
                return;
            seen = generation_;
        }
        runShare();
        bool last = false;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            last = --pending_ == 0;
        }
        if (last)
            finished_.notify_one();
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
