#pragma once

#include <cstdint>

namespace SharedMem {

/// One incarnation of a collection's writer, as every header of the collection carries it.
/// Low 16 bits: the writer's process id; high 16 bits: an instance id. 0 as an expected id means any incarnation.
struct FenixId {
    std::uint32_t value = 0;

    constexpr FenixId() = default;
    constexpr explicit FenixId(std::uint32_t word) : value(word) {}
    constexpr FenixId(std::uint16_t pid, std::uint16_t instance)
        : value(static_cast<std::uint32_t>(instance) << 16 | pid) {}

    [[nodiscard]] constexpr std::uint16_t pid() const { return static_cast<std::uint16_t>(value & 0xffffU); }
    [[nodiscard]] constexpr std::uint16_t instance() const { return static_cast<std::uint16_t>(value >> 16); }
    constexpr bool operator==(const FenixId&) const = default;
};

static_assert(sizeof(FenixId) == 4);

} // namespace SharedMem
