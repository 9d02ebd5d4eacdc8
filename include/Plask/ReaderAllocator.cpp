#include "Plask/ReaderAllocator.h"

namespace Plask {

ReaderAllocator::ReaderAllocator(Norvu::Platform::DebugHandler& handler, const Mem::RootPath& root)
    : Debuggable(handler) {
    unsigned number = 0;
    for (auto& reader : readers_) {
        reader = std::make_unique<SlabReader>(handler, root, number++, false);
        // A writer that puts a new incarnation in place removes these files' names; the reader needs the files.
        reader->hold();
    }
}

void ReaderAllocator::attach(SlabReader& reader) {
    try {
        if (reader.attach(true)) {
            reader.validate(fenix_.value);
        }
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
