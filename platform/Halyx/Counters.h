#pragma once

#include <cstdint>

namespace Halyx::Reader {

/// What one reader met on its way.
struct Counters {
    std::uint32_t lookasideHits = 0; ///< values taken from the header's lookaside slot
    std::uint32_t resizes = 0;       ///< remaps of the slot table after a change of its count
    std::uint32_t baseChanges = 0;   ///< those of them that moved the mapping
    std::uint32_t bucketResizes = 0; ///< remaps of the bucket table after a change of its count
};

} // namespace Halyx::Reader
