#include "read/ArmReader.h"

#include "read/InputError.h"
#include "read/LineReader.h"
#include "read/RowsToMatrix.h"

#include <cmath>
#include <cstring>
#include <exception>
#include <string_view>
#include <thread>
#include <vector>

#include <sys/stat.h>

namespace gensolver {

namespace {

constexpr std::uint64_t kMaxStates = 0xFFFFFFFEu;

std::uint32_t readHeader(LineReader& in) {
    std::string_view line;
    if (!in.next(line))
        in.fail("the file is empty: the run that writes it did not finish");
    if (trim(line) != "1")
        in.fail("line 1 must hold the output type 1, found " + quote(line));
    if (!in.next(line))
        in.fail("the file ends after line 1 (truncated)");
    if (trim(line).empty())
        in.fail("the state count is blank: the run that writes this file did not finish");
    std::uint64_t count = 0;
    if (!parseUnsigned(line, count))
        in.fail("the state count must be a whole number, found " + quote(line));
    if (count == 0)
        in.fail("the state count is 0");
    if (count > kMaxStates)
        in.fail("the state count " + std::to_string(count) + " is beyond this solver's limit of " +
                std::to_string(kMaxStates));
    // Line 3 is filler, whatever it holds.
    if (!in.skip())
        in.fail("the file ends after the state count (truncated)");
    return static_cast<std::uint32_t>(count);
}

// The texts of rates met before, with their values: a model has few distinct
// rates (or some thousands, where rates grow with a count of units), and finding
// a line among them costs a fraction of converting it. A text's slot is picked
// by a hash of its bytes; a text met there later replaces it. Only rates that
// passed every check are kept.
class RecentRates {
public:
    // The value of text if it is known.
    bool find(std::string_view text, double& value) const {
        if (text.size() > kLongest)
            return false;
        const Slot& s = slots_[slot(text)];
        if (s.length != text.size() || std::memcmp(s.text, text.data(), text.size()) != 0)
            return false;
        value = s.value;
        return true;
    }
    void add(std::string_view text, double value) {
        if (text.size() > kLongest)
            return;
        Slot& s = slots_[slot(text)];
        std::memcpy(s.text, text.data(), text.size());
        s.length = text.size();
        s.value = value;
    }

private:
    static constexpr unsigned kSlotBits = 12;
    static constexpr std::size_t kLongest = 32;
    struct Slot {
        char text[kLongest] = {};
        std::size_t length = kLongest + 1; // matches no text until filled
        double value = 0.0;
    };
    // A hash of the text's first and last eight bytes (all of them up to 16) and
    // its length.
    static std::size_t slot(std::string_view text) {
        std::uint64_t head = 0, tail = 0;
        if (text.size() >= 8) {
            std::memcpy(&head, text.data(), 8);
            std::memcpy(&tail, text.data() + text.size() - 8, 8);
        } else {
            std::memcpy(&head, text.data(), text.size());
        }
        const std::uint64_t h =
            (head * 0x9E3779B97F4A7C15ull ^ tail) * 0xC2B2AE3D27D4EB4Full ^ text.size();
        return static_cast<std::size_t>(h >> (64 - kSlotBits));
    }
    std::vector<Slot> slots_ = std::vector<Slot>(std::size_t{1} << kSlotBits);
};

[[noreturn]] void truncated(LineReader& in, std::uint64_t state, std::uint32_t states) {
    in.fail("the file ends inside the rows: row " + std::to_string(state) + " of " +
            std::to_string(states) + " is incomplete or missing (truncated)");
}

// Walks the rows of states first to last (from 1), calling entry(from, to, rate)
// for each transition (numbered from 0); after the last state's row, checks that
// nothing but blank lines follows. With ParseRates false the rate lines are only
// skipped and entry gets 0.
template <bool ParseRates, class Entry>
void walkRows(LineReader& in, std::uint32_t states, std::uint32_t first, std::uint32_t last,
              Entry&& entry) {
    std::string_view line;
    RecentRates recent;
    for (std::uint64_t i = first; i <= last; ++i) {
        std::uint64_t number = 0;
        if (!in.nextDigits(number)) {
            if (!in.next(line))
                truncated(in, i, states);
            if (!parseUnsigned(line, number))
                in.fail("expected the row of state " + std::to_string(i) + ", found " +
                        quote(line));
        }
        if (number != i)
            in.fail("row of state " + std::to_string(number) + " where the row of state " +
                    std::to_string(i) + " was expected");
        for (;;) {
            std::uint64_t to = 0;
            if (!in.nextDigits(to)) {
                if (!in.next(line))
                    truncated(in, i, states);
                if (!parseUnsigned(line, to))
                    in.fail("expected a target state or the row end 0 in the row of state " +
                            std::to_string(i) + ", found " + quote(line));
            }
            if (to == 0)
                break;
            if (to > states)
                in.fail("the row of state " + std::to_string(i) + " names state " +
                        std::to_string(to) + ", beyond the count of " + std::to_string(states) +
                        " states");
            double rate = 0.0;
            if constexpr (ParseRates) {
                if (!in.next(line))
                    truncated(in, i, states);
                const std::string_view text = trim(line);
                if (recent.find(text, rate)) {
                    entry(static_cast<std::uint32_t>(i - 1), static_cast<std::uint32_t>(to - 1),
                          rate);
                    continue;
                }
                if (!parseDouble(text, rate))
                    in.fail("the rate from state " + std::to_string(i) + " to " +
                            std::to_string(to) + " is not a number: " + quote(line));
                if (!std::isfinite(rate))
                    in.fail("the rate from state " + std::to_string(i) + " to " +
                            std::to_string(to) + " is not finite: " + quote(line));
                if (rate < 0.0)
                    in.fail("the rate from state " + std::to_string(i) + " to " +
                            std::to_string(to) + " is negative: " + quote(line) +
                            " (negative entries mark deterministic transitions, which this "
                            "solver does not handle)");
                recent.add(text, rate);
            } else if (!in.skip()) {
                truncated(in, i, states);
            }
            entry(static_cast<std::uint32_t>(i - 1), static_cast<std::uint32_t>(to - 1), rate);
        }
    }
    if (last != states)
        return;
    while (in.next(line))
        if (!trim(line).empty())
            in.fail("text after the row of the last state " + std::to_string(states) + ": " +
                    quote(line));
}

// Where the second of two parts starts: the row of state `row`, at byte
// `offset`, after `lines` lines of the file.
struct Cut {
    std::uint64_t offset = 0;
    std::uint32_t row = 0;
    std::uint64_t lines = 0;
};

// A guess at a cut near the middle of the file: the line after the first line
// "0" (a row's end) past the middle, read as the next row's number. Only a guess,
// since a rate written "0" by hand looks the same: the first part's walk
// confirms it by ending the row before exactly there.
bool guessCut(const std::string& path, std::uint64_t size, std::uint32_t states, Cut& cut) {
    LineReader in(path, 1 << 16);
    in.seek(size / 2, 0);
    in.skip(); // the rest of the line the middle falls in
    std::string_view line;
    for (int k = 0; k < 4096 && in.next(line); ++k) {
        if (trim(line) != "0")
            continue;
        const std::uint64_t at = in.offset();
        std::uint64_t row = 0;
        if (!in.next(line) || !parseUnsigned(line, row) || row < 2 || row > states)
            return false;
        cut.offset = at;
        cut.row = static_cast<std::uint32_t>(row);
        return true;
    }
    return false;
}

// The rows read in two parts side by side, cut at `cut`: a thread of its own
// counts, then fills, each part. The matrix is the one a single walk builds:
// in each state's entries the second part's transitions follow the first's.
// Where the cut is not confirmed (the first part does not end there, or the
// second part's walk fails), the first part's walk reads on through the rest,
// as a single walk does, and reports any fault at its line.
RateMatrix readInTwo(LineReader& in, const std::string& path, std::uint32_t states,
                     std::vector<Rewards>& rewards, const std::function<void()>& beside, Cut cut) {
    RateMatrix m;
    m.start.assign(std::size_t{states} + 1, 0);
    // Per state, the second part's transitions into it.
    std::vector<std::uint32_t> second(states, 0);
    bool confirmed = false;
    countBeside(beside, [&] {
        bool walked = false;
        std::thread other([&] {
            try {
                LineReader rest(path);
                rest.seek(cut.offset, 0);
                bool overflow = false;
                walkRows<false>(rest, states, cut.row, states,
                                [&](std::uint32_t from, std::uint32_t to, double) {
                                    if (from != to && ++second[to] == 0)
                                        overflow = true;
                                });
                walked = !overflow;
            } catch (...) {
                // The first part's walk reads on and meets the fault itself.
            }
        });
        auto count = [&](std::uint32_t from, std::uint32_t to, double) {
            if (from != to)
                ++m.start[std::size_t{to} + 1];
        };
        try {
            walkRows<false>(in, states, 1, cut.row - 1, count);
        } catch (...) {
            other.join();
            throw;
        }
        other.join();
        confirmed = walked && in.offset() == cut.offset;
        if (confirmed)
            cut.lines = in.line();
        else
            walkRows<false>(in, states, cut.row, states, count);
    });
    in.rewind();
    readHeader(in);
    if (!confirmed) {
        std::vector<std::uint32_t>().swap(second);
        fillMatrix(path, m, rewards,
                   [&](auto&& entry) { walkRows<true>(in, states, 1, states, entry); });
        return m;
    }

    // Each part's share of each state's entries: [next, end), next advancing as
    // the part fills it. m.start becomes the row starts.
    struct Span {
        std::uint64_t next, end;
    };
    std::vector<Span> firstSpans(states), secondSpans(states);
    std::uint64_t total = 0;
    for (std::uint32_t j = 0; j < states; ++j) {
        const std::uint64_t a = m.start[std::size_t{j} + 1], b = second[j];
        m.start[j] = total;
        firstSpans[j] = {total, total + a};
        secondSpans[j] = {total + a, total + a + b};
        total += a + b;
    }
    m.start[states] = total;
    std::vector<std::uint32_t>().swap(second);
    allocateEntries(m, total);
    m.exitRate.assign(states, 0.0);
    const std::vector<Rewards*> impulsive = impulsiveRewards(rewards, states);
    // The parts' sources are apart, so their exit and impulse rates are too.
    auto filler = [&](std::vector<Span>& spans) {
        return [&](std::uint32_t from, std::uint32_t to, double rate) {
            Span& span = spans[to];
            placeTransition(path, m, impulsive, from, to, rate, span.next, span.end);
        };
    };
    std::exception_ptr secondError;
    std::thread other([&] {
        try {
            LineReader rest(path);
            rest.seek(cut.offset, cut.lines);
            walkRows<true>(rest, states, cut.row, states, filler(secondSpans));
        } catch (...) {
            secondError = std::current_exception();
        }
    });
    try {
        // A fault of the first part comes first in the file.
        walkRows<true>(in, states, 1, cut.row - 1, filler(firstSpans));
        if (in.offset() != cut.offset)
            throw InputError(path, "the file changed while it was read");
    } catch (...) {
        other.join();
        throw;
    }
    other.join();
    if (secondError)
        std::rethrow_exception(secondError);
    for (std::uint32_t j = 0; j < states; ++j)
        if (firstSpans[j].next != firstSpans[j].end || secondSpans[j].next != secondSpans[j].end)
            throw InputError(path, "the file changed while it was read");
    finishMatrix(path, m, impulsive);
    return m;
}

} // namespace

std::uint32_t readArmStateCount(const std::string& path) {
    LineReader in(path, 1 << 16);
    return readHeader(in);
}

RateMatrix readArm(const std::string& path, std::uint32_t states, std::vector<Rewards>& rewards,
                   const std::function<void()>& beside, std::uint64_t twoPartsFrom) {
    LineReader in(path);
    if (readHeader(in) != states)
        in.fail("the state count changed while the file was read");
    // Every state has a row of at least four bytes (its number and the row end
    // 0, each on a line of its own). A count the file cannot hold is refused
    // before the matrix's per-state arrays are allocated for it: a truncated
    // file or a corrupted count must not end the run out of memory. The rewards
    // are read first, so that their fault is still the one reported.
    struct stat info {};
    if (::stat(path.c_str(), &info) == 0 &&
        static_cast<std::uint64_t>(info.st_size) / 4 < std::uint64_t{states}) {
        if (beside)
            beside();
        in.fail("the file's " + std::to_string(info.st_size) +
                " bytes cannot hold the rows of its " + std::to_string(states) +
                " states (truncated)");
    }
    Cut cut;
    if (sharedPool().threads() >= 2 && info.st_size > 0 &&
        static_cast<std::uint64_t>(info.st_size) >= twoPartsFrom &&
        guessCut(path, static_cast<std::uint64_t>(info.st_size), states, cut))
        return readInTwo(in, path, states, rewards, beside, cut);
    return rowsToMatrix(path, states, rewards, beside, [&](bool fill, auto&& entry) {
        if (!fill) {
            walkRows<false>(in, states, 1, states, entry);
            return;
        }
        in.rewind();
        readHeader(in);
        walkRows<true>(in, states, 1, states, entry);
    });
}

void walkArm(const std::string& path, std::uint32_t states, ArmEntry entry, void* context) {
    LineReader in(path);
    if (readHeader(in) != states)
        in.fail("the state count changed while the file was read");
    walkRows<true>(in, states, 1, states,
                   [entry, context](std::uint32_t from, std::uint32_t to, double rate) {
                       entry(context, from, to, rate);
                   });
}

} // namespace gensolver
