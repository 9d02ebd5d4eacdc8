#pragma once

#include <cstddef>
#include <cstdint>

namespace Halyx {

/// One link of a bucket chain: a bucket's head or a slot's next. In files it is one 8-byte word, tag in the low half.
/// The tag changes with every rewrite of the link and never repeats there, so an unchanged tag proves an unchanged link.
struct SlotLink {
    std::uint32_t tag = 0;
    std::int32_t index = -1; ///< slot index; negative ends the chain

    static constexpr SlotLink fromWord(std::uint64_t word) {
        return {static_cast<std::uint32_t>(word), static_cast<std::int32_t>(static_cast<std::uint32_t>(word >> 32))};
    }
    [[nodiscard]] constexpr std::uint64_t word() const {
        return static_cast<std::uint64_t>(static_cast<std::uint32_t>(index)) << 32 | tag;
    }
    constexpr bool operator==(const SlotLink&) const = default;
};

static_assert(sizeof(SlotLink) == 8 && offsetof(SlotLink, tag) == 0 && offsetof(SlotLink, index) == 4);

/// The index that ends a chain the ordinary way. Any other negative index names a bucket, with bit 31 cleared.
inline constexpr std::int32_t kEndOfChain = -1;

} // namespace Halyx
