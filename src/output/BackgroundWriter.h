#pragma once
// BackgroundWriter: the writer thread of every background TextBuffer of the
// process. It takes the blocks of records in the order they were handed over,
// replays each through its buffer's FormattingBuffer and hands the block back.
// It runs while a background buffer exists, and is stopped (after the block in
// hand) when the process exits, so that no stream is written while the exit
// destroys it.

#include "output/BackgroundChannel.h"

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <thread>

class BackgroundWriter {
public:
    // The process's writer.
    static BackgroundWriter& get();
    ~BackgroundWriter() { stop(); }
    BackgroundWriter(const BackgroundWriter&) = delete;
    BackgroundWriter& operator=(const BackgroundWriter&) = delete;
    BackgroundWriter(BackgroundWriter&&) = delete;
    BackgroundWriter& operator=(BackgroundWriter&&) = delete;

    // A channel of blocks of `capacity` bytes for a new background buffer,
    // which records into the first block of Storage; the others are free. Null
    // when the thread cannot be started. Ends the process when the blocks
    // cannot be allocated.
    std::unique_ptr<BackgroundChannel> open(std::size_t capacity);
    // A background buffer is gone (every block of its channel written); the
    // last one stops the thread.
    void close();

    // Queues `length` bytes of records in `block` of `channel`, to be flushed
    // from the formatter to the stream afterwards when `flushStream` is set;
    // waits while the queue is full.
    void submit(BackgroundChannel& channel, char* block, std::size_t length, bool flushStream);
    // A free block of `channel`, waiting for the writer to release one.
    char* freeBlock(BackgroundChannel& channel);
    // Waits until every block of `channel` has been written.
    void drain(BackgroundChannel& channel);

private:
    // A block to write.
    struct Job {
        BackgroundChannel* channel; // not owned
        char* block;                // in the channel's storage
        std::size_t length;         // bytes of records in it
        bool flushStream;           // flush the formatter after it
    };
    static constexpr std::size_t MaxQueuedJobs = 64;

    BackgroundWriter() = default;
    // Ends the thread after the block in hand.
    void stop();
    // The thread's loop: takes the queued jobs in order and writes them.
    void run();
    // Formats the records of one block and writes them.
    static void write(const Job& job);

    std::mutex Mutex;             // guards the queue and every channel's Free and Pending
    std::condition_variable Work; // a job was queued, or the thread must stop
    std::condition_variable Done; // a job was taken or written
    Job Jobs[MaxQueuedJobs] = {}; // ring of queued jobs
    std::size_t First = 0;        // ring position of the oldest job
    std::size_t Count = 0;        // jobs queued
    std::thread Thread;           // the writer, while it runs
    bool Stop = false;            // the thread must end
    int Users = 0;                // open channels
};
