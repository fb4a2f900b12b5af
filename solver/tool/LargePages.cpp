// The global new and delete of the solver's commands (gen-solve, gen-study): a
// block of 4 MiB or more is aligned to 2 MiB and the system is asked to back it
// with transparent huge pages.
//
// Why: a chain of millions of states fills arrays of hundreds of megabytes.
// Touched in 4 KiB pages, each page costs a fault and the system clears it one
// by one (on polling N = 16 the faults took 0.7 of the 1.9 CPU seconds of the
// read); and the sweeps and steps gather from vectors far larger than what the
// processor's address cache (TLB) maps in 4 KiB pages. Huge pages cut both.
// Where the system has no transparent huge pages the advice is ignored and the
// blocks are ordinary memory; values never depend on it.
//
// Blocks come from malloc (small) or posix_memalign (large) and all go back
// through free, so the pairs stay consistent for memory checkers. Under
// AddressSanitizer the replacement is left out: its own new and delete check
// that each block is freed the way it was allocated.

#include <cstddef>
#include <cstdlib>
#include <new>

#include <sys/mman.h>

#if !defined(__SANITIZE_ADDRESS__)

namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;
constexpr std::size_t kLarge = std::size_t{4} << 20;

void* allocate(std::size_t size) noexcept {
    if (size < kLarge)
        return std::malloc(size == 0 ? 1 : size);
    // Aligned, so that every whole 2 MiB of the block can be one huge page; the
    // size is not rounded up, so the block's tail keeps small pages and the
    // memory resident stays what the block needs.
    void* p = nullptr;
    if (::posix_memalign(&p, kHugePage, size) != 0)
        return nullptr;
    // Advice only: a system without huge pages refuses it, and the block is
    // used as it is.
    (void)::madvise(p, size, MADV_HUGEPAGE);
    return p;
}

void* allocateOrThrow(std::size_t size) {
    for (;;) {
        if (void* p = allocate(size))
            return p;
        const std::new_handler handler = std::get_new_handler();
        if (handler == nullptr)
            throw std::bad_alloc();
        handler();
    }
}

} // namespace

void* operator new(std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return allocateOrThrow(size);
    } catch (...) {
        return nullptr;
    }
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return allocateOrThrow(size);
    } catch (...) {
        return nullptr;
    }
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete[](void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
    std::free(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
    std::free(p);
}

#endif
