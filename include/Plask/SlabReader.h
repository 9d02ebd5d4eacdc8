#pragma once

#include "Plask/Slab.h"
#include "SharedMem/SharedMemWrapper.h"

#include <string>

namespace Plask {

/// The read-only view of one slab file. Owns the mapping, which follows the writer's growth; no address of an entry is kept
/// across calls.
///
/// Life: detached, attached (header mapped), validated (entry size known), resized (entries mapped).
/// What contradicts itself throws CorruptionDetectedException with name() at its head; a remap that fails throws
/// MemoryResourceException.
class SlabReader : public Slab {
public:
    SlabReader(Norvu::Platform::DebugHandler& handler, const Mem::RootPath& root, unsigned number, bool localMem);
    /// The same with another handler for its mapping's records.
    SlabReader(Norvu::Platform::DebugHandler& handler, const Mem::RootPath& root, unsigned number, bool localMem,
               Norvu::Platform::DebugHandler& mappingHandler);
    ~SlabReader() override;
    SlabReader(const SlabReader&) = delete;
    SlabReader& operator=(const SlabReader&) = delete;

    /// Opens the file, when there is one, without mapping it: a later attach then meets this incarnation's file.
    void hold() { mapping_.hold(); }

    /// Maps the header. A file that is missing or empty is false, or an exception when it must exist.
    bool attach(bool mustExist);

    /// Learns the entry size and throws on a bad header. 0 accepts any incarnation.
    void validate(unsigned fenix);

    /// Maps what the header's count says when its version is not the one last mapped.
    void doResize();

    /// Copies the payload of entry `index` to `destination`, which has room for `room` bytes; the number of bytes copied.
    /// What it copied may be stale or torn when the entry was freed and used again meanwhile: the caller looks at the link
    /// and the state that led here once more.
    unsigned getValue(unsigned index, void* destination, unsigned room);

    /// Asks for the cache lines at the start of entry `index`, when it is mapped.
    void prefetch(unsigned index) const;

    void detach();

    [[nodiscard]] bool attached() const { return mapping_.attached(); }
    [[nodiscard]] const std::string& name() const { return name_; }
    [[nodiscard]] unsigned capacity() const { return seen_.value; }
    [[nodiscard]] Mem::SharedMemWrapper& mapping() { return mapping_; }
    [[nodiscard]] const Mem::SharedMemWrapper& mapping() const { return mapping_; }

    /// A consistent copy of the mapped header. Throws CorruptionDetectedException when it cannot be read.
    [[nodiscard]] SlabHeader snapshotHeader() const;

private:
    [[nodiscard]] std::uint64_t entryOffset(unsigned index) const {
        return Layout::kSlabHeaderSize + std::uint64_t{entrySize_} * index;
    }
    [[noreturn]] void corrupt(const std::string& text) const;
    [[noreturn]] void badPayload(std::int32_t size, unsigned index, unsigned room) const;

    Mem::SharedMemWrapper mapping_;
    unsigned number_;
    std::string name_;
    Mem::VerU32 seen_;
    bool mapped_ = false; ///< whether a resize has followed the attach
    std::uint32_t entrySize_ = 0;
};

} // namespace Plask
