#include "writer/ExistingCollection.h"

#include "Halyx/BucketTableLayout.h"
#include "Halyx/ConquerTableLayout.h"
#include "Norvu/Exception.h"
#include "Norvu/Text.h"
#include "writer/Checksums.h"

#include <algorithm>
#include <charconv>

namespace Halyx::Writer {

namespace {

using Layout::BucketTableHeader;
using Layout::ConquerHeader;
using Layout::SlotTableHeader;
using Plask::Layout::SlabEntry;
using Plask::Layout::SlabHeader;

std::string hex(std::uint32_t value) {
    char digits[8];
    const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, value, 16);
    return "0x" + std::string(digits, end.ptr);
}

[[noreturn]] void damaged(const Mem::Shared& file, std::uint64_t offset, const std::string& found,
                          const std::string& expected) {
    Norvu::CorruptionDetectedException::throwException(file.getFilename() + ": offset " + std::to_string(offset) +
                                                       " holds " + found + ", expected " + expected);
}

void expect(bool good, const Mem::Shared& file, std::uint64_t offset, std::uint64_t found,
            const std::string& expected) {
    if (!good) {
        damaged(file, offset, std::to_string(found), expected);
    }
}

void expectMagic(const Mem::Shared& file, std::uint64_t magic) {
    const std::uint64_t found = file.view().word64(0);
    if (found != magic) {
        const std::string bytes = Norvu::dumpHex(&found, sizeof found);
        damaged(file, 0, bytes, Norvu::dumpHex(&magic, sizeof magic));
    }
}

void expectSize(const Mem::Shared& file, std::uint64_t needed, const std::string& why) {
    if (file.size() < needed) {
        Norvu::CorruptionDetectedException::throwException(file.getFilename() + ": has " + std::to_string(file.size()) +
                                                           " bytes, expected " + std::to_string(needed) + " for " +
                                                           why);
    }
}

/// The text of a header's name field, which must end inside the field.
std::string nameIn(const Mem::Shared& file, std::uint64_t offset, const char (&field)[64]) {
    const std::string_view text = Norvu::boundedText(field, sizeof field);
    if (text.size() == sizeof field) {
        damaged(file, offset, "64 bytes without a NUL", "a name that ends");
    }
    return std::string(text);
}

} // namespace

ExistingCollection::ExistingCollection(std::string path)
    : path_(std::move(path)), handler_(&Norvu::Platform::getDebugHandler("HalyxWriter")) {
    slots_ = map(Layout::kSlotsFile, Layout::kSlotTableHeaderSize);
    slots_->view().copy(0, &header_, sizeof header_);
    checkSlots();
    buckets_ = map(Layout::kBucketsFile, Layout::kBucketTableHeaderSize);
    checkBuckets();
    if ((header_.flags & Layout::kSlotFlagConquer) != 0) {
        const auto queue = map(Layout::kConquerFiles[0], Layout::kConquerHeaderSize);
        expectMagic(*queue, Layout::kConquerMagic);
        notifications_ = queue->view().pair(offsetof(ConquerHeader, notifications)).value;
        expectSize(*queue, Layout::kConquerHeaderSize + std::uint64_t{Layout::kConquerRecordSize} * notifications_,
                   std::to_string(notifications_) + " notifications");
        expect(notifications_ != 0, *queue, offsetof(ConquerHeader, notifications) + 4, 0, "a number of notifications");
    }
}

std::unique_ptr<Mem::Shared> ExistingCollection::map(const std::string& name, std::uint64_t least) const {
    auto file = std::make_unique<Mem::Shared>(*handler_, path_.c_str(), name.c_str(), false,
                                              Mem::Shared::SHARED_DEFAULT_FLAGS, false);
    const unsigned size = file->memSize();
    if (size < least) {
        Norvu::CorruptionDetectedException::throwException(file->getFilename() + ": has " + std::to_string(size) +
                                                           " bytes, expected a header of " + std::to_string(least));
    }
    if (file->attach(size, Mem::Mode::ReadOnlyShared, true, {}) == nullptr) {
        Norvu::MemoryResourceException::throwException("cannot map " + file->getFilename() + ": " + file->errorText());
    }
    return file;
}

void ExistingCollection::checkSlots() {
    const Mem::Shared& file = *slots_;
    expectMagic(file, Layout::kSlotTableMagic);
    expect(header_.version == Layout::kSlotTableVersion, file, offsetof(SlotTableHeader, version), header_.version,
           std::to_string(Layout::kSlotTableVersion));
    expect(header_.platform == Layout::kSlotTablePlatform, file, offsetof(SlotTableHeader, platform), header_.platform,
           std::to_string(Layout::kSlotTablePlatform));
    const std::uint32_t sum = checksumOf(header_);
    if (header_.hash != sum) {
        damaged(file, offsetof(SlotTableHeader, hash), hex(header_.hash), "the checksum " + hex(sum));
    }
    const std::uint32_t stored = (header_.flags & Layout::kSlotFlagDynamic) != 0 ? 4 : header_.valueSize;
    const bool holdsValue = header_.slotSize >= Layout::kGenericSlotSize && header_.slotSize % 8 == 0 &&
                            stored <= header_.slotSize - Layout::kSlotValueOffset;
    expect(holdsValue, file, offsetof(SlotTableHeader, slotSize), header_.slotSize,
           "a multiple of 8 with room for a value of " + std::to_string(stored) + " bytes");
    expectSize(file,
               Layout::slotArrayOffset(header_.slotSize) + std::uint64_t{header_.slotSize} * header_.numSlots.value,
               std::to_string(header_.numSlots.value) + " slots");
}

void ExistingCollection::checkBuckets() {
    const Mem::Shared& file = *buckets_;
    expectMagic(file, Layout::kBucketTableMagic);
    BucketTableHeader header{};
    file.view().copy(0, &header, sizeof header);
    expect(header.version == Layout::kBucketTableVersion, file, offsetof(BucketTableHeader, version), header.version,
           std::to_string(Layout::kBucketTableVersion));
    if (header.fenix != header_.fenix) {
        damaged(file, offsetof(BucketTableHeader, fenix), hex(header.fenix.value),
                hex(header_.fenix.value) + " as in " + slots_->getFilename());
    }
    bucketCount_ = header.numBuckets.value;
    expect(bucketCount_ != 0, file, offsetof(BucketTableHeader, numBuckets) + 4, 0, "a number of buckets");
    expectSize(file, Layout::kBucketTableHeaderSize + std::uint64_t{Layout::kBucketEntrySize} * bucketCount_,
               std::to_string(bucketCount_) + " buckets");
}

void ExistingCollection::describe(Options& options) const {
    options.valueType = nameIn(*slots_, offsetof(SlotTableHeader, valueType), header_.valueType);
    options.classType = nameIn(*slots_, offsetof(SlotTableHeader, classType), header_.classType);
    options.valueSize = header_.valueSize;
    options.slotSize = header_.slotSize;
    options.maxSlots = header_.maxSlots;
    options.slots = header_.numSlots.value;
    options.buckets = bucketCount_;
    options.dynamic = (header_.flags & Layout::kSlotFlagDynamic) != 0;
    options.conquer = (header_.flags & Layout::kSlotFlagConquer) != 0;
    if (options.conquer) {
        options.notifications = notifications_;
        // Not eight times as many, or every restart would allow larger queues than the one before.
        options.maxNotifications = std::max(options.maxNotifications, notifications_);
    }
}

std::size_t ExistingCollection::slotOffset(std::uint32_t slot) const {
    return static_cast<std::size_t>(Layout::slotArrayOffset(header_.slotSize) + std::uint64_t{header_.slotSize} * slot);
}

ExistingCollection::Slab& ExistingCollection::slab(unsigned number) const {
    Slab& slab = slabs_.at(number);
    if (!slab.file) {
        auto file = map("slab" + std::to_string(number), Plask::Layout::kSlabHeaderSize);
        expectMagic(*file, Plask::Layout::kSlabMagic);
        SlabHeader header{};
        file->view().copy(0, &header, sizeof header);
        expect(header.version == Plask::Layout::kSlabVersion, *file, offsetof(SlabHeader, version), header.version,
               std::to_string(Plask::Layout::kSlabVersion));
        const std::uint32_t sum = checksumOf(header.entrySize);
        if (header.checksum != sum) {
            damaged(*file, offsetof(SlabHeader, checksum), hex(header.checksum), "the checksum " + hex(sum));
        }
        expect(header.entrySize >= Plask::Layout::kSlabEntryHeaderSize, *file, offsetof(SlabHeader, entrySize),
               header.entrySize, "room for an entry's head");
        expectSize(*file, Plask::Layout::kSlabHeaderSize + std::uint64_t{header.entrySize} * header.numEntries.value,
                   std::to_string(header.numEntries.value) + " entries");
        slab = {std::move(file), header.entrySize, header.numEntries.value};
    }
    return slab;
}

std::string_view ExistingCollection::valueOf(std::uint32_t slot, std::string& buffer) const {
    const Mem::View& slots = slots_->view();
    const std::size_t at = slotOffset(slot);
    // A writer killed between the two state words left the value half written, and the lookaside value whole.
    const bool lookaside = (slots.word(at + offsetof(Layout::SlotRecord, state)) & Layout::kSlotStateLookaside) != 0;
    const std::size_t stored = lookaside ? offsetof(SlotTableHeader, lookasideValue) : at + Layout::kSlotValueOffset;
    if ((header_.flags & Layout::kSlotFlagDynamic) == 0) {
        buffer.resize(header_.valueSize);
        slots.copy(stored, buffer.data(), buffer.size());
        return buffer;
    }
    const Plask::Layout::SlabOffset offset(slots.word(stored));
    const Slab& from = slab(offset.slab());
    expect(offset.index() < from.entries, *slots_, stored, offset.word,
           "an entry below " + std::to_string(from.entries) + " of " + from.file->getFilename());
    const std::size_t entry = Plask::Layout::kSlabHeaderSize + std::size_t{from.entrySize} * offset.index();
    const std::uint32_t size = from.file->view().word(entry + offsetof(SlabEntry, payloadSize));
    const std::uint32_t most = std::min(from.entrySize - Plask::Layout::kSlabEntryHeaderSize, header_.valueSize);
    expect(size <= most, *from.file, entry, size, "the size of a value, at most " + std::to_string(most));
    buffer.resize(size);
    from.file->view().copy(entry + Plask::Layout::kSlabEntryHeaderSize, buffer.data(), size);
    from.file->checkFault();
    return buffer;
}

void ExistingCollection::forEach(const std::function<void(std::string_view)>& visit) const {
    std::string buffer;
    std::uint32_t links = 0;
    for (std::uint32_t bucket = 0; bucket < bucketCount_; ++bucket) {
        const Mem::Shared* file = buckets_.get();
        std::size_t at = Layout::kBucketTableHeaderSize + std::size_t{Layout::kBucketEntrySize} * bucket;
        for (;;) {
            const std::int32_t index = SlotLink::fromWord(file->view().word64(at)).index;
            if (index < 0) {
                const std::uint32_t named = static_cast<std::uint32_t>(index) & 0x7fffffffU;
                expect(index == kEndOfChain || named < bucketCount_, *file, at + 4, named, "the end of a chain");
                break;
            }
            const auto slot = static_cast<std::uint32_t>(index);
            expect(slot < header_.numSlots.value, *file, at + 4, slot,
                   "a slot below " + std::to_string(header_.numSlots.value));
            expect(++links <= header_.numSlots.value, *file, at + 4, slot,
                   "another link: there are more links than slots, so a chain does not end");
            visit(valueOf(slot, buffer));
            file = slots_.get();
            at = slotOffset(slot);
        }
    }
    slots_->checkFault();
    buckets_->checkFault();
}

} // namespace Halyx::Writer
