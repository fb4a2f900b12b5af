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

std::string streamScientific10(double value) {
    std::ostringstream out;
    out.setf(std::ios::scientific, std::ios::floatfield);
    out.precision(10);
    out << value;
    return out.str();
}

std::string streamDefault(double value) {
    std::ostringstream out;
    out << value;
    return out.str();
}

std::string bufferScientific10(double value) {
    char text[TextBuffer::MaxNumberLength];
    return std::string(text, TextBuffer::formatScientific10(text, value));
}

std::string bufferGeneral6(double value) {
    char text[TextBuffer::MaxNumberLength];
    return std::string(text, TextBuffer::formatGeneral6(text, value));
}

// Values across the whole range: hand-picked ones (ties of the last digit,
// powers of ten, the rates of the example model, specials) and random bit
// patterns and decimal magnitudes.
std::vector<double> sampleValues() {
    std::vector<double> values = {0.0,
                                  -0.0,
                                  0.5,
                                  0.25,
                                  1.0,
                                  1000.0,
                                  10000.0,
                                  1e-7,
                                  1e-6,
                                  4.9999999999999996e-6,
                                  5.999999999999999e-6,
                                  123456.5,
                                  1234565.0,
                                  999999.5,
                                  9.9999995,
                                  0.000123456789,
                                  1e100,
                                  1e-300,
                                  5e-324,
                                  std::numeric_limits<double>::max(),
                                  std::numeric_limits<double>::min(),
                                  std::numeric_limits<double>::infinity(),
                                  -std::numeric_limits<double>::infinity(),
                                  std::numeric_limits<double>::quiet_NaN(),
                                  -std::numeric_limits<double>::quiet_NaN(),
                                  1.00000000005,
                                  2.50000000005e-3,
                                  0.1 + 0.2};
    std::mt19937_64 random(12345);
    for (int i = 0; i < 20000; ++i) {
        std::uint64_t bits = random();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        values.push_back(value);
    }
    std::uniform_real_distribution<double> mantissa(-10.0, 10.0);
    std::uniform_int_distribution<int> exponent(-30, 30);
    for (int i = 0; i < 20000; ++i)
        values.push_back(mantissa(random) * std::pow(10.0, exponent(random)));
    // Short decimals, where the digit after the last one kept is often a 5.
    for (int i = 0; i < 20000; ++i)
        values.push_back(static_cast<double>(random() % 100000000) / 1000.0);
    return values;
}

TEST(TextBuffer, NumbersMatchTheStreamFormatting) {
    for (double value : sampleValues()) {
        ASSERT_EQ(bufferScientific10(value), streamScientific10(value)) << value;
        ASSERT_EQ(bufferGeneral6(value), streamDefault(value)) << value;
    }
    // The same through a buffer's lines, which keep recently formatted values:
    // twice over, so that values are both formatted and taken from the cache.
    std::ostringstream lines;
    std::string expected;
    {
        TextBuffer buffer(lines);
        for (int round = 0; round < 2; ++round) {
            for (double value : sampleValues()) {
                buffer.lineScientific10(value);
                buffer.lineGeneral6(value);
                expected += streamScientific10(value) + "\n" + streamDefault(value) + "\n";
            }
        }
    }
    EXPECT_TRUE(lines.str() == expected);
    EXPECT_EQ(bufferScientific10(0.25), "2.5000000000e-01");
    EXPECT_EQ(bufferGeneral6(1e-7), "1e-07");
    EXPECT_EQ(bufferGeneral6(123456.7), "123457");
}

TEST(TextBuffer, LinesAndBinaryValuesInOrder) {
    std::ostringstream out;
    {
        TextBuffer buffer(out, nullptr, 64); // small, so blocks are written out often
        for (int i = 0; i < 50; ++i) {
            buffer.line(i);
            buffer.lineScientific10(0.5);
            buffer.lineGeneral6(0.5);
        }
        buffer.binaryInt32(0x01020304);
        buffer.binaryDouble(1.0);
        buffer.text("end\n");
        EXPECT_TRUE(buffer.flush());
    }
    std::string expected;
    for (int i = 0; i < 50; ++i)
        expected += std::to_string(i) + "\n5.0000000000e-01\n0.5\n";
    expected += std::string("\x04\x03\x02\x01", 4);
    expected += std::string("\0\0\0\0\0\0\xf0\x3f", 8);
    expected += "end\n";
    EXPECT_EQ(out.str(), expected);
}

TEST(TextBuffer, FailedStreamIsReported) {
    std::ofstream closed; // never opened: every write fails
    TextBuffer buffer(closed);
    buffer.line(1);
    EXPECT_FALSE(buffer.flush());
}

TEST(TextBuffer, FailedWriteOfANamedFileEndsTheRun) {
    EXPECT_EXIT(
        {
            std::ofstream full("/dev/full", std::ios::binary);
            TextBuffer buffer(full, "/dev/full", 64);
            for (int i = 0; i < 100000; ++i)
                buffer.line(i);
            buffer.flush();
            full.flush();
            std::exit(full ? 0 : 2);
        },
        testing::ExitedWithCode(1), "^Error: Could not write file /dev/full\n$");
}

} // namespace
