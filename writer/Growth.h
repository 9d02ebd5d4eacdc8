#pragma once

#include "Norvu/Exception.h"

#include <algorithm>
#include <cstdint>

namespace Halyx::Writer {

/// Records by which a table that has `count` grows at least.
inline constexpr std::uint32_t kSmallestStep = 16;

/// Grows a table of `count` records towards twice that, at most to `most`: calls `growTo(records)`, and when memory or disk does
/// not suffice for that (Norvu::MemoryResourceException) tries ever smaller steps, since a full disk may have room for a few
/// records still. Throws what the last try threw. `count` is below `most`.
template <typename GrowTo>
void growStepwise(std::uint32_t count, std::uint32_t most, GrowTo growTo) {
    std::uint32_t step = std::min(std::max(count, kSmallestStep), most - count);
    for (;;) {
        try {
            growTo(count + step);
            return;
        } catch (const Norvu::MemoryResourceException&) {
            if (step <= kSmallestStep) {
                throw;
            }
            step = std::max(step / 4, kSmallestStep);
        }
    }
}

} // namespace Halyx::Writer
