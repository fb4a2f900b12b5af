#include "distributions/LaggedFibonacci.h"

#include "base/Assert.h"

double ran_u[ranf_long_lag];
double ranf_arr_buf[ranf_quality];
double ranf_arr_sentinel = -1.0;
double* ranf_arr_ptr = &ranf_arr_sentinel;

namespace {

constexpr int KK = ranf_long_lag;
constexpr int LL = ranf_short_lag;
// Rounds of squaring that the bootstrap runs after the seed's bits are used up.
constexpr int TT = 70;
// Length of the bootstrap's polynomial workspace (the square of a degree-99 polynomial).
constexpr int workLength = 2 * KK - 1;
// The numbers are multiples of 2^-52 in [0, 1).
constexpr double ulp = 0x1p-52;

// (x + y) mod 1 for x, y in [0, 1).
double modSum(double x, double y) {
    const double sum = x + y;
    return sum - static_cast<int>(sum);
}

// The bootstrap computes x^e mod (x^100 + x^37 + 1) over GF(2) on the lowest
// bit of each entry of u, while the higher bits are carried along and mixed in.
// low[j] mirrors the lowest bit of u[j] (ulp or 0) so that it can be tested and
// toggled directly.
struct Bootstrap {
    double u[workLength];
    double low[workLength];

    void toggle(int j) { low[j] = ulp - low[j]; }

    // u = u^2: coefficient j moves to 2j; the odd positions get a zero lowest bit
    // and the higher bits of an even entry.
    void square() {
        for (int j = KK - 1; j > 0; --j) {
            u[j + j] = u[j];
            low[j + j] = low[j];
        }
        for (int j = workLength - 1; j > KK - LL; j -= 2) {
            const int odd = workLength - j;
            u[odd] = u[j] - low[j];
            low[odd] = 0.0;
        }
    }

    // Reduces the degrees 198 down to 100 with x^100 = x^37 + 1.
    void reduce() {
        for (int j = workLength - 1; j >= KK; --j) {
            if (low[j] == 0.0)
                continue;
            toggle(j - (KK - LL));
            u[j - (KK - LL)] = modSum(u[j - (KK - LL)], u[j]);
            toggle(j - KK);
            u[j - KK] = modSum(u[j - KK], u[j]);
        }
    }

    // u = u * x: shifts the coefficients up by one; the one shifted out of degree
    // 99 comes back at degree 0 and, when its bit is set, is added at degree 37.
    void multiplyByX() {
        for (int j = KK; j > 0; --j) {
            u[j] = u[j - 1];
            low[j] = low[j - 1];
        }
        u[0] = u[KK];
        low[0] = low[KK];
        if (low[KK] != 0.0) {
            toggle(LL);
            u[LL] = modSum(u[LL], u[KK]);
        }
    }
};

} // namespace

void ranf_start(long seed) {
    GEN_ASSERT(seed >= 0 && seed < (1L << 30), "LaggedFibonacci");
    Bootstrap b;
    // Fill u with the seed's bits, cyclically shifted one place per entry.
    double ss = 2.0 * ulp * static_cast<double>(seed + 2);
    for (int j = 0; j < KK; ++j) {
        b.u[j] = ss;
        b.low[j] = 0.0;
        ss += ss;
        if (ss >= 1.0)
            ss -= 1.0 - 2 * ulp;
    }
    for (int j = KK; j < workLength; ++j)
        b.u[j] = b.low[j] = 0.0;
    // Only u[1] has its lowest bit set: the polynomial starts as x.
    b.u[1] += ulp;
    b.low[1] = ulp;

    long s = seed;
    for (int t = TT - 1; t > 0;) {
        b.square();
        b.reduce();
        if (s & 1)
            b.multiplyByX();
        if (s != 0)
            s >>= 1;
        else
            --t;
    }
    for (int j = 0; j < LL; ++j)
        ran_u[j + KK - LL] = b.u[j];
    for (int j = LL; j < KK; ++j)
        ran_u[j - LL] = b.u[j];
}

void ranf_array(double* aa, int n) {
    GEN_ASSERT(n >= KK, "LaggedFibonacci");
    int j = 0;
    for (; j < KK; ++j)
        aa[j] = ran_u[j];
    for (; j < n; ++j)
        aa[j] = modSum(aa[j - KK], aa[j - LL]);
    int i = 0;
    for (; i < LL; ++i, ++j)
        ran_u[i] = modSum(aa[j - KK], aa[j - LL]);
    for (; i < KK; ++i, ++j)
        ran_u[i] = modSum(aa[j - KK], ran_u[i - LL]);
}

double ranf_arr_cycle() {
    ranf_array(ranf_arr_buf, ranf_quality);
    ranf_arr_buf[KK] = -1;
    ranf_arr_ptr = ranf_arr_buf + 1;
    return ranf_arr_buf[0];
}

double LaggedFibonacci::rnd() {
    // Shared by every instance, like ran_u itself.
    static int k = 0;
    if (k == KK) {
        k = 0;
        ranf_array(buffer, KK);
    }
    return buffer[k++];
}

void LaggedFibonacci::srnd(unsigned long s) {
    ranf_start(static_cast<long>(s));
    ranf_array(buffer, KK);
    ranf_array(buffer, KK);
}
