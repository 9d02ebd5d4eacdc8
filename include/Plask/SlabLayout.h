#pragma once

// Layout of a collection's files "slab0" to "slab31". Described byte by byte in docs/format/slab.md.

#include "Mem/VerU32.h"
#include "SharedMem/FenixId.h"

#include <cstddef>
#include <cstdint>

namespace Plask::Layout {

struct alignas(8) SlabHeader {
    std::uint64_t magic;
    std::uint32_t version;
    SharedMem::FenixId fenix;
    Mem::VerU32 numEntries;
    std::uint32_t numOccupied;
    std::uint32_t entrySize;
    std::uint32_t checksum;
    std::uint32_t freeList;
};

/// An entry's fixed part; the payload follows and fills the rest of the entry.
struct SlabEntry {
    std::int32_t payloadSize; ///< negative: unoccupied
    std::uint32_t reserved;
};

inline constexpr std::uint64_t kSlabMagic = 0x424c534b53414c50; // "PLASKSLB"
inline constexpr std::uint32_t kSlabVersion = 1;
inline constexpr std::uint32_t kSlabHeaderSize = sizeof(SlabHeader);
inline constexpr std::uint32_t kSlabEntryHeaderSize = sizeof(SlabEntry);
inline constexpr std::uint32_t kNoFreeEntry = 0xffffffff;
inline constexpr unsigned kSlabCount = 32;

/// Where a dynamic value lives: bits 0 to 4 the slab number, bits 5 to 31 the entry index.
struct SlabOffset {
    std::uint32_t word = 0;

    constexpr SlabOffset() = default;
    constexpr explicit SlabOffset(std::uint32_t stored) : word(stored) {}
    constexpr SlabOffset(unsigned slab, std::uint32_t index) : word(index << 5 | (slab & 31U)) {}

    [[nodiscard]] constexpr unsigned slab() const { return word & 31U; }
    [[nodiscard]] constexpr std::uint32_t index() const { return word >> 5; }
};

static_assert(sizeof(SlabOffset) == 4);
static_assert(kSlabHeaderSize == 40);
static_assert(kSlabEntryHeaderSize == 8);
static_assert(offsetof(SlabHeader, magic) == 0);
static_assert(offsetof(SlabHeader, version) == 8);
static_assert(offsetof(SlabHeader, fenix) == 12);
static_assert(offsetof(SlabHeader, numEntries) == 16);
static_assert(offsetof(SlabHeader, numOccupied) == 24);
static_assert(offsetof(SlabHeader, entrySize) == 28);
static_assert(offsetof(SlabHeader, checksum) == 32);
static_assert(offsetof(SlabHeader, freeList) == 36);
static_assert(offsetof(SlabEntry, payloadSize) == 0);
static_assert(offsetof(SlabEntry, reserved) == 4);

} // namespace Plask::Layout
