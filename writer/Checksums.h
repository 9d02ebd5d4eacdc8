#pragma once

#include "Halyx/SlotTableLayout.h"
#include "Norvu/Hash.h"

#include <cstdint>
#include <cstring>

namespace Halyx::Writer {

/// The checksum of one field of a header.
template <typename Field>
std::uint32_t checksumOf(const Field& field) {
    char bytes[sizeof field];
    std::memcpy(bytes, &field, sizeof field);
    return Norvu::Util::hash(bytes, sizeof bytes);
}

/// What a slot table's header has as its `hash`: only what never changes is in it.
inline std::uint32_t checksumOf(const Layout::SlotTableHeader& header) {
    return checksumOf(header.valueType) + checksumOf(header.classType) + checksumOf(header.valueSize) +
           checksumOf(header.slotSize) + checksumOf(header.maxSlots) + checksumOf(header.flags);
}

} // namespace Halyx::Writer
