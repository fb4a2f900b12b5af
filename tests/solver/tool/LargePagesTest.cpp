// The commands' global new and delete (linked into this test as into gen-solve):
// large blocks are aligned for huge pages and advised so, and failures keep the
// contract of new: the new handler first, then bad_alloc, or null without throwing.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <memory>
#include <new>
#include <sstream>
#include <string>

namespace {

// AddressSanitizer keeps its own new and delete; Valgrind preloads its own
// allocator, which places blocks itself and turns a failed huge request into an
// error of its own. Both leave nothing of the replacement to test.
bool ownAllocator() {
#if defined(__SANITIZE_ADDRESS__)
    return true;
#else
    const char* preload = std::getenv("LD_PRELOAD");
    return preload != nullptr && std::strstr(preload, "vgpreload") != nullptr;
#endif
}

// The system's setting of transparent huge pages ("always", "madvise" or "never").
std::string hugePageSetting() {
    std::ifstream in("/sys/kernel/mm/transparent_hugepage/enabled");
    std::string all;
    std::getline(in, all);
    const auto open = all.find('['), close = all.find(']');
    return open == std::string::npos || close == std::string::npos
               ? std::string()
               : all.substr(open + 1, close - open - 1);
}

// The THPeligible line of the mapping of /proc/self/smaps that holds address a
// (-1 when the kernel does not say).
int hugePageEligible(const void* a) {
    const auto at = reinterpret_cast<std::uintptr_t>(a);
    std::ifstream in("/proc/self/smaps");
    std::string line;
    bool inside = false;
    while (std::getline(in, line)) {
        unsigned long long begin = 0, end = 0;
        if (std::sscanf(line.c_str(), "%llx-%llx ", &begin, &end) == 2 &&
            line.find(':') > line.find(' ')) {
            inside = begin <= at && at < end;
            continue;
        }
        int eligible = 0;
        if (inside && std::sscanf(line.c_str(), "THPeligible: %d", &eligible) == 1)
            return eligible;
    }
    return -1;
}

TEST(LargePagesTest, LargeBlocksAreAlignedAndAdvisedForHugePagesSmallOnesAreNot) {
    if (ownAllocator())
        GTEST_SKIP() << "a sanitizer's or Valgrind's allocator is used";
    const std::size_t large = std::size_t{6} << 20;
    std::unique_ptr<char[]> block(new char[large]);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block.get()) % (std::size_t{2} << 20), 0u);
    block[0] = 1;
    block[large - 1] = 1;
    const std::string setting = hugePageSetting();
    if (setting != "madvise" && setting != "always")
        GTEST_SKIP() << "no transparent huge pages here (" << setting << ")";
    const int eligible = hugePageEligible(block.get());
    if (eligible < 0)
        GTEST_SKIP() << "the kernel does not report THPeligible";
    EXPECT_EQ(eligible, 1);
    // Under "madvise" a small block is left to the system's default.
    if (setting == "madvise") {
        std::unique_ptr<char[]> small(new char[1 << 20]);
        small[0] = 1;
        EXPECT_EQ(hugePageEligible(small.get()), 0);
    }
}

int handlerCalls = 0;
void countingHandler() {
    // The second call gives up, so that new then throws.
    if (++handlerCalls == 2)
        std::set_new_handler(nullptr);
}

TEST(LargePagesTest, AnImpossibleSizeCallsTheHandlerThenThrowsOrGivesNull) {
    if (ownAllocator())
        GTEST_SKIP() << "a sanitizer's or Valgrind's allocator is used";
    // A size the system cannot map.
    const std::size_t impossible = std::numeric_limits<std::size_t>::max() / 2;
    handlerCalls = 0;
    std::set_new_handler(countingHandler);
    EXPECT_THROW((void)::operator new(impossible), std::bad_alloc);
    EXPECT_EQ(handlerCalls, 2);
    std::set_new_handler(nullptr);
    EXPECT_EQ(::operator new(impossible, std::nothrow), nullptr);
    EXPECT_EQ(::operator new[](impossible, std::nothrow), nullptr);
    EXPECT_THROW((void)::operator new[](impossible), std::bad_alloc);
    // A zero-sized request is still a distinct block.
    void* a = ::operator new(0);
    void* b = ::operator new(0);
    EXPECT_NE(a, nullptr);
    EXPECT_NE(a, b);
    ::operator delete(a);
    ::operator delete(b);
}

} // namespace
