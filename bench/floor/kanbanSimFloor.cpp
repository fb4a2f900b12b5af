// kanbanSimFloor: the hand-written floor of the simulator's benchmark. It
// simulates the kanban model of models/kanban (N cards per station) directly:
// the marking is an array of sixteen counters, the sixteen exponential
// activities are written out as code, and each step draws the holding time from
// the total rate of the enabled activities and picks the one that completes in
// proportion to its rate, which is the same process as the race of exponential
// delays that gen-kanban-sim runs. Each replication runs to time 10 and samples
// the five instant-of-time rewards there. Standard library only.
//
//   kanban-sim-floor <N> <replications>
//
// Prints the events (completions) simulated and each reward's mean.

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

// xoshiro256** seeded through splitmix64, as the simulator's streams are.
class Stream {
public:
    explicit Stream(std::uint64_t seed) {
        for (std::uint64_t& word : State)
            word = splitmix(seed);
    }
    // Uniform on (0, 1): the centre of one of 2^53 equal cells.
    double next() {
        std::uint64_t result = rotl(State[1] * 5, 7) * 9;
        std::uint64_t t = State[1] << 17;
        State[2] ^= State[0];
        State[3] ^= State[1];
        State[1] ^= State[2];
        State[0] ^= State[3];
        State[2] ^= t;
        State[3] = rotl(State[3], 45);
        return (static_cast<double>(result >> 11) + 0.5) * 0x1.0p-53;
    }

private:
    static std::uint64_t splitmix(std::uint64_t& x) {
        x += 0x9E3779B97F4A7C15ULL;
        std::uint64_t z = x;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
        return z ^ (z >> 31);
    }
    static std::uint64_t rotl(std::uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }

    std::uint64_t State[4];
};

// The places, four per station s = 0 .. 3: Pm, Pback, Pkan, Pout.
enum Place { Pm = 0, Pback = 1, Pkan = 2, Pout = 3 };
int at(int station, Place p) {
    return 4 * station + p;
}

// One station's machining activities and the three transfers, in the model
// file's order: tin1, then per station tredo, tok, tback, then tsynch1_23,
// tsynch23_4 and tout4.
constexpr int NumActivities = 16;
constexpr double Redo = 0.36, Ok = 0.84, Back = 0.3;

struct Kanban {
    std::array<int, 16> m{};

    // The rate of every activity in the present marking (0: disabled).
    void rates(double* r) const {
        r[0] = m[at(0, Pkan)] > 0 ? 1.0 : 0.0;
        for (int s = 0; s < 4; ++s) {
            bool machining = m[at(s, Pm)] > 0;
            r[1 + 3 * s] = machining ? Redo : 0.0;
            r[2 + 3 * s] = machining ? Ok : 0.0;
            r[3 + 3 * s] = m[at(s, Pback)] > 0 ? Back : 0.0;
        }
        r[13] = m[at(0, Pout)] > 0 && m[at(1, Pkan)] > 0 && m[at(2, Pkan)] > 0 ? 0.4 : 0.0;
        r[14] = m[at(1, Pout)] > 0 && m[at(2, Pout)] > 0 && m[at(3, Pkan)] > 0 ? 0.5 : 0.0;
        r[15] = m[at(3, Pout)] > 0 ? 0.9 : 0.0;
    }

    void fire(int a) {
        if (a == 0) {
            --m[at(0, Pkan)];
            ++m[at(0, Pm)];
        } else if (a <= 12) {
            int s = (a - 1) / 3;
            switch ((a - 1) % 3) {
            case 0:
                --m[at(s, Pm)];
                ++m[at(s, Pback)];
                break;
            case 1:
                --m[at(s, Pm)];
                ++m[at(s, Pout)];
                break;
            default:
                --m[at(s, Pback)];
                ++m[at(s, Pm)];
                break;
            }
        } else if (a == 13) {
            --m[at(0, Pout)];
            --m[at(1, Pkan)];
            --m[at(2, Pkan)];
            ++m[at(0, Pkan)];
            ++m[at(1, Pm)];
            ++m[at(2, Pm)];
        } else if (a == 14) {
            --m[at(1, Pout)];
            --m[at(2, Pout)];
            --m[at(3, Pkan)];
            ++m[at(1, Pkan)];
            ++m[at(2, Pkan)];
            ++m[at(3, Pm)];
        } else {
            --m[at(3, Pout)];
            ++m[at(3, Pkan)];
        }
    }
};

bool toCount(const char* text, std::uint64_t& value) {
    const char* end = text + std::strlen(text);
    auto r = std::from_chars(text, end, value);
    return r.ec == std::errc() && r.ptr == end && end != text;
}

} // namespace

int main(int argc, char** argv) {
    std::uint64_t n = 0, replications = 0;
    if (argc != 3 || !toCount(argv[1], n) || n < 1 || n > 1000 || !toCount(argv[2], replications) ||
        replications < 1) {
        std::fprintf(stderr, "usage: kanban-sim-floor <N from 1 to 1000> <replications>\n");
        return 1;
    }
    constexpr double Horizon = 10.0;
    Stream stream(1);
    std::uint64_t events = 0;
    double sums[5] = {0, 0, 0, 0, 0};
    double r[NumActivities];
    for (std::uint64_t rep = 0; rep < replications; ++rep) {
        Kanban k;
        for (int s = 0; s < 4; ++s)
            k.m[at(s, Pkan)] = static_cast<int>(n);
        double now = 0.0;
        for (;;) {
            k.rates(r);
            double total = 0.0;
            for (double x : r)
                total += x;
            double when = now - std::log(stream.next()) / total;
            if (when > Horizon)
                break;
            now = when;
            double target = total * stream.next();
            int a = 0;
            for (double sum = r[0]; a + 1 < NumActivities && target >= sum; sum += r[++a]) {
            }
            while (r[a] == 0.0)
                --a;
            k.fire(a);
            ++events;
        }
        for (int s = 0; s < 4; ++s)
            sums[s] += k.m[at(s, Pm)] + k.m[at(s, Pback)] + k.m[at(s, Pout)];
        sums[4] += k.m[at(0, Pkan)] + k.m[at(1, Pkan)] + k.m[at(2, Pkan)] + k.m[at(3, Pkan)];
    }
    double count = static_cast<double>(replications);
    std::printf("%llu events; wip1 %.4f wip2 %.4f wip3 %.4f wip4 %.4f free_kanbans %.4f\n",
                static_cast<unsigned long long>(events), sums[0] / count, sums[1] / count,
                sums[2] / count, sums[3] / count, sums[4] / count);
    return 0;
}
