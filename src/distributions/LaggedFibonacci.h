#pragma once
// LaggedFibonacci: uniform numbers from the floating-point lagged Fibonacci
// generator x[n] = (x[n-100] + x[n-37]) mod 1, handed out in batches of 100.
// The generator state (ran_u) and the read position into the batch are shared,
// so every LaggedFibonacci object draws from one stream.

#include "distributions/RandomNumberGenerator.h"

// Long lag, short lag, and the batch size of ranf_arr_cycle.
inline constexpr int ranf_long_lag = 100;
inline constexpr int ranf_short_lag = 37;
inline constexpr int ranf_quality = 1009;

// The generator state: the last 100 numbers of the sequence.
extern double ran_u[ranf_long_lag];
// The batch that ranf_arr_cycle fills; ranf_arr_buf[100] becomes its end marker.
extern double ranf_arr_buf[ranf_quality];
// End marker (-1.0) that ranf_arr_ptr points at until the first cycle.
extern double ranf_arr_sentinel;
// Read position into ranf_arr_buf for callers of ranf_arr_cycle (not owned).
extern double* ranf_arr_ptr;

// Sets ran_u from a seed in 0 .. 2^30 - 1 (asserted; the seed is not masked).
void ranf_start(long seed);
// Writes the next n >= 100 numbers of the sequence to aa and advances ran_u.
void ranf_array(double* aa, int n);
// Refills ranf_arr_buf with 1009 numbers, marks position 100 with -1, points
// ranf_arr_ptr at its second element and returns its first.
double ranf_arr_cycle();

class LaggedFibonacci : public RandomNumberGenerator {
public:
    // The buffer starts zeroed: until srnd is called, the object hands out 0.0
    // up to the next batch refill of the shared stream.
    LaggedFibonacci() = default;
    ~LaggedFibonacci() override = default;
    LaggedFibonacci(const LaggedFibonacci&) = delete;
    LaggedFibonacci& operator=(const LaggedFibonacci&) = delete;

    // Next number of the current batch; on the 101st call a new batch is drawn.
    double rnd() override;
    // Re-seeds the shared state and fills the buffer twice; the shared read
    // position is left where it is.
    void srnd(unsigned long s) override;

private:
    double buffer[ranf_long_lag] = {}; // the current batch
};
