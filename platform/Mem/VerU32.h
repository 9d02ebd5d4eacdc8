#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>

namespace Mem {

/// A count that a writer changes, with the version that changes along with it. In files the pair is one 8-byte-aligned
/// word, version in the low half; readers load it whole, so the halves always belong together.
struct VerU32 {
    std::uint32_t version = 0;
    std::uint32_t value = 0;

    static constexpr VerU32 fromWord(std::uint64_t word) {
        return {static_cast<std::uint32_t>(word), static_cast<std::uint32_t>(word >> 32)};
    }
    [[nodiscard]] constexpr std::uint64_t word() const { return static_cast<std::uint64_t>(value) << 32 | version; }
    constexpr bool operator==(const VerU32&) const = default;
};

static_assert(sizeof(VerU32) == 8 && offsetof(VerU32, version) == 0 && offsetof(VerU32, value) == 4);

/// Version in lower-case hexadecimal, ":", value in decimal; the stream's number base is left as it was.
std::ostream& operator<<(std::ostream& out, const VerU32& pair);

} // namespace Mem
