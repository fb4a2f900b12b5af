#include "store/ReservedSpace.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <unistd.h>

namespace {

constexpr std::size_t HugePage = std::size_t{2} << 20;

// The space starts on a huge-page boundary and holds its size rounded up to
// huge pages: what is committed within it can be written, and nothing past it
// can be committed; a space given back is gone.
TEST(ReservedSpace, CommitsWithinTheRoundedSizeOnly) {
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    ReservedSpace space;
    EXPECT_EQ(space.start(), nullptr);
    EXPECT_FALSE(space.commit(1));
    ASSERT_TRUE(space.reserve(HugePage + 1)); // two huge pages
    ASSERT_NE(space.start(), nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(space.start()) % HugePage, 0u);
    ASSERT_TRUE(space.commit(3 * page + 1)); // four pages
    std::memset(space.start(), 0x5A, 4 * page);
    EXPECT_TRUE(space.commit(2 * page)); // less than before: still usable
    EXPECT_EQ(space.start()[4 * page - 1], 0x5A);
    EXPECT_TRUE(space.commit(2 * HugePage));
    space.start()[2 * HugePage - 1] = 1;
    EXPECT_FALSE(space.commit(2 * HugePage + 1));
    space.release();
    EXPECT_EQ(space.start(), nullptr);
    EXPECT_FALSE(space.commit(1));
    ASSERT_TRUE(space.reserve(1)); // a released space can be reserved again
    EXPECT_TRUE(space.commit(HugePage));
    EXPECT_FALSE(space.commit(HugePage + 1));
}

// Clearing zeroes the bytes asked for: by hand exactly those, or by handing
// back whole pages, which zeroes the rest of the last page too.
TEST(ReservedSpace, ClearZeroesTheBytesAskedFor) {
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    for (bool givePagesBack : {false, true}) {
        ReservedSpace space;
        ASSERT_TRUE(space.reserve(3 * page));
        ASSERT_TRUE(space.commit(3 * page));
        unsigned char* bytes = space.start();
        std::memset(bytes, 0xAB, 3 * page);
        space.clear(page + 10, givePagesBack);
        std::size_t zeroed = givePagesBack ? 2 * page : page + 10;
        for (std::size_t i = 0; i < 3 * page; ++i)
            ASSERT_EQ(bytes[i], i < zeroed ? 0 : 0xAB) << i << (givePagesBack ? " given back" : "");
        bytes[0] = 7; // the pages stay usable
        EXPECT_EQ(bytes[0], 7);
    }
}

} // namespace
