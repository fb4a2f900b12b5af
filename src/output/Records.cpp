#include "output/Records.h"

#include "output/FormattingBuffer.h"

namespace {

// The operand of type T at `p`; `p` moves past it.
template <class T> T take(char*& p) {
    T value;
    std::memcpy(&value, p, sizeof value);
    p += sizeof value;
    return value;
}

} // namespace

namespace records {

void replay(char* begin, const char* end, FormattingBuffer& out) {
    char* p = begin;
    while (p < end) {
        auto code = static_cast<RecordCode>(*p++);
        switch (code) {
        case RecordCode::IntegerLine:
            out.line(take<long long>(p));
            break;
        case RecordCode::ScientificLine:
            out.lineScientific10(take<double>(p));
            break;
        case RecordCode::GeneralLine:
            out.lineGeneral6(take<double>(p));
            break;
        case RecordCode::BinaryDouble:
            out.binaryDouble(take<double>(p));
            break;
        case RecordCode::BinaryInt32:
            out.binaryInt32(take<std::int32_t>(p));
            break;
        case RecordCode::GeneralLines: {
            auto count = take<std::uint32_t>(p);
            out.linesGeneral6(p, count);
            p += sizeof(double) * count;
            break;
        }
        case RecordCode::BinaryDoubles: {
            auto count = take<std::uint32_t>(p);
            out.binaryDoubles(p, count);
            p += sizeof(double) * count;
            break;
        }
        case RecordCode::RateRow: {
            auto count = take<std::uint32_t>(p);
            p = alignedForRow(p);
            out.rateRow(reinterpret_cast<TargetRate*>(p), count);
            p += sizeof(TargetRate) * count;
            break;
        }
        case RecordCode::Bytes: {
            auto length = take<std::uint32_t>(p);
            out.bytes(p, length);
            p += length;
            break;
        }
        }
    }
}

} // namespace records
