#pragma once

// Layout of a collection's files "conquer.1" and "conquer.2". Described byte by byte in docs/format/conquer.md.

#include "Mem/VerU32.h"
#include "SharedMem/FenixId.h"

#include <cstddef>
#include <cstdint>

namespace Halyx::Layout {

struct alignas(8) ConquerHeader {
    std::uint64_t magic;
    std::uint32_t version;
    SharedMem::FenixId fenix;
    std::uint64_t minimumSequence;
    std::uint32_t connectedReaders;
    std::uint32_t reserved;
    Mem::VerU32 tableId;
    std::uint64_t corralStart;
    std::uint64_t corralEnd;
    Mem::VerU32 notifications;
    std::uint32_t currentPos;
};

/// A notification as the file holds it: 12 bytes, so every second sequence lies on 4 bytes only.
struct ConquerRecord {
    std::uint32_t sequenceLow;
    std::uint32_t sequenceHigh;
    std::uint32_t slot;

    [[nodiscard]] std::uint64_t sequence() const {
        return static_cast<std::uint64_t>(sequenceHigh) << 32 | sequenceLow;
    }
};

inline constexpr const char* kConquerFiles[2] = {"conquer.1", "conquer.2"};
inline constexpr std::uint64_t kConquerMagic = 0x52514358594c4148; // "HALYXCQR"
inline constexpr std::uint32_t kConquerVersion = 7;
inline constexpr std::uint32_t kConquerHeaderSize = sizeof(ConquerHeader);
inline constexpr std::uint32_t kConquerRecordSize = sizeof(ConquerRecord);
/// The records begin right after currentPos, inside the rounded-up header; the size rule still counts the whole header.
inline constexpr std::uint32_t kConquerRecordsOffset = offsetof(ConquerHeader, currentPos) + sizeof(std::uint32_t);
inline constexpr std::uint32_t kConquerNoSlot = 0xffffffff;

static_assert(kConquerHeaderSize == 72);
static_assert(kConquerRecordSize == 12);
static_assert(kConquerRecordsOffset == 68);
static_assert(offsetof(ConquerHeader, magic) == 0);
static_assert(offsetof(ConquerHeader, version) == 8);
static_assert(offsetof(ConquerHeader, fenix) == 12);
static_assert(offsetof(ConquerHeader, minimumSequence) == 16);
static_assert(offsetof(ConquerHeader, connectedReaders) == 24);
static_assert(offsetof(ConquerHeader, reserved) == 28);
static_assert(offsetof(ConquerHeader, tableId) == 32);
static_assert(offsetof(ConquerHeader, corralStart) == 40);
static_assert(offsetof(ConquerHeader, corralEnd) == 48);
static_assert(offsetof(ConquerHeader, notifications) == 56);
static_assert(offsetof(ConquerHeader, currentPos) == 64);
static_assert(offsetof(ConquerRecord, sequenceLow) == 0);
static_assert(offsetof(ConquerRecord, slot) == 8);

} // namespace Halyx::Layout
