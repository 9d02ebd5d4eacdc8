#pragma once

#include "Plask/SlabReader.h"

#include <array>
#include <memory>
#include <string>

namespace Plask {

/// The slab readers of one collection, all 32 of them, each attached when the first value in it is read. Owns them.
class ReaderAllocator : public Norvu::Debuggable {
public:
    ReaderAllocator(Norvu::Platform::DebugHandler& handler, const Mem::RootPath& root);

    /// The incarnation that slabs attached from now on must be of; 0 accepts any.
    void expect(SharedMem::FenixId fenix) { fenix_ = fenix; }

    /// Copies the payload at `offset` to `destination`, which has room for `room` bytes; its length. Throws what
    /// SlabReader throws. A slab whose header is bad is detached again: nothing is ever read through it.
    /// A slab without a file is corruption only while the collection is where it was; MemoryResourceException otherwise.
    unsigned read(Layout::SlabOffset offset, void* destination, unsigned room) {
        SlabReader& reader = *readers_[offset.slab()];
        if (!reader.attached()) [[unlikely]] {
            attach(reader);
        }
        return reader.getValue(offset.index(), destination, room);
    }

    /// Asks for the cache lines at `offset`, when its slab is mapped.
    void prefetch(Layout::SlabOffset offset) const { readers_[offset.slab()]->prefetch(offset.index()); }

    /// Bytes stored in all slab files there are.
    [[nodiscard]] std::uint64_t fileBytes() const;

private:
    void attach(SlabReader& reader);
    void checkInPlace(const SlabReader& reader) const;

    std::array<std::unique_ptr<SlabReader>, Layout::kSlabCount> readers_;
    std::shared_ptr<Mem::Directory> directory_;
    std::string path_; ///< of the directory
    SharedMem::FenixId fenix_;
};

} // namespace Plask
