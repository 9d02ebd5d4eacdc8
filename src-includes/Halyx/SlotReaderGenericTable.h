#pragma once

#include "Halyx/Counters.h"
#include "Halyx/GenericAllocator.h"
#include "Halyx/SlotTable.h"
#include "Mem/Row.h"

#include <memory>
#include <string>

namespace Halyx {

/// The read-only view of a collection's file "slots", and the way to its values. Owns the mapping and the allocator; borrows
/// the root path and the counters.
///
/// Life: detached, attached (header and lookaside slot mapped, allocator made, capacity 0), resized (slots mapped up to the
/// writer's count). A resize may move the base: every slot handed out before is stale then.
class SlotReaderGenericTable : public SlotTable<EmptyValue> {
public:
    /// A slot's fixed part.
    using Slot = Mem::Record<Layout::kSlotValueOffset>;

    SlotReaderGenericTable(Norvu::Platform::DebugHandler& handler, const Mem::RootPath& root, bool localMem,
                           Reader::Counters& counters);

    /// Maps the header and checks it. False when the file is missing, empty, cannot be mapped, or has a bad header; only in
    /// the last case attachReason() says why. Never throws.
    bool attach();
    [[nodiscard]] const std::string& attachReason() const { return attachReason_; }

    /// Maps what the header's count says; false, and nothing done, when its version is the one last mapped. Throws
    /// CorruptionDetectedException for a header that is bad, changed in what never changes, or cannot hold its own values,
    /// and for a file shorter than it says; MemoryResourceException when it cannot be mapped. The old mapping stays then.
    bool doResize();

    /// Slots mapped.
    [[nodiscard]] unsigned capacity() const { return seen_.value; }

    /// Slot `index`, slotSize() bytes. Throws CorruptionDetectedException past the mapped slots.
    [[nodiscard]] Mem::View getSlot(unsigned index) const {
        if (!slots_.has(index)) [[unlikely]] {
            outOfRange(index);
        }
        return slots_.view(index);
    }
    /// The fixed part of slot `index`; throws likewise.
    [[nodiscard]] Slot slot(unsigned index) const {
        if (!slots_.has(index)) [[unlikely]] {
            outOfRange(index);
        }
        return slots_[index];
    }

    /// Throws CorruptionDetectedException when the file no longer holds slot `index`, of which bytes were read.
    void checkRead(unsigned index) const { mapping().checkRead(slotsBegin_ + (std::size_t{index} + 1) * slotSize_); }

    /// The slots mapped; stale after a resize.
    [[nodiscard]] const Mem::Row<Layout::kSlotValueOffset>& slots() const { return slots_; }

    /// The value area of slot `index`, and of the lookaside slot.
    [[nodiscard]] Mem::View valueOf(unsigned index) const {
        return getSlot(index).slice(Layout::kSlotValueOffset, slotSize_ - Layout::kSlotValueOffset);
    }
    [[nodiscard]] Mem::View lookasideValue() const {
        return mapping().view().slice(offsetof(Layout::SlotTableHeader, lookasideValue),
                                      slotSize_ - Layout::kSlotValueOffset);
    }

    /// Copies the value of slot `index`, and of the lookaside slot, to `destination`; its length. Throws what the allocator
    /// throws. Values that live in slots are copied without a call: they are what most tables have.
    unsigned construct(unsigned index, void* destination) const {
        if (!isDynamic()) {
            slots_.copy(index, Layout::kSlotValueOffset, destination, valueSize_);
            return valueSize_;
        }
        return allocator_->construct(destination, valueOf(index));
    }
    unsigned constructLookaside(void* destination) const {
        return allocator_->construct(destination, lookasideValue());
    }

    /// Asks for the cache lines that a slot's value will be read from besides the slot.
    void prefetchValue(unsigned index) const {
        if (isDynamic()) {
            allocator_->prefetch(valueOf(index));
        }
    }
    [[nodiscard]] bool isDynamic() const { return (flags_ & Layout::kSlotFlagDynamic) != 0; }

    /// The copy that attach() found valid.
    [[nodiscard]] const Header& attachedHeader() const { return attachedHeader_; }
    [[nodiscard]] bool hasConquer() const { return attachedHeader_.hasConquer(); }

    /// A consistent copy of the mapped header. Throws CorruptionDetectedException when it cannot be read.
    [[nodiscard]] Header snapshotHeader() const;

    /// Checks a snapshot of the header: false with the first failure's text in `error`.
    bool validate(SharedMem::FenixId expected, Header& snapshot, std::string& error) const;

    /// Throws CorruptionDetectedException when the header asks for a bigger value than the collection's files could hold:
    /// no buffer is made for it then.
    void checkValueSize() const;

    /// Bytes stored in all files that values live in.
    [[nodiscard]] std::uint64_t fileBytes() const { return allocator_->fileBytes() + mapping().storedRegionSize(); }

    [[nodiscard]] unsigned valueSize() const { return valueSize_; }
    [[nodiscard]] unsigned slotSize() const { return slotSize_; }
    [[nodiscard]] GenericAllocator& allocator() { return *allocator_; }
    [[nodiscard]] const GenericAllocator& allocator() const { return *allocator_; }

private:
    bool mapHeader();
    void checkLayout(const Header& header) const;
    [[noreturn]] void outOfRange(unsigned index) const;

    const Mem::RootPath* root_;
    Reader::Counters* counters_;
    Mem::Row<Layout::kSlotValueOffset> slots_;
    std::size_t slotsBegin_ = 0;
    std::unique_ptr<GenericAllocator> allocator_;
    Mem::VerU32 seen_;
    bool mapped_ = false; ///< whether a resize has followed the attach
    std::uint32_t valueSize_ = 0;
    std::uint32_t slotSize_ = 0;
    std::uint32_t flags_ = 0;
    std::string attachReason_;
    Header attachedHeader_{};
};

} // namespace Halyx
