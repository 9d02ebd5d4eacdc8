#pragma once

#include "Halyx/BucketTableLayout.h"
#include "Halyx/Counters.h"
#include "Mem/RootPath.h"
#include "Mem/Row.h"
#include "Mem/Shared.h"

#include <string>

namespace Halyx {

/// The format as its readers name it.
struct BucketTable {
    using Header = Layout::BucketTableHeader;
};

/// The read-only view of a collection's file "buckets". Owns the mapping; borrows the counters.
///
/// Life: detached, attached (header mapped, capacity 0), resized (entries mapped up to the writer's count).
class BucketReaderTable : public Norvu::Debuggable {
public:
    BucketReaderTable(Norvu::Platform::DebugHandler& handler, const RootPath& root, Reader::Counters& counters);

    /// Maps the header. False when the file is missing, empty or cannot be mapped. Never throws.
    bool attach();

    /// A consistent copy of the mapped header. Throws CorruptionDetectedException when it cannot be read.
    [[nodiscard]] BucketTable::Header snapshotHeader() const;

    /// Checks a snapshot of the header. `fenix` 0 accepts any incarnation. False with the first failure's text in `error`,
    /// which is otherwise left alone. Throws CorruptionDetectedException when the header cannot be read.
    bool validate(unsigned fenix, std::string& error);

    /// Maps what the header's count says; does nothing, and returns false, when its version is the one last mapped.
    /// Throws CorruptionDetectedException when the file is shorter, MemoryResourceException when it cannot be mapped; the
    /// old mapping stays then.
    bool doResize();

    /// The entry of bucket `index`: one link, read as one 64-bit word. Throws CorruptionDetectedException past the mapped
    /// buckets.
    Mem::Record<Layout::kBucketEntrySize> operator[](unsigned index) const {
        if (!entries_.has(index)) [[unlikely]] {
            outOfRange(index);
        }
        return entries_[index];
    }

    /// The head of bucket `index`'s chain, acquire: a link is stored after everything that it leads to is complete. Throws
    /// like operator[], and when the file no longer holds the entry.
    [[nodiscard, gnu::always_inline]] SlotLink head(unsigned index) const {
        const SlotLink link = SlotLink::fromWord((*this)[index].word64<0>());
        mapping_.checkRead(entryOffset(index) + Layout::kBucketEntrySize);
        return link;
    }

    /// The entries mapped; stale after a resize.
    [[nodiscard]] const Mem::Row<Layout::kBucketEntrySize>& entries() const { return entries_; }
    /// Buckets mapped.
    [[nodiscard]] unsigned capacity() const { return seen_.value; }
    [[nodiscard]] bool attached() const { return mapping_.attached(); }
    /// Whether the header's count is another than the one mapped.
    [[nodiscard]] bool countChanged() const;
    [[nodiscard]] const Mem::Shared& mapping() const { return mapping_; }
    [[nodiscard]] const std::string& getFilename() const { return mapping_.getFilename(); }

    static constexpr std::size_t entryOffset(unsigned index) {
        return Layout::kBucketTableHeaderSize + std::size_t{Layout::kBucketEntrySize} * index;
    }

private:
    bool check(const Layout::BucketTableHeader& header, unsigned size, unsigned fenix, std::string& error) const;
    [[noreturn]] void outOfRange(unsigned index) const;

    Mem::Shared mapping_;
    Reader::Counters* counters_;
    Mem::VerU32 seen_;
    Mem::Row<Layout::kBucketEntrySize> entries_;
    bool mapped_ = false; ///< whether a resize has followed the attach
};

} // namespace Halyx
