#include "Table.h"

#include "Halyx/BucketTableLayout.h"
#include "Halyx/SlotTableLayout.h"
#include "MappedFile.h"
#include "Norvu/Hash.h"
#include "Plask/SlabLayout.h"

#include <cstring>
#include <filesystem>
#include <string_view>

namespace Bench {

namespace {

using Halyx::SlotLink;
namespace Slots = Halyx::Layout;

/// Spreads consecutive numbers as a good hash does.
std::uint64_t mix(std::uint64_t x) {
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ULL;
    x = (x ^ (x >> 27)) * 0x94d049bb133111ebULL;
    return x ^ (x >> 31);
}

template <typename T>
std::uint32_t hashOf(const T& field) {
    char bytes[sizeof(T)];
    std::memcpy(bytes, &field, sizeof(T));
    return Norvu::Util::hash(bytes, sizeof(T));
}

void writeSlotHeader(const Table& table, const MappedFile& file) {
    auto* header = file.as<Slots::SlotTableHeader>(0);
    header->magic = Slots::kSlotTableMagic;
    header->version = Slots::kSlotTableVersion;
    header->fenix = SharedMem::FenixId(1, 1);
    header->platform = Slots::kSlotTablePlatform;
    table.valueType.copy(header->valueType, sizeof header->valueType - 1);
    table.valueType.copy(header->classType, sizeof header->classType - 1);
    header->valueSize = table.valueSize;
    header->slotSize = table.slotSize();
    header->maxSlots = table.elements;
    header->flags = table.dynamic ? Slots::kSlotFlagDynamic : 0;
    header->hash = hashOf(header->valueType) + hashOf(header->classType) + hashOf(header->valueSize) +
                   hashOf(header->slotSize) + hashOf(header->maxSlots) + hashOf(header->flags);
    header->occupiedSlots = table.elements;
    header->freeSlots = Slots::kNoFreeSlot;
    header->mostSlots = table.elements;
    header->numSlots = {1, table.elements};
}

void writeSlabs(const Table& table) {
    const std::uint32_t count = (table.elements + kSlabs - 1) / kSlabs;
    for (unsigned slab = 0; slab < kSlabs; ++slab) {
        const MappedFile file(table.slabPath(slab),
                              Plask::Layout::kSlabHeaderSize + std::size_t{table.entrySize()} * count);
        auto* header = file.as<Plask::Layout::SlabHeader>(0);
        header->magic = Plask::Layout::kSlabMagic;
        header->version = Plask::Layout::kSlabVersion;
        header->fenix = SharedMem::FenixId(1, 1);
        header->numEntries = {1, count};
        header->numOccupied = count;
        header->entrySize = table.entrySize();
        header->checksum = hashOf(header->entrySize);
        header->freeList = Plask::Layout::kNoFreeEntry;
        for (std::uint32_t i = 0; i < count; ++i) {
            unsigned char* entry = file.at(Plask::Layout::kSlabHeaderSize + std::size_t{table.entrySize()} * i);
            std::memcpy(entry, &table.valueSize, sizeof table.valueSize);
            writeValue(entry + Plask::Layout::kSlabEntryHeaderSize, i * kSlabs + slab, table.valueSize);
        }
    }
}

} // namespace

std::uint32_t Table::slotSize() const {
    return Slots::kSlotValueOffset + (dynamic ? 8 : valueSize);
}

std::uint32_t Table::entrySize() const {
    return Plask::Layout::kSlabEntryHeaderSize + valueSize;
}

std::string Table::slabPath(unsigned slab) const {
    return directory + "/slab" + std::to_string(slab);
}

void writeValue(unsigned char* to, std::uint32_t index, std::uint32_t size) {
    constexpr std::uint64_t start = 0x9e3779b97f4a7c15ULL; // away from the words that choose the buckets
    for (std::uint32_t at = 0; at < size; at += sizeof start) {
        const std::uint64_t word = mix(start + (std::uint64_t{index} * kMostValueSize + at));
        std::memcpy(to + at, &word, sizeof word);
    }
}

void build(const Table& table) {
    std::filesystem::create_directories(table.directory);
    const MappedFile buckets(table.directory + "/" + Halyx::Layout::kBucketsFile,
                             Halyx::Layout::kBucketTableHeaderSize + sizeof(SlotLink) * std::size_t{table.elements});
    auto* header = buckets.as<Halyx::Layout::BucketTableHeader>(0);
    header->magic = Halyx::Layout::kBucketTableMagic;
    header->version = Halyx::Layout::kBucketTableVersion;
    header->fenix = SharedMem::FenixId(1, 1);
    header->numBuckets = {1, table.elements};
    auto* heads = buckets.as<SlotLink>(Halyx::Layout::kBucketTableHeaderSize);
    for (std::uint32_t i = 0; i < table.elements; ++i) {
        heads[i] = SlotLink();
    }
    const std::uint32_t slotSize = table.slotSize();
    const auto begin = static_cast<std::size_t>(Slots::slotArrayOffset(slotSize));
    const MappedFile slots(table.directory + "/" + Slots::kSlotsFile, begin + std::size_t{slotSize} * table.elements);
    writeSlotHeader(table, slots);
    for (std::uint32_t i = 0; i < table.elements; ++i) {
        SlotLink& head = heads[mix(i) % table.elements];
        unsigned char* slot = slots.at(begin + std::size_t{slotSize} * i);
        std::memcpy(slot, &head, sizeof head);
        head = {head.tag + 1, static_cast<std::int32_t>(i)};
        if (table.dynamic) {
            const Plask::Layout::SlabOffset offset(i % kSlabs, i / kSlabs);
            std::memcpy(slot + Slots::kSlotValueOffset, &offset, sizeof offset);
        } else {
            writeValue(slot + Slots::kSlotValueOffset, i, table.valueSize);
        }
    }
    if (table.dynamic) {
        writeSlabs(table);
    }
}

} // namespace Bench
