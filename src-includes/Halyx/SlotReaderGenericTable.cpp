#include "Halyx/SlotReaderGenericTable.h"

#include "Mem/Page.h"
#include "Mem/Snapshot.h"
#include "Norvu/Exception.h"

#include <algorithm>
#include <limits>
#include <sstream>

namespace Halyx {

namespace {

constexpr std::size_t kPairOffset = offsetof(Layout::SlotTableHeader, numSlots);
constexpr Mem::VerU32 kNothingSeen{0xffffffff, 0};

/// A value of this size is no burden, whatever files there are yet.
constexpr std::uint64_t kSmallValue = 1U << 20;

std::uint64_t neededSize(std::uint32_t slotSize, std::uint32_t count) {
    return Layout::slotArrayOffset(slotSize) + std::uint64_t{slotSize} * count;
}

} // namespace

SlotReaderGenericTable::SlotReaderGenericTable(Norvu::Platform::DebugHandler& handler, const Mem::RootPath& root,
                                               bool localMem, Reader::Counters& counters)
    : SlotTable(handler, root, localMem), root_(&root), counters_(&counters), seen_(kNothingSeen) {}

SlotReaderGenericTable::Header SlotReaderGenericTable::snapshotHeader() const {
    const auto header = Mem::snapshot<Header>(mapping().view(), kPairOffset);
    mapping().checkFault();
    return header;
}

bool SlotReaderGenericTable::validate(SharedMem::FenixId expected, Header& snapshot, std::string& error) const {
    const unsigned size = mapping().regionSize();
    snapshot = snapshotHeader();
    // R7: the file may have grown between the look at its size and the copy of its header: only a second failure counts.
    return snapshot.check(size, expected, error) ||
           snapshot.validate(debugHandler(), mapping().regionSize(), expected, error);
}

bool SlotReaderGenericTable::mapHeader() {
    // Held before it is measured, so that size and bytes are of one file.
    ownMapping().hold();
    const unsigned size = mapping().regionSize();
    if (size == 0 || ownMapping().attach(Mem::pageSize_, Mem::Mode::ReadOnlyShared, true) == nullptr) {
        return false;
    }
    const std::uint32_t slotSize = mapping().view().word(offsetof(Layout::SlotTableHeader, slotSize));
    // A slot size from a bad header must not ask for more than there is; the header's check comes next.
    const std::uint64_t wanted = std::uint64_t{Layout::kSlotTableHeaderSize} + slotSize;
    const std::uint64_t most = std::max(size, Mem::pageSize_);
    return ownMapping().remap(static_cast<unsigned>(std::min(wanted, most))) != nullptr;
}

bool SlotReaderGenericTable::attach() {
    attachReason_.clear();
    seen_ = kNothingSeen;
    slots_ = {};
    mapped_ = false;
    try {
        if (!mapHeader()) {
            return false;
        }
        Header header = snapshotHeader();
        header.trace(debugHandler());
        if (!validate(SharedMem::FenixId(), header, attachReason_)) {
            return false;
        }
        valueSize_ = header.valueSize;
        slotSize_ = header.slotSize;
        flags_ = header.flags;
        attachedHeader_ = header;
        if (header.isDynamic()) {
            allocator_ = std::make_unique<DynamicGenericAllocator>(debugHandler(), *root_, header.valueSize);
        } else {
            allocator_ = std::make_unique<StaticGenericAllocator>(header.valueSize);
        }
        return true;
    } catch (const Norvu::CorruptionDetectedException&) {
        return false; // the file was cut short while its header was read
    }
}

void SlotReaderGenericTable::checkLayout(const Header& header) const {
    std::ostringstream text;
    const std::uint64_t least =
        std::uint64_t{Layout::kSlotValueOffset} +
        (header.isDynamic() ? sizeof(Plask::Layout::SlabOffset) : std::size_t{header.valueSize});
    if (header.slotSize != slotSize_ || header.valueSize != valueSize_ || header.flags != flags_) {
        text << "SlotReaderGeneric::doResize() header changed while mapped, slotSize: " << header.slotSize
             << " wanted:" << slotSize_ << " valueSize: " << header.valueSize << " wanted:" << valueSize_
             << " flags: 0x" << std::hex << header.flags << " wanted:0x" << flags_;
    } else if (header.slotSize < least) {
        text << "SlotReaderGeneric::doResize() bad slotSize: " << header.slotSize << " wanted at least:" << least
             << " for "
             << (header.isDynamic() ? "a slab offset" : "a value of " + std::to_string(header.valueSize) + " bytes");
    } else {
        return;
    }
    Norvu::CorruptionDetectedException::throwException(text.str() + " in " + mapping().getFilename());
}

bool SlotReaderGenericTable::doResize() {
    // R5, W5: growth is seen here first: the writer stores the pair, release, after the file holds the slots it counts.
    if (mapped_ && mapping().view().word(kPairOffset) == seen_.version) {
        mapping().checkFault();
        return false;
    }
    Header header;
    std::string reason;
    if (!validate(SharedMem::FenixId(), header, reason)) {
        Norvu::CorruptionDetectedException::throwException(
            "SlotReaderGeneric::doResize() header validation failed. Reason: " + reason);
    }
    checkLayout(header);
    const std::uint32_t count = header.numSlots.value;
    const std::uint64_t needed = neededSize(header.slotSize, count);
    const unsigned size = mapping().regionSize();
    if (size < needed) {
        std::ostringstream text;
        text << "SlotReaderGeneric::doResize() requesting to map " << mapping().getFilename() << " " << count
             << " slots. Requested file resize to " << needed << " but real file size is " << size;
        Norvu::CorruptionDetectedException::throwException(text.str());
    }
    const void* const old = mapping().base();
    // The smallest slots leave the array's begin inside the header, which stays mapped whole.
    const std::uint64_t mapped = std::max<std::uint64_t>(needed, Layout::kSlotTableHeaderSize);
    if (ownMapping().remap(static_cast<unsigned>(mapped)) == nullptr) {
        std::ostringstream text;
        text << "SlotReaderGeneric::doResize() failed to resize " << mapping().getFilename() << " from " << seen_
             << " to " << header.numSlots << " slots, needed " << needed << " bytes. Reason: " << mapping().errorText();
        Norvu::MemoryResourceException::throwException(text.str());
    }
    counters_->baseChanges += mapping().base() != old ? 1U : 0U;
    ++counters_->resizes;
    seen_ = header.numSlots;
    mapped_ = true;
    slotsBegin_ = static_cast<std::size_t>(Layout::slotArrayOffset(slotSize_));
    slots_ = Mem::Row<Layout::kSlotValueOffset>(
        mapping().view().slice(slotsBegin_, static_cast<std::size_t>(needed) - slotsBegin_), slotSize_);
    return true;
}

void SlotReaderGenericTable::checkValueSize() const {
    const std::uint64_t most = fileBytes();
    if (valueSize_ > kSmallValue && valueSize_ > most) {
        Norvu::CorruptionDetectedException::throwException(
            "SlotReaderGeneric::checkValueSize() bad valueSize: " + std::to_string(valueSize_) + " in " +
            mapping().getFilename() + " but all files of the collection hold " + std::to_string(most) + " bytes");
    }
}

void SlotReaderGenericTable::outOfRange(unsigned index) const {
    std::ostringstream text;
    text << "SlotReaderGenericTable::getSlot() out-of-range index: " << index << " numSlots:" << capacity();
    Norvu::CorruptionDetectedException::throwException(text.str());
}

} // namespace Halyx
