#include "writer/SlotFile.h"

#include "writer/Checksums.h"
#include "writer/CollectionDirectory.h"
#include "writer/Growth.h"

namespace Halyx::Writer {

namespace {

constexpr std::uint32_t kSlabOffsetSize = 4;
constexpr std::size_t kStateOffset = offsetof(Layout::SlotRecord, state);

} // namespace

SlotFile::SlotFile(const CollectionDirectory& directory, const Options& options, SharedMem::FenixId fenix)
    : slotSize_(options.slotSize), storedSize_(options.dynamic ? kSlabOffsetSize : options.valueSize),
      maxSlots_(options.maxSlots),
      file_(directory.descriptor(), Layout::kSlotsFile, directory.path() + "/" + Layout::kSlotsFile,
            Layout::slotArrayOffset(options.slotSize), options.fileMode) {
    writeHeader(options, fenix);
    growTo(options.slots);
}

void SlotFile::writeHeader(const Options& options, SharedMem::FenixId fenix) {
    Layout::SlotTableHeader header{};
    header.magic = Layout::kSlotTableMagic;
    header.version = Layout::kSlotTableVersion;
    header.fenix = fenix;
    header.platform = Layout::kSlotTablePlatform;
    options.valueType.copy(header.valueType, sizeof header.valueType - 1);
    options.classType.copy(header.classType, sizeof header.classType - 1);
    header.valueSize = options.valueSize;
    header.slotSize = options.slotSize;
    header.maxSlots = options.maxSlots;
    header.flags = (options.dynamic ? Layout::kSlotFlagDynamic : 0) | (options.conquer ? Layout::kSlotFlagConquer : 0);
    header.hash = checksumOf(header);
    header.freeSlots = Layout::kNoFreeSlot;
    header.numSlots = count_;
    header.lookaside.next = SlotLink{0, kEndOfChain};
    file_.view().fill(0, &header, sizeof header);
}

void SlotFile::reserve() {
    if (free_ != Layout::kNoFreeSlot) {
        return;
    }
    if (count_.value >= maxSlots_) {
        Norvu::MemoryResourceException::throwException(file_.shownAs() + " is full: it has its most slots, " +
                                                       std::to_string(maxSlots_));
    }
    growStepwise(count_.value, maxSlots_, [this](std::uint32_t count) { growTo(count); });
}

/// Adds slots, all of them free. The free list is empty.
void SlotFile::growTo(std::uint32_t count) {
    const std::uint32_t old = count_.value;
    // W5: a reader that sees the new count maps that much, so the file comes first.
    file_.grow(Layout::slotArrayOffset(slotSize_) + std::uint64_t{slotSize_} * count);
    const Mem::MutableView& view = file_.view();
    // The new slots are chained as free ones before anything can lead to them. Their tags begin at 0.
    for (std::uint32_t slot = old; slot < count; ++slot) {
        const std::int32_t next = slot + 1 < count ? static_cast<std::int32_t>(slot + 1) : kEndOfChain;
        view.publish64(offsetOf(slot), SlotLink{0, next}.word());
    }
    // A header copied between the two stores must pass the check that mostSlots is at least the count.
    view.publish(offsetof(Layout::SlotTableHeader, mostSlots), count);
    count_ = {count_.version + 1, count};
    view.publish64(offsetof(Layout::SlotTableHeader, numSlots), count_.word());
    // Release, as every store from here on that names a new slot: a reader that sees the index can see the growth as well.
    free_ = old < count ? old : Layout::kNoFreeSlot;
    publishFree();
}

void SlotFile::publishFree() {
    file_.view().publish(offsetof(Layout::SlotTableHeader, freeSlots), free_);
}

void SlotFile::publishOccupied() {
    file_.view().publish(offsetof(Layout::SlotTableHeader, occupiedSlots), occupied_);
}

std::uint32_t SlotFile::insert(std::string_view stored, std::int32_t next) {
    const std::uint32_t slot = free_;
    const LinkPlace link = this->next(slot);
    const std::int32_t nextFree = link.load().index;
    free_ = nextFree < 0 ? Layout::kNoFreeSlot : static_cast<std::uint32_t>(nextFree);
    publishFree();
    ++occupied_;
    publishOccupied();
    const Mem::MutableView& view = file_.view();
    const std::size_t at = offsetOf(slot);
    // W2: a reader may stand on this slot's previous life. What it reads of the new value is worth nothing to it, since it looks
    // at the link that led it here again: that rewrite must be visible before these bytes are.
    Mem::Atomics::releaseFence();
    view.fill(at + Layout::kSlotValueOffset, stored.data(), storedSize_);
    const std::uint32_t state = view.word(at + kStateOffset);
    view.publish(at + kStateOffset, (state & ~3U) + Layout::kSlotStateCount);
    link.publish(next);
    return slot;
}

void SlotFile::replace(std::uint32_t slot, std::string_view stored) {
    const Mem::MutableView& view = file_.view();
    const std::size_t at = offsetOf(slot);
    const std::uint32_t state = view.word(at + kStateOffset) & ~3U;
    // W4. Before: the last replacement's final state. A reader that still copies the lookaside value for that slot and meets
    // bytes of this one must find that slot's state changed.
    Mem::Atomics::releaseFence();
    view.fill(offsetof(Layout::SlotTableHeader, lookasideValue), stored.data(), storedSize_);
    // Release: who sees bit 1 finds the lookaside value complete.
    view.publish(at + kStateOffset, (state + Layout::kSlotStateCount) | Layout::kSlotStateLookaside);
    // Between: a reader that copies this slot's value and meets new bytes must find the state changed.
    Mem::Atomics::releaseFence();
    view.fill(at + Layout::kSlotValueOffset, stored.data(), storedSize_);
    // Release: who sees bit 1 clear again finds the value complete.
    view.publish(at + kStateOffset, state + 2 * Layout::kSlotStateCount);
}

void SlotFile::release(std::uint32_t slot) {
    // W3: the link that led here has been rewritten. A reader that stands here looks at this slot's tag next, and must not go
    // on along the old link: with the slot reused it would cross into another chain.
    next(slot).publish(free_ == Layout::kNoFreeSlot ? kEndOfChain : static_cast<std::int32_t>(free_));
    free_ = slot;
    publishFree();
    --occupied_;
    publishOccupied();
}

std::string_view SlotFile::stored(std::uint32_t slot) const {
    const Mem::View bytes = file_.view().slice(offsetOf(slot) + Layout::kSlotValueOffset, storedSize_);
    return {static_cast<const char*>(bytes.address()), storedSize_};
}

} // namespace Halyx::Writer
