// The reader's quick path for lines of digits: it takes exactly the lines that
// are nothing but 1 to 19 digits, wherever their line feeds fall against the
// buffer, reads their values, and leaves every other line to the slow path
// whole; and a whole number read that way converts to the double its text does.

#include "read/LineReader.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace {

using gensolver::LineReader;

bool allDigits(std::string_view s) {
    if (s.empty() || s.size() > 19)
        return false;
    for (const char c : s)
        if (c < '0' || c > '9')
            return false;
    return true;
}

TEST(LineReader, DigitLinesTakeTheQuickPathAndOthersAreLeftWhole) {
    // Lines of every kind, long enough together to pass through a 64-byte buffer
    // many times with their line feeds at every offset; the last has none.
    std::mt19937_64 random(7);
    const std::vector<std::string> odd = {"",      " 12",  "12 ",  "12\r", "+5",  "-3",
                                          "1e5",   "0.5",  "00",   "007",  "x",   "4 4",
                                          "18446744073709551616", "99999999999999999999"};
    std::string text;
    std::vector<std::string> lines;
    for (int k = 0; k < 3000; ++k) {
        std::string line;
        if (random() % 3 == 0) {
            line = odd[random() % odd.size()];
        } else {
            const std::size_t digits = 1 + random() % 21;
            for (std::size_t d = 0; d < digits; ++d)
                line += static_cast<char>('0' + random() % 10);
        }
        lines.push_back(line);
        text += line + "\n";
    }
    text += "123"; // no line feed
    lines.push_back("123");
    testsupport::TempDir dir;
    const std::string path = dir.path() + "lines";
    std::ofstream(path, std::ios::binary) << text;

    LineReader in(path, 64);
    std::size_t quick = 0;
    for (std::size_t k = 0; k < lines.size(); ++k) {
        SCOPED_TRACE(k);
        std::uint64_t value = 0;
        std::string_view line;
        if (in.nextDigits(value)) {
            ++quick;
            ASSERT_TRUE(allDigits(lines[k])) << lines[k];
            std::uint64_t expected = 0;
            ASSERT_TRUE(gensolver::parseUnsigned(lines[k], expected));
            EXPECT_EQ(value, expected);
        } else {
            ASSERT_TRUE(in.next(line));
            EXPECT_EQ(line, lines[k]);
        }
        EXPECT_EQ(in.line(), k + 1);
    }
    std::uint64_t value = 0;
    std::string_view line;
    EXPECT_FALSE(in.nextDigits(value));
    EXPECT_FALSE(in.next(line));
    // Most digit lines fit the buffer whole and are read the quick way.
    EXPECT_GT(quick, lines.size() / 3);
}

TEST(LineReader, WholeNumbersConvertAsTheirTextDoes) {
    // Beyond 2^53 a whole number rounds: its conversion must round as the text's.
    std::mt19937_64 random(11);
    std::vector<std::uint64_t> numbers = {0, 1, 9007199254740993ull, 9007199254740995ull,
                                          9999999999999999999ull, 1234567890123456789ull};
    for (int k = 0; k < 2000; ++k)
        numbers.push_back(random() % 10000000000000000000ull);
    for (const std::uint64_t n : numbers) {
        double fromText = -1.0;
        ASSERT_TRUE(gensolver::parseDouble(std::to_string(n), fromText));
        EXPECT_EQ(std::bit_cast<std::uint64_t>(static_cast<double>(n)),
                  std::bit_cast<std::uint64_t>(fromText))
            << n;
    }
}

} // namespace
