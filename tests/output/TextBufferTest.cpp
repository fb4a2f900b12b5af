#include "output/TextBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <limits>
#include <map>
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
// record (rows of rates have a test of their own), texts longer than a block,
// and more blocks than are in flight; a buffer flushed and written to again
// goes on where it stopped.
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
            // Several values at once: records of a few, and (every 700th) more
            // than a 256-byte block holds.
            double values[40];
            std::uint32_t count = i % 700 == 0 ? 40 : static_cast<std::uint32_t>(i % 11);
            for (std::uint32_t v = 0; v < count; ++v)
                values[v] = (i + v) * 0.37 - v;
            b.linesGeneral6(values, count);
            b.binaryDoubles(values, count);
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

// A row of rates comes out in ascending target order, each target's line
// followed by its rate's, and a closing 0, in both modes: rows recorded whole
// for the writer thread, rows longer than a block (written line by line),
// empty rows, and rows between other records so that the entries' alignment
// within a block varies.
TEST(TextBuffer, RateRowsComeOutInTargetOrder) {
    std::mt19937 random(3);
    std::vector<std::vector<TargetRate>> rows;
    for (std::uint32_t size : {0u, 1u, 2u, 7u, 15u, 16u, 17u, 40u, 300u, 3u}) {
        for (int repeat = 0; repeat < 20; ++repeat) {
            std::vector<TargetRate> row;
            for (std::uint32_t t = 0; t < size; ++t)
                row.push_back({(t * 7919u + static_cast<std::uint32_t>(repeat)) % 100000u + 1u,
                               (t + 1) / 3.0 + repeat});
            std::shuffle(row.begin(), row.end(), random);
            rows.push_back(row);
        }
    }
    std::ostringstream expected;
    expected << std::scientific << std::setprecision(10);
    for (std::size_t r = 0; r < rows.size(); ++r) {
        std::map<std::uint32_t, double> sorted;
        for (const TargetRate& entry : rows[r])
            sorted[entry.target] = entry.rate;
        if (r % 3 == 0)
            expected.write("ab", static_cast<std::streamsize>(r % 5 == 0 ? 1 : 2));
        for (const auto& [target, rate] : sorted)
            expected << target << '\n' << rate << '\n';
        expected << "0\n";
    }
    for (bool background : {false, true}) {
        std::ostringstream out;
        {
            // 256 bytes hold a row of up to 15 entries.
            TextBuffer buffer(out, nullptr, 256, background);
            for (std::size_t r = 0; r < rows.size(); ++r) {
                std::vector<TargetRate> row = rows[r];
                if (r % 3 == 0)
                    buffer.bytes("ab", r % 5 == 0 ? 1 : 2);
                buffer.rateRow(row.data(), static_cast<std::uint32_t>(row.size()));
            }
            EXPECT_TRUE(buffer.flush());
        }
        EXPECT_TRUE(out.str() == expected.str()) << (background ? "background" : "plain");
    }
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
