#include "Halyx/HalyxTest.h"

#include "Halyx/Util.h"
#include "Mem/Directory.h"
#include "Norvu/Exception.h"
#include "Norvu/Text.h"
#include "Norvu/ValuePrinter.h"
#include "Plask/SlabReader.h"
#include "SharedMem/Blob.h"

#include <cstring>
#include <sstream>

namespace Halyx::HalyxTest {

namespace {

/// `"HALYXSLT"` as it stands in the report: hexadecimal, then its bytes as text.
struct Magic {
    std::uint64_t word;
};

std::ostream& operator<<(std::ostream& out, Magic magic) {
    return out << std::hex << magic.word << std::dec << " (\"" << Util::decodeMagic(magic.word) << "\")";
}

struct Incarnation {
    SharedMem::FenixId fenix;
};

std::ostream& operator<<(std::ostream& out, Incarnation incarnation) {
    const SharedMem::FenixId fenix = incarnation.fenix;
    return out << fenix.value << " (pid: " << fenix.pid() << " instanceId: " << fenix.instance() << ")";
}

const char* yesOrNo(bool yes) {
    return yes ? "true" : "false";
}

std::string lookasideText(const SlotTable<EmptyValue>::Header& header, const void* lookaside) {
    if (header.isDynamic()) {
        std::uint32_t word = 0;
        std::memcpy(&word, lookaside, sizeof word);
        std::ostringstream text;
        text << Plask::Layout::SlabOffset(word);
        return text.str();
    }
    std::string text;
    Norvu::Platform::getValuePrinter(std::string(header.valueTypeText()), header.valueSize)
        ->toString(lookaside, Norvu::Platform::ValueStyle::Pretty, text);
    return text;
}

/// A copy of the lookaside value, which the writer may be replacing; what the header says of its size is checked first.
void copyLookaside(const SlotReaderGenericTable& slots, const SlotTable<EmptyValue>::Header& header,
                   Mem::AutoBlob& copy) {
    constexpr std::size_t begin = offsetof(Layout::SlotTableHeader, lookasideValue);
    const std::size_t size = header.isDynamic() ? sizeof(Plask::Layout::SlabOffset) : header.valueSize;
    // The header itself always has the first bytes.
    if (size > sizeof header.lookasideValue && size + std::uint64_t{Layout::kSlotValueOffset} > header.slotSize) {
        Norvu::CorruptionDetectedException::throwException(
            "HalyxTest::formatSlotsHeader() bad slotSize: " + std::to_string(header.slotSize) + " wanted at least:" +
            std::to_string(std::uint64_t{Layout::kSlotValueOffset} + size) + " in " + slots.mapping().getFilename());
    }
    slots.checkValueSize();
    const Mem::View value = slots.mapping().view().slice(begin, size);
    copy.resize(size);
    value.copy(0, copy.data(), size);
    slots.mapping().checkRead(begin + size);
}

void getSlabHeaders(const RootPath& root, Norvu::Platform::DebugHandler& handler, std::string& out) {
    for (unsigned number = 0; number < Plask::Layout::kSlabCount; ++number) {
        const std::string file = "slab" + std::to_string(number);
        if (!root.directory()->has(file)) {
            continue;
        }
        auto& slabHandler = Norvu::Platform::getDebugHandler("SlabReader-" + std::to_string(number));
        Plask::SlabReader slab(slabHandler, root, number, false, handler);
        slab.attach(true);
        slab.validate(0);
        formatSlabHeader(number, slab.snapshotHeader(), out);
    }
}

} // namespace

void formatBucketsHeader(const BucketTable::Header& header, std::string& out) {
    std::ostringstream text;
    text << " (" << Layout::kBucketTableHeaderSize << " bytes)\n"
         << "\tMagic: 0x" << Magic{header.magic} << "\n"
         << "\tVersion: " << header.version << "\n"
         << "\tFenix: " << Incarnation{header.fenix} << "\n"
         << "\tNumBuckets: " << header.numBuckets << "\n"
         << "\tOwner pid: " << header.ownerPid << "\n";
    out += text.view();
}

void formatSlotsHeader(const SlotTable<EmptyValue>::Header& header, const void* lookaside, std::string& out) {
    std::ostringstream text;
    text << " (" << Layout::kSlotTableFixedSize << " + " << header.slotSize << " bytes)\n"
         << "\tMagic: 0x" << Magic{header.magic} << "\n"
         << "\tVersion: " << header.version << "\n"
         << "\tFenix: " << Incarnation{header.fenix} << "\n"
         << "\tHash: 0x" << std::hex << header.hash << std::dec << "\n"
         << "\tOccupied slots: " << header.occupiedSlots << "\n"
         << "\tMapped slots: " << header.numSlots << "\n"
         << "\tMax slots: " << header.maxSlots << "\n"
         << "\tFlags: 0x" << std::hex << header.flags << std::dec << "\n"
         << "\t\tDynamic: " << yesOrNo(header.isDynamic()) << "\n"
         << "\t\tConquer: " << yesOrNo(header.hasConquer()) << "\n"
         << "\tValue type: " << header.valueSize << " bytes \"" << Norvu::safeText(header.valueTypeText()) << "\"\n"
         << "\tClass type: \"" << Norvu::safeText(header.classTypeText()) << "\"\n"
         << "\tSlot size: " << header.slotSize << " bytes\n"
         << "\tHead of free list: ";
    if (header.freeSlots == Layout::kNoFreeSlot) {
        text << "None\n";
    } else {
        text << header.freeSlots << "\n";
    }
    text << "\tLookaside value: " << lookasideText(header, lookaside) << "\n";
    out += text.view();
}

void formatSlabHeader(unsigned number, const Plask::Slab::SlabHeader& header, std::string& out) {
    std::ostringstream text;
    text << "Slab " << number << " header: (" << Plask::Layout::kSlabHeaderSize << " bytes)\n"
         << "\tMagic: 0x" << Magic{header.magic} << "\n"
         << "\tVersion: " << header.version << "\n"
         << "\tFenix: " << Incarnation{header.fenix} << "\n"
         << "\tTotal entries: " << header.numEntries << "\n"
         << "\tOccupied entries: " << header.numOccupied << "\n"
         << "\tEntry size: " << header.entrySize << " bytes\n"
         << "\tHash: 0x" << std::hex << header.checksum << std::dec << "\n"
         << "\tFree list: " << header.freeList << "\n";
    out += text.view();
}

void formatIndividualConquerHeader(const Conquer::Header& header, std::string& out) {
    std::ostringstream text;
    text << "\n\t\tMagic: 0x" << Magic{header.magic} << "\n"
         << "\t\tVersion: " << header.version << "\n"
         << "\t\tFenix: " << Incarnation{header.fenix} << "\n"
         << "\t\tNotifications: " << header.notifications << "\n\t\tCurrent position: " << header.currentPos << "\n";
    out += text.view();
}

void formatConquerHeader(const Conquer::Header& primary, const Conquer::Header& secondary, std::string& out) {
    std::ostringstream text;
    text << " (" << Layout::kConquerHeaderSize << " bytes in primary, " << Layout::kConquerHeaderSize
         << " bytes in secondary)\n"
         << "\tMinimum sequence: " << primary.minimumSequence << "\n"
         << "\tNumber of connected readers: " << primary.connectedReaders << "\n"
         << "\tCurrent table: " << (primary.tableId.value == 0 ? "Primary" : "Secondary") << " (version: 0x" << std::hex
         << primary.tableId.version << std::dec << ")\n";
    out += text.view();
    out += "\tPrimary:";
    formatIndividualConquerHeader(primary, out);
    out += "\tSecondary:";
    formatIndividualConquerHeader(secondary, out);
}

bool halyxHasConquer(const HalyxReaderGeneric& reader) {
    return reader.slots().hasConquer();
}

void populateHalyxTableHeaderInfo(HalyxReaderGeneric& reader, ConquerReaderGeneric& conquerReader,
                                  Model::HalyxTable& table) {
    Model::HeaderInfo& info = table.headerInfo;
    try {
        if (reader.attach()) {
            info.bucketCapacity = reader.buckets().snapshotHeader().numBuckets.value;
            info.slotCapacity = reader.slots().attachedHeader().maxSlots;
            info.occupiedSlots = reader.slots().attachedHeader().occupiedSlots;
        }
    } catch (const Norvu::CorruptionDetectedException&) {
        // Cut short meanwhile: not known.
    }
    try {
        if (conquerReader.attach()) {
            const auto countOf = [&](Conquer::ConquerTableId id) {
                return conquerReader.snapshotHeader(id).notifications.value;
            };
            const std::uint32_t primary = countOf(Conquer::ConquerTableId::Primary);
            info.secondaryNotificationCapacity = countOf(Conquer::ConquerTableId::Secondary);
            info.primaryNotificationCapacity = primary;
        }
    } catch (const Norvu::CorruptionDetectedException&) {
        // Likewise.
    }
}

void getHeaders(const HalyxReaderGeneric& reader, const ConquerReaderGeneric& conquer, std::string& buckets,
                std::string& slots, std::string& conquerText, const RootPath& root,
                Norvu::Platform::DebugHandler& handler) {
    formatBucketsHeader(reader.buckets().snapshotHeader(), buckets);
    const SlotTable<EmptyValue>::Header header = reader.slots().attachedHeader();
    Mem::AutoBlob lookaside;
    copyLookaside(reader.slots(), header, lookaside);
    formatSlotsHeader(header, lookaside.data(), slots);
    if (header.isDynamic()) {
        getSlabHeaders(root, handler, slots);
    }
    conquerText.clear();
    if (halyxHasConquer(reader)) {
        formatConquerHeader(conquer.snapshotHeader(Conquer::ConquerTableId::Primary),
                            conquer.snapshotHeader(Conquer::ConquerTableId::Secondary), conquerText);
    }
}

} // namespace Halyx::HalyxTest
