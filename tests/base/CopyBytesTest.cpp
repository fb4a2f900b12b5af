#include "base/CopyBytes.h"

#include <gtest/gtest.h>

#include <array>

namespace {

// Every size up to past the last fixed-width case, at odd offsets: each byte
// of the source lands in its place (the overlapping moves of the middle sizes
// get no byte wrong) and no byte around the target is touched.
TEST(CopyBytesTest, CopiesExactlyTheBytesOfEverySizeAndNoneAround) {
    std::array<char, 160> source{};
    for (std::size_t i = 0; i < source.size(); ++i)
        source[i] = static_cast<char>(i * 7 + 1);
    for (std::size_t size = 0; size <= 80; ++size) {
        for (std::size_t offset : {0u, 1u, 3u}) {
            std::array<char, 160> target;
            target.fill('\x55');
            copyBytes(target.data() + 8 + offset, source.data() + offset, size);
            for (std::size_t i = 0; i < target.size(); ++i) {
                bool inside = i >= 8 + offset && i < 8 + offset + size;
                char expected = inside ? source[i - 8] : '\x55';
                ASSERT_EQ(target[i], expected)
                    << "size " << size << ", offset " << offset << ", byte " << i;
            }
        }
    }
}

} // namespace
