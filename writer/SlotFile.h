#pragma once

#include "Halyx/SlotTableLayout.h"
#include "SharedMem/FenixId.h"
#include "writer/FileMapping.h"
#include "writer/Links.h"
#include "writer/Options.h"

#include <cstdint>
#include <string_view>

namespace Halyx::Writer {

class CollectionDirectory;

/// The file "slots" as its writer sees it: takes slots, replaces their values, gives them back. Owns the mapping. The order of
/// the stores in here is what keeps readers right; see docs/protocol.md.
class SlotFile {
public:
    /// `options` are complete. Throws as throwSystemError does.
    SlotFile(const CollectionDirectory& directory, const Options& options, SharedMem::FenixId fenix);

    /// Sees to it that there is a free slot. Norvu::MemoryResourceException when the table has reached maxSlots or cannot
    /// grow; nothing has changed then.
    void reserve();
    /// The slot that the next insert() will fill. There is one, after reserve().
    [[nodiscard]] std::uint32_t nextFree() const { return free_; }

    /// Takes the next free slot for a new element, complete with its link to the slot `next`, or -1. Nothing leads to it yet.
    std::uint32_t insert(std::string_view stored, std::int32_t next);
    /// Replaces what a slot stores, under its state word. As many bytes as every slot of this table stores.
    void replace(std::uint32_t slot, std::string_view stored);
    /// Puts a slot, to which no link leads any more, on the free list.
    void release(std::uint32_t slot);

    [[nodiscard]] LinkPlace next(std::uint32_t slot) const { return {&file_.view(), offsetOf(slot)}; }
    /// What a slot stores: the value in a static table, a slab offset in a dynamic one. Stale after any change.
    [[nodiscard]] std::string_view stored(std::uint32_t slot) const;

    [[nodiscard]] std::uint32_t count() const { return count_.value; }
    [[nodiscard]] std::uint32_t occupied() const { return occupied_; }
    [[nodiscard]] std::uint32_t growths() const { return count_.version - 1; }

private:
    void writeHeader(const Options& options, SharedMem::FenixId fenix);
    void growTo(std::uint32_t count);
    void publishFree();
    void publishOccupied();
    [[nodiscard]] std::size_t offsetOf(std::uint32_t slot) const {
        return static_cast<std::size_t>(Layout::slotArrayOffset(slotSize_) + std::uint64_t{slotSize_} * slot);
    }

    std::uint32_t slotSize_;
    std::uint32_t storedSize_;
    std::uint32_t maxSlots_;
    FileMapping file_;
    // The writer's own copies of the header's words: it believes no file.
    Mem::VerU32 count_{0, 0};
    std::uint32_t occupied_ = 0;
    std::uint32_t free_ = Layout::kNoFreeSlot;
};

} // namespace Halyx::Writer
