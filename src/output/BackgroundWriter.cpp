#include "output/BackgroundWriter.h"

#include "base/Errors.h"
#include "output/FormattingBuffer.h"
#include "output/Records.h"

#include <new>
#include <system_error>

BackgroundWriter& BackgroundWriter::get() {
    static BackgroundWriter writer;
    return writer;
}

// Everything the writer thread will use is allocated here, so that it never
// allocates (and never ends the process) itself.
std::unique_ptr<BackgroundChannel> BackgroundWriter::open(std::size_t capacity) {
    auto channel = std::make_unique<BackgroundChannel>();
    channel->Storage.reset(new (std::nothrow) char[BackgroundChannel::BlockCount * capacity]);
    if (channel->Storage == nullptr)
        MemoryAllocationError();
    channel->Capacity = capacity;
    channel->Free.reserve(BackgroundChannel::BlockCount);
    for (std::size_t b = 1; b < BackgroundChannel::BlockCount; ++b)
        channel->Free.push_back(channel->Storage.get() + b * capacity);
    std::unique_lock<std::mutex> lock(Mutex);
    if (Users == 0 && !Thread.joinable()) {
        Stop = false;
        try {
            Thread = std::thread([this] { run(); });
        } catch (const std::system_error&) {
            return nullptr;
        }
    }
    ++Users;
    return channel;
}

void BackgroundWriter::close() {
    {
        std::lock_guard<std::mutex> lock(Mutex);
        if (--Users > 0)
            return;
    }
    stop();
}

void BackgroundWriter::stop() {
    {
        std::lock_guard<std::mutex> lock(Mutex);
        Stop = true;
    }
    Work.notify_all();
    if (Thread.joinable())
        Thread.join();
}

void BackgroundWriter::submit(BackgroundChannel& channel, char* block, std::size_t length,
                              bool flushStream) {
    std::unique_lock<std::mutex> lock(Mutex);
    Done.wait(lock, [this] { return Count < MaxQueuedJobs; });
    Jobs[(First + Count) % MaxQueuedJobs] = Job{&channel, block, length, flushStream};
    ++Count;
    ++channel.Pending;
    lock.unlock();
    Work.notify_one();
}

char* BackgroundWriter::freeBlock(BackgroundChannel& channel) {
    std::unique_lock<std::mutex> lock(Mutex);
    Done.wait(lock, [&channel] { return !channel.Free.empty(); });
    char* block = channel.Free.back();
    channel.Free.pop_back();
    return block;
}

void BackgroundWriter::drain(BackgroundChannel& channel) {
    std::unique_lock<std::mutex> lock(Mutex);
    Done.wait(lock, [&channel] { return channel.Pending == 0; });
}

void BackgroundWriter::run() {
    for (;;) {
        Job job{};
        {
            std::unique_lock<std::mutex> lock(Mutex);
            Work.wait(lock, [this] { return Stop || Count > 0; });
            if (Stop)
                return;
            job = Jobs[First];
            First = (First + 1) % MaxQueuedJobs;
            --Count;
        }
        write(job);
        {
            std::lock_guard<std::mutex> lock(Mutex);
            job.channel->Free.push_back(job.block);
            --job.channel->Pending;
        }
        Done.notify_all();
    }
}

void BackgroundWriter::write(const Job& job) {
    FormattingBuffer& out = *job.channel->Formatter;
    records::replay(job.block, job.block + job.length, out);
    if (job.flushStream)
        out.flush();
    if (!out.good())
        job.channel->Failed = true;
}
