#pragma once
// Page facts shared by the store's index and its blocks of vectors: the page
// sizes, rounding to them, and whether the process runs under an address-space
// limit (the store then takes no address space ahead of need).

#include <cstddef>

namespace pages {

// Large regions are aligned to and marked for huge pages of this size: the
// store reads its index and its vectors at random, and with small pages most
// of those reads also miss the address-translation cache.
constexpr std::size_t HugePage = std::size_t{2} << 20;

// The system's page size.
std::size_t pageSize();

// `bytes` rounded up to a multiple of `unit`.
inline std::size_t roundUp(std::size_t bytes, std::size_t unit) {
    return (bytes + unit - 1) / unit * unit;
}

// True when the process runs under a limit of its address space: the store then
// reserves no space for the index and maps no block ahead, so that the run ends
// where it would without them.
bool addressSpaceLimited();

} // namespace pages
