#pragma once
// ReservedSpace: address space reserved ahead of need for the store's index and
// made readable and writable from its start as the index grows into it, so that
// a grown index reuses the pages of the one before and only its new part costs
// fresh pages. The space starts on a huge-page boundary. Reserving costs address
// space, not memory.

#include <cstddef>

class ReservedSpace {
public:
    ReservedSpace() = default;
    ~ReservedSpace() { release(); }
    ReservedSpace(const ReservedSpace&) = delete;
    ReservedSpace& operator=(const ReservedSpace&) = delete;
    ReservedSpace(ReservedSpace&&) = delete;
    ReservedSpace& operator=(ReservedSpace&&) = delete;

    // Reserves room for `bytes` (rounded up to huge pages, and no more than the
    // machine's memory), none of it usable yet; false when the kernel refuses.
    // The space must not be held already.
    bool reserve(std::size_t bytes);
    // Makes the first `bytes` of the space usable and marks their whole huge
    // pages for huge pages (once there are two); false when no space is held,
    // it is too small, or the kernel refuses.
    bool commit(std::size_t bytes);
    // Zeroes the first `bytes`: by hand, or, with `givePagesBack`, by handing
    // their pages back to the kernel (whose fresh pages read as zero), which
    // costs memory only where they are written again.
    void clear(std::size_t bytes, bool givePagesBack);
    // Gives the space back; nothing in it may be used afterwards.
    void release();

    // The start of the space; null when none is held.
    unsigned char* start() const { return Start; }

private:
    unsigned char* Map = nullptr;   // owned (mapped); Bytes + HugePage bytes that hold the
                                    // space at their first huge-page boundary
    unsigned char* Start = nullptr; // the space: Bytes bytes within Map
    std::size_t Bytes = 0;          // the space's size
    std::size_t Usable = 0;         // bytes from Start that may be read and written
};
