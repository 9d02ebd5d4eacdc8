#pragma once

// Layout of a collection's file "buckets". Described byte by byte in docs/format/buckets.md.

#include "Halyx/SlotLink.h"
#include "Mem/VerU32.h"
#include "SharedMem/FenixId.h"

#include <cstddef>
#include <cstdint>

namespace Halyx::Layout {

struct alignas(8) BucketTableHeader {
    std::uint64_t magic;
    std::uint32_t version;
    SharedMem::FenixId fenix;
    Mem::VerU32 numBuckets;
    std::uint32_t ownerPid;
    std::uint32_t reserved;
};

inline constexpr const char* kBucketsFile = "buckets";
inline constexpr std::uint64_t kBucketTableMagic = 0x544b4258594c4148; // "HALYXBKT"
inline constexpr std::uint32_t kBucketTableVersion = 1;
inline constexpr std::uint32_t kBucketTableHeaderSize = sizeof(BucketTableHeader);
inline constexpr std::uint32_t kBucketEntrySize = sizeof(SlotLink);

static_assert(kBucketTableHeaderSize == 32);
static_assert(offsetof(BucketTableHeader, magic) == 0);
static_assert(offsetof(BucketTableHeader, version) == 8);
static_assert(offsetof(BucketTableHeader, fenix) == 12);
static_assert(offsetof(BucketTableHeader, numBuckets) == 16);
static_assert(offsetof(BucketTableHeader, ownerPid) == 24);
static_assert(offsetof(BucketTableHeader, reserved) == 28);

} // namespace Halyx::Layout
