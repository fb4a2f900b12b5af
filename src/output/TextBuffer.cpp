#include "output/TextBuffer.h"

#include "base/Errors.h"

#include <array>
#include <bit>
#include <charconv>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

namespace {

// Copies the value's bytes in little-endian order.
template <class T> void storeLittleEndian(char* target, T value) {
    char raw[sizeof(T)];
    std::memcpy(raw, &value, sizeof(T));
    if constexpr (std::endian::native == std::endian::big) {
        for (std::size_t i = 0; i < sizeof(T); ++i)
            target[i] = raw[sizeof(T) - 1 - i];
    } else {
        std::memcpy(target, raw, sizeof(T));
    }
}

// "00" "01" ... "99": two digits per table entry.
constexpr std::array<char, 200> makeDigitPairs() {
    std::array<char, 200> pairs{};
    for (int i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}
constexpr std::array<char, 200> digitPairs = makeDigitPairs();

// Number of decimal digits of v: from the bit length, one comparison decides
// between the two possible counts.
int decimalDigits(std::uint64_t v) {
    static constexpr std::uint64_t powers[] = {1ULL,
                                               10ULL,
                                               100ULL,
                                               1000ULL,
                                               10000ULL,
                                               100000ULL,
                                               1000000ULL,
                                               10000000ULL,
                                               100000000ULL,
                                               1000000000ULL,
                                               10000000000ULL,
                                               100000000000ULL,
                                               1000000000000ULL,
                                               10000000000000ULL,
                                               100000000000000ULL,
                                               1000000000000000ULL,
                                               10000000000000000ULL,
                                               100000000000000000ULL,
                                               1000000000000000000ULL,
                                               10000000000000000000ULL};
    if (v < 10)
        return 1;
    // floor(log10(2^bits)) approximated by bits * 1233 / 4096.
    int t = (64 - std::countl_zero(v | 1)) * 1233 >> 12;
    return t + (v >= powers[t] ? 1 : 0);
}

// Writes the digits of v from the end backwards, two at a time.
template <class U> void writeDigits(char* end, U v) {
    while (v >= 100) {
        U rest = v % 100;
        v /= 100;
        end -= 2;
        std::memcpy(end, &digitPairs[2 * rest], 2);
    }
    if (v >= 10) {
        std::memcpy(end - 2, &digitPairs[2 * v], 2);
    } else {
        end[-1] = static_cast<char>('0' + v);
    }
}

// Background mode: blocks per buffer (one being recorded, the others queued or
// free), and the operation codes of the records.
constexpr std::size_t BackgroundBlocks = 4;
constexpr std::size_t MaxQueuedJobs = 64;
enum Code : char {
    IntegerLine = 'i',    // long long (TextBuffer::IntegerCode)
    ScientificLine = 's', // double (TextBuffer::ScientificCode)
    GeneralLine = 'g',    // double (TextBuffer::GeneralCode)
    Bytes = 'b',          // std::uint32_t length, then the bytes
    BinaryInt32 = 'I',    // std::int32_t
    BinaryDouble = 'D',   // double
    GeneralLines = 'G',   // TextBuffer::GeneralLinesCode
    BinaryDoubles = 'B',  // TextBuffer::BinaryDoublesCode
    RateRow = 'r',        // TextBuffer::RateRowCode
};
constexpr std::size_t RecordRoom = 1 + 8; // the largest fixed-size record

} // namespace

// The background mode's state of one buffer.
struct TextBuffer::Background {
    std::unique_ptr<TextBuffer> Formatter; // formats and writes; used by the writer thread only
    std::unique_ptr<char[]> Storage;       // owned; BackgroundBlocks blocks of Capacity bytes
    std::size_t Capacity = 0;
    std::vector<char*> Free;         // blocks neither recorded into nor queued (writer's mutex)
    int Pending = 0;                 // blocks queued and not yet written (writer's mutex)
    std::atomic<bool> Failed{false}; // the stream failed while the writer wrote
};

// The writer thread of every background buffer of the process: it takes the
// recorded blocks in the order they were handed over, formats them through
// each buffer's Formatter and writes them. It runs while a background buffer
// exists, and is stopped (after the block in hand) when the process exits, so
// that no stream is written while the exit destroys it.
struct BackgroundWriter {
    struct Job {
        TextBuffer* owner;
        char* block;
        std::size_t length;
        bool flushStream;
    };

    static BackgroundWriter& get() {
        static BackgroundWriter writer;
        return writer;
    }
    ~BackgroundWriter() { stop(); }

    // A new background buffer; false when the thread cannot be started.
    bool attach() {
        std::unique_lock<std::mutex> lock(Mutex);
        if (Users == 0 && !Thread.joinable()) {
            Stop = false;
            try {
                Thread = std::thread([this] { run(); });
            } catch (const std::system_error&) {
                return false;
            }
        }
        ++Users;
        return true;
    }
    // A background buffer is gone; the last one stops the thread.
    void detach() {
        {
            std::lock_guard<std::mutex> lock(Mutex);
            if (--Users > 0)
                return;
        }
        stop();
    }
    void stop() {
        {
            std::lock_guard<std::mutex> lock(Mutex);
            Stop = true;
        }
        Work.notify_all();
        if (Thread.joinable())
            Thread.join();
    }

    // Queues a block; waits while the queue is full.
    void submit(const Job& job) {
        std::unique_lock<std::mutex> lock(Mutex);
        Done.wait(lock, [this] { return Count < MaxQueuedJobs; });
        Jobs[(First + Count) % MaxQueuedJobs] = job;
        ++Count;
        ++job.owner->Async->Pending;
        lock.unlock();
        Work.notify_one();
    }
    // A free block of `owner`, waiting for the writer to release one.
    char* freeBlock(TextBuffer* owner) {
        TextBuffer::Background& b = *owner->Async;
        std::unique_lock<std::mutex> lock(Mutex);
        Done.wait(lock, [&b] { return !b.Free.empty(); });
        char* block = b.Free.back();
        b.Free.pop_back();
        return block;
    }
    // Waits until every block of `owner` has been written.
    void drain(TextBuffer* owner) {
        TextBuffer::Background& b = *owner->Async;
        std::unique_lock<std::mutex> lock(Mutex);
        Done.wait(lock, [&b] { return b.Pending == 0; });
    }

private:
    BackgroundWriter() = default;

    void run() {
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
                job.owner->Async->Free.push_back(job.block);
                --job.owner->Async->Pending;
            }
            Done.notify_all();
        }
    }

    // Formats the records of one block and writes them.
    static void write(const Job& job) {
        TextBuffer& out = *job.owner->Async->Formatter;
        char* p = job.block;
        const char* end = job.block + job.length;
        while (p < end) {
            char code = *p++;
            switch (code) {
            case IntegerLine: {
                long long v;
                std::memcpy(&v, p, sizeof v);
                p += sizeof v;
                out.line(v);
                break;
            }
            case ScientificLine:
            case GeneralLine:
            case BinaryDouble: {
                double v;
                std::memcpy(&v, p, sizeof v);
                p += sizeof v;
                if (code == ScientificLine)
                    out.lineScientific10(v);
                else if (code == GeneralLine)
                    out.lineGeneral6(v);
                else
                    out.binaryDouble(v);
                break;
            }
            case GeneralLines:
            case BinaryDoubles: {
                std::uint32_t count;
                std::memcpy(&count, p, sizeof count);
                p += sizeof count;
                for (std::uint32_t i = 0; i < count; ++i, p += sizeof(double)) {
                    double v;
                    std::memcpy(&v, p, sizeof v);
                    if (code == GeneralLines)
                        out.lineGeneral6(v);
                    else
                        out.binaryDouble(v);
                }
                break;
            }
            case RateRow: {
                std::uint32_t count;
                std::memcpy(&count, p, sizeof count);
                p = TextBuffer::alignedForRow(p + sizeof count);
                out.rateRow(reinterpret_cast<TargetRate*>(p), count);
                p += sizeof(TargetRate) * count;
                break;
            }
            case BinaryInt32: {
                std::int32_t v;
                std::memcpy(&v, p, sizeof v);
                p += sizeof v;
                out.binaryInt32(v);
                break;
            }
            default: { // Bytes
                std::uint32_t length;
                std::memcpy(&length, p, sizeof length);
                p += sizeof length;
                out.bytes(p, length);
                p += length;
                break;
            }
            }
        }
        if (job.flushStream)
            out.flush();
        if (!out.Out)
            job.owner->Async->Failed = true;
    }

    std::mutex Mutex;
    std::condition_variable Work; // a job was queued, or the thread must stop
    std::condition_variable Done; // a job was taken or written
    Job Jobs[MaxQueuedJobs] = {}; // ring of queued jobs
    std::size_t First = 0;
    std::size_t Count = 0;
    std::thread Thread;
    bool Stop = false;
    int Users = 0;
};

char* TextBuffer::formatInteger(char* first, long long value) {
    std::uint64_t magnitude = static_cast<std::uint64_t>(value);
    if (value < 0) {
        *first++ = '-';
        magnitude = 0 - magnitude;
    }
    char* end = first + decimalDigits(magnitude);
    if (magnitude <= 0xFFFFFFFFu)
        writeDigits(end, static_cast<std::uint32_t>(magnitude)); // cheaper division
    else
        writeDigits(end, magnitude);
    return end;
}

TextBuffer::TextBuffer(std::ostream& out, const char* fileName, std::size_t capacity,
                       bool background)
    : Out(out), FileName(fileName) {
    if (capacity < MaxNumberLength + 2)
        capacity = MaxNumberLength + 2;
    if (background) {
        // Everything the writer thread will use is allocated here, so that it
        // never allocates (and never ends the process) itself.
        auto async = std::make_unique<Background>();
        async->Formatter = std::make_unique<TextBuffer>(out, nullptr, capacity);
        async->Formatter->Scientific = new (std::nothrow) CachedNumber[1u << CacheBits]();
        async->Formatter->General = new (std::nothrow) CachedNumber[1u << CacheBits]();
        async->Storage.reset(new (std::nothrow) char[BackgroundBlocks * capacity]);
        if (async->Formatter->Scientific == nullptr || async->Formatter->General == nullptr ||
            async->Storage == nullptr)
            MemoryAllocationError();
        async->Capacity = capacity;
        async->Free.reserve(BackgroundBlocks);
        for (std::size_t b = 1; b < BackgroundBlocks; ++b)
            async->Free.push_back(async->Storage.get() + b * capacity);
        if (BackgroundWriter::get().attach()) {
            Data = async->Storage.get();
            Async = std::move(async);
        }
    }
    if (Data == nullptr) {
        Data = new (std::nothrow) char[capacity];
        if (Data == nullptr)
            MemoryAllocationError();
    }
    Position = Data;
    End = Data + capacity;
}

TextBuffer::~TextBuffer() {
    flush();
    if (Async) {
        BackgroundWriter::get().detach();
    } else {
        delete[] Data;
    }
    delete[] Scientific;
    delete[] General;
}

void TextBuffer::submit(bool flushStream) {
    BackgroundWriter& writer = BackgroundWriter::get();
    writer.submit(
        BackgroundWriter::Job{this, Data, static_cast<std::size_t>(Position - Data), flushStream});
    Data = writer.freeBlock(this);
    Position = Data;
    End = Data + Async->Capacity;
    if (Async->Failed && FileName != nullptr) {
        writer.drain(this);
        std::cerr << "Error: Could not write file " << FileName << std::endl;
        std::exit(1);
    }
}

void TextBuffer::record(char code, const void* value, std::size_t length) {
    *Position++ = code;
    std::memcpy(Position, value, length);
    Position += length;
}

char* TextBuffer::cachedFormat(CachedNumber*& cache, double value, char* (*format)(char*, double)) {
    if (cache == nullptr) {
        cache = new (std::nothrow) CachedNumber[1u << CacheBits]();
        if (cache == nullptr)
            MemoryAllocationError();
    }
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    CachedNumber& entry = cache[(bits * 0x9E3779B97F4A7C15ULL) >> (64 - CacheBits)];
    if (entry.length == 0 || entry.bits != bits) {
        char* end = format(entry.text, value);
        entry.length = static_cast<std::uint8_t>(end - entry.text);
        entry.bits = bits;
    }
    std::memcpy(Position, entry.text, sizeof entry.text);
    return Position + entry.length;
}

char* TextBuffer::formatScientific10(char* first, double value) {
    return std::to_chars(first, first + MaxNumberLength, value, std::chars_format::scientific, 10)
        .ptr;
}

char* TextBuffer::formatGeneral6(char* first, double value) {
    return std::to_chars(first, first + MaxNumberLength, value, std::chars_format::general, 6).ptr;
}

void TextBuffer::lineFormatted(long long value) {
    reserve(MaxNumberLength + 1);
    if (Async) {
        record(IntegerLine, &value, sizeof value);
        return;
    }
    Position = formatInteger(Position, value);
    *Position++ = '\n';
}

void TextBuffer::scientificFormatted(double value) {
    reserve(MaxNumberLength + 1);
    if (Async) {
        record(ScientificLine, &value, sizeof value);
        return;
    }
    Position = cachedFormat(Scientific, value, formatScientific10);
    *Position++ = '\n';
}

void TextBuffer::generalFormatted(double value) {
    reserve(MaxNumberLength + 1);
    if (Async) {
        record(GeneralLine, &value, sizeof value);
        return;
    }
    Position = cachedFormat(General, value, formatGeneral6);
    *Position++ = '\n';
}

void TextBuffer::valuesFormatted(char code, const double* values, std::uint32_t count) {
    if (Async && valuesRecordBytes(count) <= Async->Capacity) {
        reserve(valuesRecordBytes(count));
        recordValuesInline(code, values, count);
        return;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        if (code == GeneralLinesCode)
            lineGeneral6(values[i]);
        else
            binaryDouble(values[i]);
    }
}

void TextBuffer::rowFormatted(TargetRate* row, std::uint32_t count) {
    if (Async && rowRecordBytes(count) <= Async->Capacity) {
        reserve(rowRecordBytes(count));
        recordRowInline(row, count);
        return;
    }
    // The synchronous mode (the writer thread's formatter among them), or a row
    // too long for a block: put in order here, and formatted (or recorded line
    // by line).
    sortByTarget(row, count);
    for (std::uint32_t i = 0; i < count; ++i) {
        line(row[i].target);
        lineScientific10(row[i].rate);
    }
    line(0);
}

void TextBuffer::text(const char* text) {
    bytes(text, std::strlen(text));
}

void TextBuffer::bytes(const void* data, std::size_t length) {
    const char* from = static_cast<const char*>(data);
    if (Async) {
        // In pieces that fit a block, each with its length.
        while (length > 0) {
            reserve(RecordRoom + 1);
            std::size_t room = static_cast<std::size_t>(End - Position) - 1 - sizeof(std::uint32_t);
            auto piece = static_cast<std::uint32_t>(length < room ? length : room);
            *Position++ = Bytes;
            std::memcpy(Position, &piece, sizeof piece);
            Position += sizeof piece;
            std::memcpy(Position, from, piece);
            Position += piece;
            from += piece;
            length -= piece;
        }
        return;
    }
    while (length > 0) {
        if (Position == End)
            writeOut();
        std::size_t chunk = static_cast<std::size_t>(End - Position);
        if (chunk > length)
            chunk = length;
        std::memcpy(Position, from, chunk);
        Position += chunk;
        from += chunk;
        length -= chunk;
    }
}

void TextBuffer::binaryInt32(std::int32_t value) {
    if (Async) {
        reserve(RecordRoom);
        record(BinaryInt32, &value, sizeof value);
        return;
    }
    reserve(sizeof value);
    storeLittleEndian(Position, value);
    Position += sizeof value;
}

void TextBuffer::binaryDouble(double value) {
    if (Async) {
        reserve(RecordRoom);
        record(BinaryDouble, &value, sizeof value);
        return;
    }
    reserve(sizeof value);
    storeLittleEndian(Position, value);
    Position += sizeof value;
}

void TextBuffer::writeOut() {
    if (Async) {
        submit(false);
        return;
    }
    if (Position != Data)
        Out.write(Data, Position - Data);
    Position = Data;
    if (!Out && FileName != nullptr) {
        std::cerr << "Error: Could not write file " << FileName << std::endl;
        std::exit(1);
    }
}

bool TextBuffer::flush() {
    if (Async) {
        submit(true);
        BackgroundWriter::get().drain(this);
        // The writer is done with the stream: it is the caller's again.
        if (Async->Failed && FileName != nullptr) {
            std::cerr << "Error: Could not write file " << FileName << std::endl;
            std::exit(1);
        }
        return !Async->Failed && static_cast<bool>(Out);
    }
    writeOut();
    return static_cast<bool>(Out);
}
