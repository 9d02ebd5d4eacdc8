#pragma once

#include <cstdint>

namespace Halyx::Reader {

/// What one reader met on its way.
struct Counters {
    std::uint32_t lookasideHits = 0; ///< values taken from the header's lookaside slot
    std::uint32_t resizes = 0;       ///< remaps after a change of a table's count
    std::uint32_t baseChanges = 0;   ///< remaps that moved the mapping
};

} // namespace Halyx::Reader
