// PartWriter: the bytes of a part, read back by hand from the layout that
// docs/file-formats.md gives (header, R and V entries, E trailer, completion
// mark), and the guarantees around them: values rounded to the text digits,
// ascending states, and no completion mark before finish().

#include "output/PartWriter.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

namespace {

using testsupport::readFile;
using testsupport::TempDir;

template <class T> T at(const std::string& bytes, std::size_t offset) {
    T value{};
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

TEST(PartWriterTest, WritesHeaderEntriesTrailerAndMarkInTheDocumentedLayout) {
    TempDir dir;
    PartWriter w;
    w.open(dir.path() + "run", 1, 3, 1, 0x1122334455667788ull);
    EXPECT_EQ(w.fileName(), dir.path() + "run.rows.1");
    const std::uint32_t targets[] = {2, 5};
    const double rates[] = {1.0 / 3.0, 2.5};
    const double record[] = {0.0, 1.0 / 3.0}; // impulse 0, rate reward 1/3
    w.record(4, record);
    w.row(4, targets, rates, 2);
    w.row(7, nullptr, nullptr, 0); // an absorbing state
    w.finish(9);

    const std::string b = readFile(dir.path() + "run.rows.1");
    // 48 header + row (1 + 4 + 4 + 2 x 12) + row (9) + record (1 + 4 + 16) + trailer 17.
    ASSERT_EQ(b.size(), 48u + 33u + 9u + 21u + 17u);
    EXPECT_EQ(b.substr(0, 8), std::string("GENROWS\0", 8));
    EXPECT_EQ(at<std::uint32_t>(b, 8), 1u);  // version
    EXPECT_EQ(at<std::uint32_t>(b, 12), 1u); // part
    EXPECT_EQ(at<std::uint32_t>(b, 16), 3u); // parts
    EXPECT_EQ(at<std::uint32_t>(b, 20), 1u); // variables
    EXPECT_EQ(at<std::uint64_t>(b, 24), 0x1122334455667788ull);
    EXPECT_EQ(at<std::uint64_t>(b, 32), 9u);
    EXPECT_EQ(b.substr(40, 4), "DONE");

    std::size_t p = 48;
    EXPECT_EQ(b[p], 'V');
    EXPECT_EQ(at<std::uint32_t>(b, p + 1), 4u);
    EXPECT_EQ(at<double>(b, p + 5), 0.0);
    // %g keeps six digits: the record holds 0.333333, as .var would.
    EXPECT_EQ(at<double>(b, p + 13), 0.333333);
    p += 21;
    EXPECT_EQ(b[p], 'R');
    EXPECT_EQ(at<std::uint32_t>(b, p + 1), 4u);
    EXPECT_EQ(at<std::uint32_t>(b, p + 5), 2u);
    EXPECT_EQ(at<std::uint32_t>(b, p + 9), 2u);
    // %.10e keeps eleven digits: 3.3333333333e-01.
    EXPECT_EQ(at<double>(b, p + 13), 3.3333333333e-01);
    EXPECT_EQ(at<std::uint32_t>(b, p + 21), 5u);
    EXPECT_EQ(at<double>(b, p + 25), 2.5);
    p += 33;
    EXPECT_EQ(b[p], 'R');
    EXPECT_EQ(at<std::uint32_t>(b, p + 1), 7u);
    EXPECT_EQ(at<std::uint32_t>(b, p + 5), 0u);
    p += 9;
    EXPECT_EQ(b[p], 'E');
    EXPECT_EQ(at<std::uint64_t>(b, p + 1), 2u); // rows
    EXPECT_EQ(at<std::uint64_t>(b, p + 9), 1u); // records
}

TEST(PartWriterTest, APartNotFinishedCarriesNoCompletionMark) {
    TempDir dir;
    {
        PartWriter w;
        w.open(dir.path() + "cut", 0, 1, 0, 7);
        const std::uint32_t target = 1;
        const double rate = 1.0;
        w.row(1, &target, &rate, 1);
        // Destroyed without finish(), as when the run dies.
    }
    // Whatever reached the file, it holds no mark (and no count).
    const std::string b = readFile(dir.path() + "cut.rows.0");
    if (b.size() >= 48) {
        EXPECT_EQ(at<std::uint32_t>(b, 40), 0u);
        EXPECT_EQ(at<std::uint64_t>(b, 32), 0u);
    }
    EXPECT_EQ(b.find("DONE"), std::string::npos);
}

TEST(PartWriterTest, RefusesStatesOutOfOrderAndPartsThatDoNotExist) {
    TempDir dir;
    PartWriter w;
    EXPECT_THROW(w.open(dir.path() + "x", 2, 2, 0, 1), std::invalid_argument);
    w.open(dir.path() + "x", 0, 1, 1, 1);
    const double pair[] = {0.0, 1.0};
    w.row(3, nullptr, nullptr, 0);
    EXPECT_THROW(w.row(3, nullptr, nullptr, 0), std::logic_error);
    w.record(2, pair);
    EXPECT_THROW(w.record(1, pair), std::logic_error);
}

TEST(PartWriterTest, ReportsAFileThatCannotBeCreatedByName) {
    PartWriter w;
    try {
        w.open("/nonexistent-folder/run", 0, 1, 0, 1);
        FAIL() << "no error";
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find("/nonexistent-folder/run.rows.0"), std::string::npos);
    }
}

TEST(PartWriterTest, RunIdentifiersDiffer) {
    EXPECT_NE(PartWriter::newRunId(), PartWriter::newRunId());
}

} // namespace
