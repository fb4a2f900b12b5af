#include "store/ReservedSpace.h"

#include "base/Assert.h"
#include "store/Pages.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

using pages::HugePage;
using pages::roundUp;

bool ReservedSpace::reserve(std::size_t bytes) {
    GEN_ASSERT(Map == nullptr, "ReservedSpace");
    bytes = roundUp(bytes, HugePage);
    long physical = sysconf(_SC_PHYS_PAGES);
    if (physical > 0)
        bytes = std::min(bytes,
                         roundUp(static_cast<std::size_t>(physical) * pages::pageSize(), HugePage));
    void* mapping = mmap(nullptr, bytes + HugePage, PROT_NONE,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mapping == MAP_FAILED)
        return false;
    Map = static_cast<unsigned char*>(mapping);
    std::uintptr_t start = reinterpret_cast<std::uintptr_t>(Map);
    Start = Map + (roundUp(start, HugePage) - start);
    Bytes = bytes;
    return true;
}

// Only the whole huge pages are marked; the tail stays on small pages.
bool ReservedSpace::commit(std::size_t bytes) {
    if (Start == nullptr)
        return false;
    std::size_t usable = roundUp(bytes, pages::pageSize());
    if (usable > Bytes)
        return false;
    if (usable > Usable) {
        if (mprotect(Start + Usable, usable - Usable, PROT_READ | PROT_WRITE) != 0)
            return false;
        Usable = usable;
    }
    if (bytes >= 2 * HugePage)
        madvise(Start, bytes / HugePage * HugePage, MADV_HUGEPAGE);
    return true;
}

void ReservedSpace::clear(std::size_t bytes, bool givePagesBack) {
    if (!givePagesBack || madvise(Start, roundUp(bytes, pages::pageSize()), MADV_DONTNEED) != 0)
        std::memset(Start, 0, bytes);
}

void ReservedSpace::release() {
    if (Map == nullptr)
        return;
    munmap(Map, Bytes + HugePage);
    Map = Start = nullptr;
    Bytes = Usable = 0;
}
