#include "writer/SlabFile.h"

#include "Norvu/Exception.h"
#include "writer/Checksums.h"
#include "writer/CollectionDirectory.h"
#include "writer/Growth.h"

#include <algorithm>

namespace Halyx::Writer {

namespace {

using Plask::Layout::SlabEntry;
using Plask::Layout::SlabHeader;

constexpr std::uint32_t kUnoccupied = 0xffffffff; // -1
constexpr std::uint32_t kIndexBits = 27;

std::string slabName(unsigned number) {
    return "slab" + std::to_string(number);
}

} // namespace

std::uint32_t SlabFile::mostEntries(std::uint32_t entrySize) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(
        (FileMapping::kMostBytes - Plask::Layout::kSlabHeaderSize) / entrySize, 1U << kIndexBits));
}

SlabFile::SlabFile(const CollectionDirectory& directory, unsigned number, std::uint32_t payload, std::uint32_t entries,
                   SharedMem::FenixId fenix, mode_t mode)
    : entrySize_(entrySize(payload)),
      file_(directory.spareDirectory(), directory.spareName(slabName(number)),
            directory.path() + "/" + slabName(number), Plask::Layout::kSlabHeaderSize, mode) {
    SlabHeader header{};
    header.magic = Plask::Layout::kSlabMagic;
    header.version = Plask::Layout::kSlabVersion;
    header.fenix = fenix;
    header.entrySize = entrySize_;
    header.checksum = checksumOf(header.entrySize);
    header.freeList = Plask::Layout::kNoFreeEntry;
    file_.view().fill(0, &header, sizeof header);
    try {
        growTo(std::min(entries, mostEntries(entrySize_)));
    } catch (...) {
        directory.discard(directory.spareName(slabName(number)));
        throw;
    }
    directory.place(directory.spareName(slabName(number)), slabName(number));
}

void SlabFile::reserve() {
    if (free_ != Plask::Layout::kNoFreeEntry) {
        return;
    }
    const std::uint32_t most = mostEntries(entrySize_);
    if (count_.value >= most) {
        Norvu::MemoryResourceException::throwException(file_.shownAs() + " is full: it has its most entries, " +
                                                       std::to_string(most));
    }
    growStepwise(count_.value, most, [this](std::uint32_t count) { growTo(count); });
}

/// Adds entries, all of them free. The free list is empty. The word that readers leave alone links free entries.
void SlabFile::growTo(std::uint32_t count) {
    const std::uint32_t old = count_.value;
    // W5: a reader that sees the new count maps that much, so the file comes first, and every entry says that it is free.
    file_.grow(Plask::Layout::kSlabHeaderSize + std::uint64_t{entrySize_} * count);
    const Mem::MutableView& view = file_.view();
    for (std::uint32_t entry = old; entry < count; ++entry) {
        view.store(offsetOf(entry) + offsetof(SlabEntry, payloadSize), kUnoccupied);
        view.store(offsetOf(entry) + offsetof(SlabEntry, reserved),
                   entry + 1 < count ? entry + 1 : Plask::Layout::kNoFreeEntry);
    }
    count_ = {count_.version + 1, count};
    view.publish64(offsetof(SlabHeader, numEntries), count_.word());
    // Release, as every store from here on that names a new entry.
    free_ = old;
    publishCounters();
}

void SlabFile::publishCounters() {
    file_.view().publish(offsetof(SlabHeader, freeList), free_);
    file_.view().publish(offsetof(SlabHeader, numOccupied), occupied_);
}

std::uint32_t SlabFile::insert(std::string_view value) {
    const Mem::MutableView& view = file_.view();
    const std::uint32_t entry = free_;
    const std::size_t at = offsetOf(entry);
    free_ = view.word(at + offsetof(SlabEntry, reserved));
    ++occupied_;
    publishCounters();
    // A reader that slept through the entry's rest copies bytes of two values: the rewrites of the slot or link that had led
    // it here must be visible before these bytes are.
    Mem::Atomics::releaseFence();
    view.store(at + offsetof(SlabEntry, reserved), 0);
    view.fill(at + Plask::Layout::kSlabEntryHeaderSize, value.data(), value.size());
    view.publish(at + offsetof(SlabEntry, payloadSize), static_cast<std::uint32_t>(value.size()));
    return entry;
}

void SlabFile::release(std::uint32_t entry) {
    const std::size_t at = offsetOf(entry);
    const Mem::MutableView& view = file_.view();
    // As above: whoever finds the entry free must be able to find out why.
    view.publish(at + offsetof(SlabEntry, payloadSize), kUnoccupied);
    view.store(at + offsetof(SlabEntry, reserved), free_);
    free_ = entry;
    --occupied_;
    publishCounters();
}

std::string_view SlabFile::value(std::uint32_t entry) const {
    const std::size_t at = offsetOf(entry);
    const std::uint32_t size = file_.view().word(at + offsetof(SlabEntry, payloadSize));
    const Mem::View bytes = file_.view().slice(at + Plask::Layout::kSlabEntryHeaderSize, size);
    return {static_cast<const char*>(bytes.address()), size};
}

} // namespace Halyx::Writer
