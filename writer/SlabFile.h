#pragma once

#include "Mem/VerU32.h"
#include "Plask/SlabLayout.h"
#include "SharedMem/FenixId.h"
#include "writer/FileMapping.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace Halyx::Writer {

class CollectionDirectory;

/// One slab file, whose entries all have one size, as its writer sees it. Owns the mapping. Which entries may be reused yet is
/// the caller's affair.
class SlabFile {
public:
    /// Makes slab `number` with `entries` entries for payloads of up to `payload` bytes (a multiple of 8). The file appears in the
    /// collection when it is whole. Throws as throwSystemError does.
    SlabFile(const CollectionDirectory& directory, unsigned number, std::uint32_t payload, std::uint32_t entries,
             SharedMem::FenixId fenix, mode_t mode);

    /// Sees to it that there is a free entry. Norvu::MemoryResourceException when there cannot be; nothing has changed then.
    void reserve();
    /// Fills a free entry, of which there is one after reserve(), with `value`; the entry's index. Nothing leads to it yet.
    std::uint32_t insert(std::string_view value);
    /// Puts an entry that no reader may still be led to on the free list.
    void release(std::uint32_t entry);

    /// An entry's value. Stale after any change.
    [[nodiscard]] std::string_view value(std::uint32_t entry) const;

    [[nodiscard]] std::uint32_t growths() const { return count_.version - 1; }

    /// Bytes of an entry for payloads of up to `payload` bytes.
    static std::uint32_t entrySize(std::uint32_t payload) { return Plask::Layout::kSlabEntryHeaderSize + payload; }
    /// Entries that a slab of that entry size can have: its file's size and the bits of a slab offset both bound them.
    static std::uint32_t mostEntries(std::uint32_t entrySize);

private:
    void growTo(std::uint32_t count);
    void publishCounters();
    [[nodiscard]] std::size_t offsetOf(std::uint32_t entry) const {
        return Plask::Layout::kSlabHeaderSize + std::size_t{entrySize_} * entry;
    }

    std::uint32_t entrySize_;
    FileMapping file_;
    Mem::VerU32 count_{0, 0};
    std::uint32_t occupied_ = 0;
    std::uint32_t free_ = Plask::Layout::kNoFreeEntry;
};

} // namespace Halyx::Writer
