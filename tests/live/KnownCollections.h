#pragma once

#include "fixtures/CollectionBuilder.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// Collections that take a walk a while, and whose slot i has the number i + 1 as its value.
namespace KnownCollections {

inline constexpr std::uint32_t kSlots = 60000;

/// Static.
inline Fixtures::CollectionBuilder numbers() {
    return Fixtures::CollectionBuilder(kSlots / 3, kSlots).fillNumbers();
}

/// Dynamic: slot i's value is entry i of slab 0.
inline Fixtures::CollectionBuilder payloads() {
    Fixtures::CollectionBuilder builder(kSlots / 3, kSlots);
    builder.dynamic().valueType("Payload", 64);
    std::vector<std::optional<std::string>> entries;
    for (std::uint32_t slot = 0; slot < kSlots; ++slot) {
        builder.offset(slot, 0, slot);
        entries.emplace_back(Fixtures::bytesOf(std::uint64_t{slot + 1}));
    }
    for (std::uint32_t bucket = 0; bucket < kSlots / 3; ++bucket) {
        const auto at = [bucket](std::uint32_t row) { return static_cast<std::int32_t>(bucket + row * (kSlots / 3)); };
        builder.chain(bucket, {at(0), at(1), at(2)});
    }
    builder.slab(0, 72, entries);
    return builder;
}

} // namespace KnownCollections
