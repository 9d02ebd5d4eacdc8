#pragma once

#include "Plask/SlabLayout.h"
#include "SharedMem/FenixId.h"
#include "writer/Options.h"
#include "writer/SlabFile.h"

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <string_view>
#include <vector>

namespace Halyx::Writer {

class CollectionDirectory;

/// The slab files of a dynamic collection: one for each payload size, made when it is first needed. A value is stored in the
/// smallest that fits. Owns them; borrows the directory.
///
/// An entry that an element has given up rests for kGrace later operations before it is filled again, so that a reader that
/// has just learnt its offset still finds the value there.
class SlabSet {
public:
    SlabSet(const CollectionDirectory& directory, const Options& options, SharedMem::FenixId fenix);

    /// Counts one operation, and frees the entries whose rest is over.
    void nextOperation();
    /// Sees to it that a value of `size` bytes finds a free entry. Norvu::MemoryResourceException when it cannot; nothing has
    /// changed then.
    void reserve(std::size_t size);
    /// Stores a value, after reserve() for its size.
    Plask::Layout::SlabOffset insert(std::string_view value);
    /// Gives an entry up, to which no link or slot leads any more.
    void retire(Plask::Layout::SlabOffset offset);
    /// Frees all entries that rest: there will be no later operation.
    void releaseAll();

    [[nodiscard]] std::string_view value(Plask::Layout::SlabOffset offset) const {
        return slabs_.at(offset.slab())->value(offset.index());
    }
    [[nodiscard]] std::uint32_t growths() const;

    static constexpr std::uint64_t kGrace = 1024;

private:
    struct Resting {
        Plask::Layout::SlabOffset offset;
        std::uint64_t since; ///< the operation that gave it up
    };

    [[nodiscard]] unsigned slabFor(std::size_t size) const;
    void release(Plask::Layout::SlabOffset offset) { slabs_.at(offset.slab())->release(offset.index()); }

    const CollectionDirectory* directory_;
    SharedMem::FenixId fenix_;
    std::vector<std::uint32_t> payloads_;
    std::uint32_t firstEntries_;
    mode_t mode_;
    std::array<std::unique_ptr<SlabFile>, Plask::Layout::kSlabCount> slabs_;
    std::deque<Resting> resting_;
    std::uint64_t operation_ = 0;
};

} // namespace Halyx::Writer
