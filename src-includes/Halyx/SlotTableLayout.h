#pragma once

// Layout of a collection's file "slots". Described byte by byte in docs/format/slots.md.

#include "Halyx/SlotLink.h"
#include "Mem/VerU32.h"
#include "SharedMem/FenixId.h"

#include <cstddef>
#include <cstdint>

namespace Halyx::Layout {

/// A slot's fixed part; the value follows at kSlotValueOffset and fills the rest of the slot.
struct alignas(8) SlotRecord {
    SlotLink next;
    std::uint32_t state;
    std::uint32_t reserved;
};

inline constexpr std::uint32_t kSlotValueOffset = sizeof(SlotRecord);
inline constexpr std::uint32_t kGenericSlotSize = 24;

/// State bit 1: the slot's value is being replaced and the table's lookaside value stands for it. Bits 2 to 31 count.
inline constexpr std::uint32_t kSlotStateLookaside = 2;
inline constexpr std::uint32_t kSlotStateCount = 4;

static_assert(kSlotValueOffset == 16);
static_assert(offsetof(SlotRecord, next) == 0);
static_assert(offsetof(SlotRecord, state) == 8);
static_assert(offsetof(SlotRecord, reserved) == 12);

struct alignas(8) SlotTableHeader {
    std::uint64_t magic;
    std::uint32_t version;
    SharedMem::FenixId fenix;
    std::uint32_t platform;
    char valueType[64];
    char classType[64];
    std::uint32_t valueSize;
    std::uint32_t slotSize;
    std::uint32_t maxSlots;
    std::uint32_t flags;
    std::uint32_t hash;
    std::uint32_t occupiedSlots;
    std::uint32_t freeSlots;
    std::uint32_t mostSlots;
    std::uint32_t reserved;
    Mem::VerU32 numSlots;
    SlotRecord lookaside;
    unsigned char lookasideValue[8]; ///< the first 8 bytes of a value area of slotSize - 16 bytes
};

inline constexpr const char* kSlotsFile = "slots";
inline constexpr std::uint64_t kSlotTableMagic = 0x544c5358594c4148; // "HALYXSLT"
inline constexpr std::uint32_t kSlotTableVersion = 12;
inline constexpr std::uint32_t kSlotTablePlatform = 1;
inline constexpr std::uint32_t kSlotTableHeaderSize = sizeof(SlotTableHeader);
inline constexpr std::uint32_t kSlotTableFixedSize = 192; ///< the header without the lookaside slot
inline constexpr std::uint32_t kSlotFlagDynamic = 1;
inline constexpr std::uint32_t kSlotFlagConquer = 2;
inline constexpr std::uint32_t kNoFreeSlot = 0xffffffff;

/// Where slot 0 begins in a table of that slot size: the fixed part and one slot, kept on 8 bytes.
constexpr std::uint64_t slotArrayOffset(std::uint32_t slotSize) {
    return (static_cast<std::uint64_t>(slotSize) + kSlotTableFixedSize + 7) & ~std::uint64_t{7};
}

static_assert(kSlotTableHeaderSize == 216);
static_assert(slotArrayOffset(kGenericSlotSize) == kSlotTableHeaderSize);
static_assert(offsetof(SlotTableHeader, magic) == 0);
static_assert(offsetof(SlotTableHeader, version) == 8);
static_assert(offsetof(SlotTableHeader, fenix) == 12);
static_assert(offsetof(SlotTableHeader, platform) == 16);
static_assert(offsetof(SlotTableHeader, valueType) == 20);
static_assert(offsetof(SlotTableHeader, classType) == 84);
static_assert(offsetof(SlotTableHeader, valueSize) == 148);
static_assert(offsetof(SlotTableHeader, slotSize) == 152);
static_assert(offsetof(SlotTableHeader, maxSlots) == 156);
static_assert(offsetof(SlotTableHeader, flags) == 160);
static_assert(offsetof(SlotTableHeader, hash) == 164);
static_assert(offsetof(SlotTableHeader, occupiedSlots) == 168);
static_assert(offsetof(SlotTableHeader, freeSlots) == 172);
static_assert(offsetof(SlotTableHeader, mostSlots) == 176);
static_assert(offsetof(SlotTableHeader, reserved) == 180);
static_assert(offsetof(SlotTableHeader, numSlots) == 184);
static_assert(offsetof(SlotTableHeader, lookaside) == kSlotTableFixedSize);
static_assert(offsetof(SlotTableHeader, lookasideValue) == 208);

} // namespace Halyx::Layout
