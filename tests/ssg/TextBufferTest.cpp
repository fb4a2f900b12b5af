#include "ssg/TextBuffer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

// to_chars must give the bytes of the stream formatting: scientific with
// precision 10 (.arm rates) and the default notation (.var rewards), whether
// formatted afresh or taken from the buffer's cache (hence two rounds). The
// values: hand-picked ones (ties of the last digit, the example model's rates,
// specials) and random bit patterns, magnitudes and short decimals.
TEST(TextBuffer, NumbersMatchTheStreamFormatting) {
    const double inf = std::numeric_limits<double>::infinity(), nan = std::nan("");
    const double max = std::numeric_limits<double>::max(), sum = 0.1 + 0.2;
    std::vector<double> values = {
        0.0,      -0.0,     0.5,       1e-7,          4.9999999999999996e-6,
        123456.5, 999999.5, 9.9999995, 1.00000000005, 2.50000000005e-3,
        sum,      1e100,    5e-324,    max,           inf,
        -inf,     nan,      -nan};
    std::mt19937_64 random(12345);
    std::uniform_real_distribution<double> mantissa(-10.0, 10.0);
    std::uniform_int_distribution<int> exponent(-30, 30);
    for (int i = 0; i < 5000; ++i) {
        std::uint64_t bits = random();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        values.push_back(value);
        values.push_back(mantissa(random) * std::pow(10.0, exponent(random)));
        values.push_back(static_cast<double>(random() % 100000000) / 1000.0);
    }
    std::ostringstream scientific, general, lines;
    scientific.setf(std::ios::scientific, std::ios::floatfield);
    scientific.precision(10);
    std::string expected;
    {
        TextBuffer buffer(lines);
        for (int round = 0; round < 2; ++round) {
            for (double value : values) {
                scientific.str("");
                general.str("");
                scientific << value;
                general << value;
                expected += scientific.str() + "\n" + general.str() + "\n";
                buffer.lineScientific10(value);
                buffer.lineGeneral6(value);
            }
        }
    }
    EXPECT_TRUE(lines.str() == expected);
    EXPECT_EQ(expected.substr(0, 20), "0.0000000000e+00\n0\n-");
}

} // namespace
