#pragma once
// BackgroundChannel: what the writer thread (BackgroundWriter) shares with one
// background TextBuffer: its blocks of records, and the formatter they go to.

#include <atomic>
#include <cstddef>
#include <memory>
#include <vector>

class FormattingBuffer;

// What the writer shares with one background buffer: its blocks of records.
struct BackgroundChannel {
    static constexpr std::size_t BlockCount = 4; // one being recorded, the others queued or free

    FormattingBuffer* Formatter = nullptr; // not owned; formats and writes the blocks
    std::unique_ptr<char[]> Storage;       // owned; BlockCount blocks of Capacity bytes
    std::size_t Capacity = 0;              // bytes per block
    std::vector<char*> Free;               // blocks neither recorded into nor queued
                                           // (under the writer's mutex)
    int Pending = 0;                       // blocks queued and not yet written (likewise)
    std::atomic<bool> Failed{false};       // the stream failed while the writer wrote
};
