#include "Plask/ReaderAllocator.h"

#include "Mem/Directory.h"
#include "Norvu/Exception.h"

namespace Plask {

ReaderAllocator::ReaderAllocator(Norvu::Platform::DebugHandler& handler, const Mem::RootPath& root)
    : Debuggable(handler), directory_(root.directory()), path_(root.text()) {
    unsigned number = 0;
    for (auto& reader : readers_) {
        reader = std::make_unique<SlabReader>(handler, root, number++, false);
        // A writer that puts a new incarnation in place removes these files' names; the reader needs the files.
        reader->hold();
    }
}

/// Races with a writer that makes a slab file for the first time and then puts a new incarnation in place, which takes the
/// file away before this reader has opened it. Nothing is wrong with either incarnation; the value is just not to be had.
void ReaderAllocator::checkInPlace(const SlabReader& reader) const {
    if (!reader.mapping().held() && !directory_->isAt(path_)) {
        Norvu::MemoryResourceException::throwException(
            reader.name() + "::attach() " + reader.mapping().getFilename() +
            " is gone: a new incarnation took the collection's place, or it was removed");
    }
}

void ReaderAllocator::attach(SlabReader& reader) {
    try {
        if (reader.attach(true)) {
            reader.validate(fenix_.value);
        }
    } catch (const Norvu::CorruptionDetectedException&) {
        checkInPlace(reader);
        reader.detach();
        throw;
    } catch (...) {
        reader.detach();
        throw;
    }
}

std::uint64_t ReaderAllocator::fileBytes() const {
    std::uint64_t sum = 0;
    for (const auto& reader : readers_) {
        sum += reader->mapping().storedRegionSize();
    }
    return sum;
}

} // namespace Plask
