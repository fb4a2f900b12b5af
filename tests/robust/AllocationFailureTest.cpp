// Allocation failures of the framework's classes used on their own (without the
// driver's new-handler): each reports with its own message and ends the process
// with status 1. The death test's child first takes all the memory that a small
// address-space limit leaves, so that the next allocation fails.

#include "actions/BaseActionClass.h"
#include "base/Errors.h"
#include "base/List.h"
#include "ssg/DeterministicList.h"
#include "ssg/Queue.h"
#include "store/HybridHash.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/resource.h>
#include <unistd.h>

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

// Valgrind preloads its own allocator, which an address-space limit does not stop.
bool underValgrind() {
    const char* preload = std::getenv("LD_PRELOAD");
    return preload != nullptr && std::strstr(preload, "vgpreload") != nullptr;
}

const char* const memoryReport =
    "Insufficient Memory to allocate dynamic data structures from heap memory\n"
    "Exiting program...\n$";

// Limits the address space to what the process maps now plus `extra` bytes.
// Only for a death test's child.
void limitAddressSpace(rlim_t extra) {
    long pages = 0;
    if (std::FILE* statm = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(statm, "%ld", &pages) != 1)
            pages = 0;
        std::fclose(statm);
    }
    rlimit limit{};
    limit.rlim_cur = limit.rlim_max =
        static_cast<rlim_t>(pages) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + extra;
    setrlimit(RLIMIT_AS, &limit);
}

// Limits the address space to what the process maps now plus 8 MB and then takes
// those 8 MB, down to the smallest block, so that every later allocation fails.
// Only for a death test's child: the memory is never given back.
void exhaustMemory() {
    limitAddressSpace(8u << 20);
    // Each block is written once so that the compiler cannot leave the allocation out.
    for (std::size_t size = 1u << 20; size >= 8; size /= 2) {
        while (void* block = std::malloc(size))
            *static_cast<volatile char*>(block) = 0;
    }
}

class AllocationFailureTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (sanitized)
            GTEST_SKIP() << "the address sanitizer cannot run under an address-space limit";
        if (underValgrind())
            GTEST_SKIP() << "valgrind's allocator ignores the address-space limit";
    }
};

// Each allocation with a message of its own reaches it, also under the driver's
// new-handler (which gives the general report for every other allocation).
TEST_F(AllocationFailureTest, ListGrowthWritesItsLineBeforeTheFatalReport) {
    for (bool driverHandler : {false, true}) {
        EXPECT_EXIT(
            {
                if (driverHandler)
                    std::set_new_handler(MemoryAllocationError);
                List<int> list(1);
                int first = 1;
                int second = 2;
                list.append(&first);
                exhaustMemory();
                list.append(&second);
            },
            testing::ExitedWithCode(1),
            std::string("^!! Crtical error in List<C>::append\\(List\\*\\) do to insufficient "
                        "memory\\.\\.\\.exiting\n") +
                memoryReport)
            << driverHandler;
    }
}

TEST_F(AllocationFailureTest, RewardStructuresNameTheirOperation) {
    for (bool driverHandler : {false, true}) {
        EXPECT_EXIT(
            {
                if (driverHandler)
                    std::set_new_handler(MemoryAllocationError);
                BaseActionClass action;
                exhaustMemory();
                action.AllocatePVRateDS(64);
            },
            testing::ExitedWithCode(1),
            "^!! Memory allocation error in BaseActionClass::AllocatePVRateDS\\(\\)\n$")
            << driverHandler;
        EXPECT_EXIT(
            {
                if (driverHandler)
                    std::set_new_handler(MemoryAllocationError);
                BaseActionClass action;
                exhaustMemory();
                action.AllocatePVImpulseDS(64);
            },
            testing::ExitedWithCode(1),
            "^!! Memory allocation error in BaseActionClass::AllocatePVImpulseDS\\(\\)\n$")
            << driverHandler;
    }
}

TEST_F(AllocationFailureTest, StateStoreBlockThatCannotBeAllocated) {
    EXPECT_EXIT(
        {
            HybridHash store(nullptr, 8, 131071, 100000, 5, 128, 1.0); // no growth of the index
            char state[8] = {1};
            exhaustMemory();
            // Number 100000 is the first of the second block.
            store.Insert(state, 100000);
        },
        testing::ExitedWithCode(1), "^Error:  Unable to allocate memory\n$");
}

TEST_F(AllocationFailureTest, QueueWithoutRoomForItsSlots) {
    // This report goes to standard output; the child sends it to standard error,
    // where the death test looks, and drops its own standard error. The driver's
    // new-handler, which gives the general report, must not come first.
    for (bool driverHandler : {false, true}) {
        EXPECT_EXIT(
            {
                if (driverHandler)
                    std::set_new_handler(MemoryAllocationError);
                std::fflush(stdout);
                dup2(2, 1);
                exhaustMemory();
                Queue queue(4);
            },
            testing::ExitedWithCode(1), "^Error out of memory\n$")
            << driverHandler;
        EXPECT_EXIT(
            {
                if (driverHandler)
                    std::set_new_handler(MemoryAllocationError);
                Queue queue(0); // records without buffers: only the slot arrays grow
                exhaustMemory();
                state_struct record;
                record.number = 1;
                std::fflush(stdout);
                dup2(2, 1);
                int devNull = open("/dev/null", O_WRONLY);
                dup2(devNull, 2);
                for (;;)
                    queue.Enqueue(&record);
            },
            testing::ExitedWithCode(1), "^Error out of memory\n$")
            << driverHandler;
    }
}

TEST_F(AllocationFailureTest, EnablingListGrowthGivesTheFatalReport) {
    EXPECT_EXIT(
        {
            DeterministicList lists;
            lists.insertEnablingState(1, 1.0);
            lists.insertEnablingState(1, 2.0);
            exhaustMemory();
            lists.insertEnablingState(1, 3.0); // a third delay grows the array of groups
        },
        testing::ExitedWithCode(1), std::string("^") + memoryReport);
}

// Under an address-space limit the store reserves nothing ahead of need: the
// index grows by a fresh allocation, and no block is mapped ahead. Two growths
// and blocks of 1.5 MiB keep every number there too. The child's exit status
// says which check failed (0: none).
int fillStoreUnderAddressLimit() {
    limitAddressSpace(256u << 20);
    HybridHash store(nullptr, 16, 131071, 100000, 5, 2, 0.5, HybridHash::HomeHash::Mixed);
    auto vector = [](std::uint32_t n) {
        std::array<char, 16> v{};
        std::memcpy(v.data(), &n, sizeof n);
        std::memcpy(v.data() + 8, &n, sizeof n);
        return v;
    };
    const std::uint32_t count = 250000; // growths at 65536 and 196605
    for (std::uint32_t n = 1; n <= count; ++n) {
        if (store.FindOrInsert(vector(n).data(), n) != -1)
            return 2;
    }
    for (std::uint32_t n = 1; n <= count; ++n) {
        if (store.Lookup(vector(n).data()) != static_cast<long>(n) ||
            std::memcmp(store.StoredState(n), vector(n).data(), 16) != 0)
            return 3;
    }
    return store.getPrimeIndex() == 2 && store.getLastBlock() == 2 ? 0 : 4;
}

TEST_F(AllocationFailureTest, StateStoreUnderAnAddressLimitKeepsEveryNumber) {
    EXPECT_EXIT(std::exit(fillStoreUnderAddressLimit()), testing::ExitedWithCode(0), "");
}

TEST(StateStoreTest, ShrinkingIndexSizeIsRefused) {
    // A first index larger than the next size of the table: growing would shrink it.
    EXPECT_EXIT(
        {
            HybridHash store(nullptr, 8, 500000, 10, 5, 4, 1e-9);
            char state[8] = {1};
            store.Insert(state, 1);
        },
        testing::ExitedWithCode(1),
        "^Hash:  Error, there is a typo in the Hash Table, check \\.h file\n$");
}

} // namespace
