#include "output/TextBuffer.h"

#include "base/Errors.h"
#include "output/BackgroundWriter.h"

#include <cstring>

namespace {

// The size of the buffer and of each background block: at least a number's
// text and its line feed.
std::size_t blockCapacity(std::size_t capacity) {
    constexpr std::size_t least = numberformat::MaxNumberLength + 2;
    return capacity < least ? least : capacity;
}

} // namespace

TextBuffer::TextBuffer(std::ostream& out, const char* fileName, std::size_t capacity,
                       bool background)
    : Async(background ? BackgroundWriter::get().open(blockCapacity(capacity)) : nullptr),
      FileName(fileName), Formatter(out, Async ? nullptr : fileName, blockCapacity(capacity)) {
    if (!Async)
        return;
    // The writer thread must not allocate: its formatter's caches are made here.
    Async->Formatter = &Formatter;
    if (!Formatter.allocateCaches())
        MemoryAllocationError();
    Data = Position = Async->Storage.get();
    End = Data + Async->Capacity;
}

TextBuffer::~TextBuffer() {
    flush();
    if (Async)
        BackgroundWriter::get().close();
}

void TextBuffer::submit(bool flushStream) {
    BackgroundWriter& writer = BackgroundWriter::get();
    writer.submit(*Async, Data, static_cast<std::size_t>(Position - Data), flushStream);
    Data = writer.freeBlock(*Async);
    Position = Data;
    End = Data + Async->Capacity;
    if (Async->Failed && FileName != nullptr) {
        writer.drain(*Async);
        reportWriteFailure(FileName);
    }
}

void TextBuffer::recordValuesInNewBlock(RecordCode code, const double* values,
                                        std::uint32_t count) {
    if (records::valuesBytes(count) <= Async->Capacity) {
        submit(false);
        Position = records::putValues(Position, code, values, count);
        return;
    }
    RecordCode each =
        code == RecordCode::GeneralLines ? RecordCode::GeneralLine : RecordCode::BinaryDouble;
    for (std::uint32_t i = 0; i < count; ++i)
        recordValue(each, values[i]);
}

void TextBuffer::recordRowInNewBlock(TargetRate* row, std::uint32_t count) {
    if (records::rowBytes(count) <= Async->Capacity) {
        submit(false);
        Position = records::putRow(Position, row, count);
        return;
    }
    sortByTarget(row, count);
    for (std::uint32_t i = 0; i < count; ++i) {
        recordValue(RecordCode::IntegerLine, static_cast<long long>(row[i].target));
        recordValue(RecordCode::ScientificLine, row[i].rate);
    }
    recordValue(RecordCode::IntegerLine, 0LL);
}

void TextBuffer::text(const char* text) {
    bytes(text, std::strlen(text));
}

void TextBuffer::bytes(const void* data, std::size_t length) {
    if (!Async) {
        Formatter.bytes(data, length);
        return;
    }
    // In pieces that fit a block, each with its length.
    const char* from = static_cast<const char*>(data);
    while (length > 0) {
        if (static_cast<std::size_t>(End - Position) < records::ValueBytes + 1)
            submit(false);
        std::size_t room = static_cast<std::size_t>(End - Position) - 1 - sizeof(std::uint32_t);
        auto piece = static_cast<std::uint32_t>(length < room ? length : room);
        Position = records::putBytes(Position, from, piece);
        from += piece;
        length -= piece;
    }
}

bool TextBuffer::flush() {
    if (!Async)
        return Formatter.flush();
    submit(true);
    BackgroundWriter::get().drain(*Async);
    // The writer is done with the stream: it is the caller's again.
    if (Async->Failed && FileName != nullptr)
        reportWriteFailure(FileName);
    return !Async->Failed && Formatter.good();
}
