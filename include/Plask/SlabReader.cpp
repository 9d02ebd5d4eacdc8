#include "Plask/SlabReader.h"

#include "Mem/Snapshot.h"
#include "Norvu/Exception.h"

#include <limits>
#include <sstream>

namespace Plask {

namespace {

constexpr const char* kSource = "/usr/include/Plask/SlabReader";
constexpr std::size_t kPairOffset = offsetof(Layout::SlabHeader, numEntries);
constexpr Mem::VerU32 kNothingSeen{0xffffffff, 0};

} // namespace

SlabReader::SlabReader(Norvu::Platform::DebugHandler& handler, const Mem::RootPath& root, unsigned number,
                       bool localMem)
    : SlabReader(handler, root, number, localMem, handler) {}

SlabReader::SlabReader(Norvu::Platform::DebugHandler& handler, const Mem::RootPath& root, unsigned number,
                       bool localMem, Norvu::Platform::DebugHandler& mappingHandler)
    : Slab(handler), mapping_(mappingHandler, root, ("slab" + std::to_string(number)).c_str(), localMem),
      number_(number), name_("SlabReader-" + std::to_string(number) + "-?"), seen_(kNothingSeen) {}

SlabReader::~SlabReader() {
    detach();
}

void SlabReader::corrupt(const std::string& text) const {
    Norvu::CorruptionDetectedException::throwException(name_ + text);
}

Slab::SlabHeader SlabReader::snapshotHeader() const {
    const auto header = Mem::snapshot<SlabHeader>(mapping_.view(), kPairOffset);
    mapping_.checkFault();
    return header;
}

bool SlabReader::attach(bool mustExist) {
    // Held before it is measured, so that size and bytes are of one file.
    mapping_.hold();
    if (mapping_.regionSize() == 0) {
        if (!mustExist) {
            return false;
        }
        corrupt("::attach() no shared memory region");
    }
    if (mapping_.attach(Layout::kSlabHeaderSize, Mem::Mode::ReadOnlyShared, true) == nullptr) {
        corrupt("::attach() cannot attach to shmem size:" + std::to_string(Layout::kSlabHeaderSize));
    }
    snapshotHeader().trace(debugHandler());
    seen_ = kNothingSeen;
    mapped_ = false;
    if (debugHandler().enabled(1)) {
        debugHandler().log(name_ + "::attach() " + mapping_.getFilename() + " successfully attached", 1, kSource,
                           __LINE__, "attach");
    }
    return true;
}

void SlabReader::validate(unsigned fenix) {
    const unsigned size = mapping_.regionSize();
    const SlabHeader header = snapshotHeader();
    entrySize_ = header.entrySize;
    name_ = "SlabReader-" + std::to_string(number_) + "-" + std::to_string(entrySize_);
    const SharedMem::FenixId expected(fenix);
    std::string reason;
    // The file may have grown between the look at its size and the copy of its header: only a second failure counts.
    if (!header.check(size, expected, reason) &&
        !header.validate(debugHandler(), mapping_.regionSize(), expected, reason)) {
        corrupt("::validate() failed: " + reason);
    }
    if (entrySize_ < Layout::kSlabEntryHeaderSize) {
        corrupt("::validate() bad entrySize: " + std::to_string(entrySize_) +
                " wanted at least:" + std::to_string(Layout::kSlabEntryHeaderSize));
    }
}

void SlabReader::doResize() {
    // Growth is seen here first: the writer stores the pair, release, after the file holds the entries it counts.
    if (mapped_ && mapping_.view().word(kPairOffset) == seen_.version) [[likely]] {
        return;
    }
    SlabHeader header;
    std::uint64_t needed = 0;
    for (;;) {
        header = snapshotHeader();
        needed = neededSlabSize(header.entrySize, header.numEntries.value);
        const unsigned size = mapping_.regionSize();
        if (size >= needed) {
            break;
        }
        if (mapping_.view().word(kPairOffset) == header.numEntries.version) {
            corrupt("::doResize() bad shmem size:" + std::to_string(size) + " wanted:" + std::to_string(needed));
        }
    }
    if (header.entrySize != entrySize_) {
        corrupt("::doResize() entrySize changed from " + std::to_string(entrySize_) + " to " +
                std::to_string(header.entrySize));
    }
    if (debugHandler().enabled(1)) {
        Norvu::Platform::DebugStream record;
        record << name_ << "::doResize() " << mapping_.getFilename() << " from " << seen_.value << " entries to "
               << header.numEntries.value;
        debugHandler().log(record, 2, kSource, __LINE__, "doResize");
    }
    const void* const old = mapping_.base();
    if (needed > std::numeric_limits<unsigned>::max() || mapping_.remap(static_cast<unsigned>(needed)) == nullptr) {
        std::ostringstream text;
        text << name_ << "::doResize() failed to resize from " << seen_ << " to " << header.numEntries.value
             << " entries";
        Norvu::MemoryResourceException::throwException(text.str());
    }
    if (mapping_.base() != old && debugHandler().enabled(5)) {
        Norvu::Platform::DebugStream record;
        record << name_ << "::doResize() changed base address mapping from " << old << " to " << mapping_.base();
        debugHandler().log(record, 5, kSource, __LINE__, "doResize");
    }
    header.trace(debugHandler());
    seen_ = header.numEntries;
    mapped_ = true;
}

unsigned SlabReader::getValue(unsigned index, void* destination, unsigned room) {
    doResize();
    if (index >= seen_.value) [[unlikely]] {
        mapping_.checkFault();
        corrupt("::getEntry() index: " + std::to_string(index) +
                " is beyond farthest possible index: " + std::to_string(seen_.value));
    }
    const Mem::View view = mapping_.view();
    const auto offset = static_cast<std::size_t>(entryOffset(index));
    // Acquire, against the writer's release of the size that makes the entry whole.
    const auto size = static_cast<std::int32_t>(view.word(offset + offsetof(Layout::SlabEntry, payloadSize)));
    const std::int64_t most = std::int64_t{entrySize_} - Layout::kSlabEntryHeaderSize;
    if (size < 0 || size > most || static_cast<unsigned>(size) > room) [[unlikely]] {
        badPayload(size, index, room);
    }
    const std::size_t payload = offset + Layout::kSlabEntryHeaderSize;
    view.copy(payload, destination, static_cast<unsigned>(size));
    Mem::Atomics::acquireFence();
    mapping_.checkRead(payload + static_cast<unsigned>(size));
    return static_cast<unsigned>(size);
}

void SlabReader::badPayload(std::int32_t size, unsigned index, unsigned room) const {
    mapping_.checkRead(static_cast<std::size_t>(entryOffset(index)) + Layout::kSlabEntryHeaderSize);
    if (size < 0) {
        corrupt("::getValue() encountered unoccupied entry at index: " + std::to_string(index));
    }
    if (size > std::int64_t{entrySize_} - Layout::kSlabEntryHeaderSize) {
        corrupt("::getValue() encountered payloadSize:" + std::to_string(size) + ", but max payloadSize:" +
                std::to_string(entrySize_ - Layout::kSlabEntryHeaderSize) + " at index: " + std::to_string(index));
    }
    corrupt("::getValue() encountered payloadSize:" + std::to_string(size) + ", but valueSize:" + std::to_string(room) +
            " at index: " + std::to_string(index));
}

void SlabReader::prefetch(unsigned index) const {
    if (index < seen_.value) {
        const auto offset = static_cast<std::size_t>(entryOffset(index));
        mapping_.view().prefetch(offset);
        mapping_.view().prefetch(offset + entrySize_ - 1);
    }
}

void SlabReader::detach() {
    traceDetach();
    mapping_.release();
    seen_ = kNothingSeen;
    mapped_ = false;
}

} // namespace Plask
