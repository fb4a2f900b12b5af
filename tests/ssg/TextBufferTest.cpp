#include "ssg/TextBuffer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

// Hand-picked values (ties of the last digit, the example model's rates,
// specials) and random bit patterns, magnitudes and short decimals.
std::vector<double> sampleValues() {
    using limits = std::numeric_limits<double>;
    std::vector<double> values = {0.0, -0.0, 0.5, 1e-7, 4.9999999999999996e-6, 123456.5, 999999.5,
                                  9.9999995, 1.00000000005, 2.50000000005e-3, 0.1 + 0.2, 1e100,
                                  5e-324, limits::max(), limits::infinity(), -limits::infinity(),
                                  limits::quiet_NaN(), -limits::quiet_NaN()};
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
    return values;
}

// to_chars must give the bytes of the stream formatting: scientific with
// precision 10 (.arm rates) and the default notation (.var rewards), whether
// formatted afresh or taken from the buffer's cache (hence two rounds).
TEST(TextBuffer, NumbersMatchTheStreamFormatting) {
    std::ostringstream scientific, general, lines;
    scientific.setf(std::ios::scientific, std::ios::floatfield);
    scientific.precision(10);
    std::string expected;
    {
        TextBuffer buffer(lines);
        for (int round = 0; round < 2; ++round) {
            for (double value : sampleValues()) {
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

TEST(TextBuffer, FailedWriteOfANamedFileEndsTheRun) {
    EXPECT_EXIT(
        {
            std::ofstream full("/dev/full", std::ios::binary);
            TextBuffer buffer(full, "/dev/full", 64);
            for (int i = 0; i < 100000; ++i)
                buffer.line(i);
            std::exit(buffer.flush() ? 0 : 2);
        },
        testing::ExitedWithCode(1), "^Error: Could not write file /dev/full\n$");
}

// Integers (state numbers, counts) as the stream writes them: every digit
// count's edges, the extremes, and random magnitudes of every length.
TEST(TextBuffer, IntegersMatchTheStreamFormatting) {
    std::vector<long long> values = {0,
                                     std::numeric_limits<long long>::min(),
                                     std::numeric_limits<long long>::max(),
                                     std::numeric_limits<std::uint32_t>::max(),
                                     std::numeric_limits<std::uint32_t>::max() + 1LL,
                                     std::numeric_limits<std::int32_t>::min()};
    long long power = 1;
    for (int digits = 1; digits <= 19; ++digits) {
        for (long long edge : {power - 1, power, power + 1})
            values.insert(values.end(), {edge, -edge});
        if (digits < 19)
            power *= 10;
    }
    std::mt19937_64 random(54321);
    for (int i = 0; i < 20000; ++i) {
        auto bits = static_cast<long long>(random());
        values.push_back(bits >> (random() % 64));
    }
    std::ostringstream stream, lines;
    {
        TextBuffer buffer(lines);
        for (long long value : values) {
            stream << value << '\n';
            buffer.line(value);
        }
    }
    EXPECT_TRUE(lines.str() == stream.str());
}

// The background mode writes the bytes of the synchronous one: every kind of
// record, texts longer than a block, and more blocks than are in flight; a
// buffer flushed and written to again goes on where it stopped.
TEST(TextBuffer, BackgroundWritingGivesTheSameBytes) {
    std::string longText(1000, 'x');
    for (std::size_t i = 0; i < longText.size(); ++i)
        longText[i] = static_cast<char>('a' + i % 26);
    auto fill = [&](TextBuffer& b, int round) {
        for (int i = 0; i < 3000; ++i) {
            b.line(i * 7919LL - round);
            b.lineScientific10(i / 7.0);
            b.lineGeneral6(i * 0.1);
            b.binaryInt32(-i);
            b.binaryDouble(i * 1.5);
            if (i % 500 == 0)
                b.text(longText.c_str());
        }
    };
    std::ostringstream plain, background;
    {
        TextBuffer a(plain, nullptr, 256);
        TextBuffer b(background, nullptr, 256, true);
        for (int round = 0; round < 2; ++round) {
            fill(a, round);
            fill(b, round);
            EXPECT_TRUE(a.flush());
            EXPECT_TRUE(b.flush());
            EXPECT_TRUE(background.str() == plain.str()) << "round " << round;
        }
    }
    EXPECT_TRUE(background.str() == plain.str());
    EXPECT_GT(plain.str().size(), 200000u);
}

TEST(TextBuffer, FailedBackgroundWriteOfANamedFileEndsTheRun) {
    EXPECT_EXIT(
        {
            std::ofstream full("/dev/full", std::ios::binary);
            TextBuffer buffer(full, "/dev/full", 64, true);
            for (int i = 0; i < 100000; ++i)
                buffer.line(i);
            std::exit(buffer.flush() ? 0 : 2);
        },
        testing::ExitedWithCode(1), "^Error: Could not write file /dev/full\n$");
}

} // namespace
