// pollingFloor: the hand-written floor of the benchmark. A minimal generator
// for the polling model (examples/polling) that writes the same .arm bytes as
// gen-polling, with nothing that a general generator needs: the state is one
// 64-bit word (a bit per station, the server's position, the serving flag),
// the successors are computed inline, the store is one open-addressing table,
// and the frontier is the list of states in number order. It writes no .var
// or .pvtype file. Standard library only.
//
//   polling-floor <N> <file.arm>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

// The state word: bit i (from 0) set when station i + 1 holds a job; the
// server's position minus 1 from bit ServerShift; the serving flag above it.
constexpr int ServerShift = 40;
constexpr int MaxStations = ServerShift;
constexpr std::uint64_t ServingBit = std::uint64_t{1} << 63;

// Every state number, by state word: linear probing, at most half full.
class Store {
public:
    Store() : Keys(1u << 16, 0), Numbers(1u << 16, 0), Mask((1u << 16) - 1) {}

    // The number of `key`, or 0 when it is new (it then gets `next`).
    std::uint32_t findOrAdd(std::uint64_t key, std::uint32_t next) {
        std::uint64_t stored = key + 1; // 0 marks an empty slot
        for (std::size_t i = slot(stored);; i = (i + 1) & Mask) {
            if (Keys[i] == stored)
                return Numbers[i];
            if (Keys[i] == 0) {
                Keys[i] = stored;
                Numbers[i] = next;
                if (++Count * 2 > Keys.size())
                    grow();
                return 0;
            }
        }
    }

private:
    std::size_t slot(std::uint64_t stored) const {
        return static_cast<std::size_t>((stored * 0x9E3779B97F4A7C15ULL) >> 20) & Mask;
    }
    void grow() {
        std::vector<std::uint64_t> keys(Keys.size() * 2, 0);
        std::vector<std::uint32_t> numbers(Keys.size() * 2, 0);
        Mask = keys.size() - 1;
        for (std::size_t j = 0; j < Keys.size(); ++j) {
            if (Keys[j] == 0)
                continue;
            std::size_t i = slot(Keys[j]);
            while (keys[i] != 0)
                i = (i + 1) & Mask;
            keys[i] = Keys[j];
            numbers[i] = Numbers[j];
        }
        Keys.swap(keys);
        Numbers.swap(numbers);
    }

    std::vector<std::uint64_t> Keys;
    std::vector<std::uint32_t> Numbers;
    std::size_t Mask;
    std::size_t Count = 0;
};

// The .arm text, written in large blocks.
class Output {
public:
    static constexpr std::size_t Capacity = 1 << 20;
    explicit Output(std::FILE* file) : File(file), Data(new char[Capacity]), Position(Data.get()) {}
    void number(std::uint32_t value) {
        reserve(16);
        Position = std::to_chars(Position, Position + 16, value).ptr;
        *Position++ = '\n';
    }
    void text(const std::string& text) {
        reserve(text.size());
        std::memcpy(Position, text.data(), text.size());
        Position += text.size();
    }
    bool flush() {
        std::size_t length = static_cast<std::size_t>(Position - Data.get());
        Position = Data.get();
        return std::fwrite(Data.get(), 1, length, File) == length;
    }

private:
    void reserve(std::size_t length) {
        if (static_cast<std::size_t>(Data.get() + Capacity - Position) < length && !flush()) {
            std::fprintf(stderr, "polling-floor: could not write the .arm file\n");
            std::exit(1);
        }
    }
    std::FILE* File;
    std::unique_ptr<char[]> Data;
    char* Position;
};

// A rate as the .arm file writes it (scientific, 10 digits), with its line end.
std::string rateLine(double rate) {
    char text[64];
    char* end =
        std::to_chars(text, text + sizeof text, rate, std::chars_format::scientific, 10).ptr;
    *end++ = '\n';
    return std::string(text, end);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: polling-floor <N> <file.arm>\n");
        return 2;
    }
    const int n = std::atoi(argv[1]);
    if (n < 1 || n > MaxStations) {
        std::fprintf(stderr, "polling-floor: N must be 1 .. %d\n", MaxStations);
        return 2;
    }
    std::FILE* file = std::fopen(argv[2], "wb");
    if (file == nullptr) {
        std::fprintf(stderr, "polling-floor: could not open %s\n", argv[2]);
        return 1;
    }

    // The model's rates, and the order of its activities: arrival1 .. arrivalN, skip, start, serve.
    const double arrivalRate = 1.0 / n;
    const std::string arrival = rateLine(arrivalRate), fast = rateLine(200.0),
                      serve = rateLine(1.0);
    struct Entry {
        std::uint32_t target;
        const std::string* rate;
    };
    std::vector<Entry> row;

    Output out(file);
    out.text("1\n" + std::string(63, ' ') + "\n");
    Store store;
    std::vector<std::uint64_t> states{0}; // state 1: no jobs, server at station 1, polling
    store.findOrAdd(0, 1);
    const std::uint64_t stationMask = (std::uint64_t{1} << n) - 1;
    for (std::size_t explored = 0; explored < states.size(); ++explored) {
        const std::uint64_t s = states[explored];
        const std::uint64_t jobs = s & stationMask;
        const int server = static_cast<int>((s >> ServerShift) & 0xFFFF); // from 0
        const bool serving = (s & ServingBit) != 0;
        const std::uint64_t next = (static_cast<std::uint64_t>((server + 1) % n)) << ServerShift;
        row.clear();
        auto reach = [&](std::uint64_t target, const std::string* rate) {
            std::uint32_t number =
                store.findOrAdd(target, static_cast<std::uint32_t>(states.size() + 1));
            if (number == 0) {
                states.push_back(target);
                number = static_cast<std::uint32_t>(states.size());
            }
            row.push_back(Entry{number, rate});
        };
        for (int i = 0; i < n; ++i)
            if ((jobs >> i & 1) == 0)
                reach(s | std::uint64_t{1} << i, &arrival);
        const bool visitedHasJob = (jobs >> server & 1) != 0;
        if (!serving && !visitedHasJob)
            reach(jobs | next, &fast); // skip
        if (!serving && visitedHasJob)
            reach(s | ServingBit, &fast); // start
        if (serving)
            reach((jobs & ~(std::uint64_t{1} << server)) | next, &serve); // serve

        // Every successor of this model is a different state, so the row is the
        // successors in ascending number.
        std::sort(row.begin(), row.end(),
                  [](const Entry& a, const Entry& b) { return a.target < b.target; });
        out.number(static_cast<std::uint32_t>(explored + 1));
        for (const Entry& e : row) {
            out.number(e.target);
            out.text(*e.rate);
        }
        out.number(0);
    }
    if (!out.flush()) {
        std::fprintf(stderr, "polling-floor: could not write the .arm file\n");
        return 1;
    }
    char header[32];
    int length = std::snprintf(header, sizeof header, "1\n%zu\n", states.size());
    if (std::fseek(file, 0, SEEK_SET) != 0 ||
        std::fwrite(header, 1, static_cast<std::size_t>(length), file) !=
            static_cast<std::size_t>(length) ||
        std::fclose(file) != 0) {
        std::fprintf(stderr, "polling-floor: could not write the .arm file\n");
        return 1;
    }
    return 0;
}
