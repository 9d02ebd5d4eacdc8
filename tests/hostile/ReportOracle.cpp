// What the reports on headers, queues and clients print.

#include "hostile/Oracle.h"

#include "Plask/SlabLayout.h"
#include "hostile/Runner.h"

#include <cstring>

using namespace Fixtures;
using Halyx::Layout::ConquerHeader;
using Halyx::Layout::ConquerRecord;
using Plask::Layout::SlabHeader;

namespace Hostile {

namespace {

constexpr std::uint32_t kUnknown = 0xffffffff;

std::string pair(Mem::VerU32 word) {
    return hexNumber(word.version) + ":" + std::to_string(word.value);
}

std::string fenix(SharedMem::FenixId id) {
    return std::to_string(id.value) + " (pid: " + std::to_string(id.pid()) +
           " instanceId: " + std::to_string(id.instance()) + ")";
}

std::string magic(std::uint64_t word) {
    std::string text;
    for (const char c : bytesOf(word)) {
        text += c < ' ' || c > '~' || c == '"' || c == '\\' ? '.' : c;
    }
    return "0x" + hexNumber(word) + " (\"" + text + "\")";
}

std::string quoted(const char (&field)[64]) {
    return "\"" + safe(std::string(field, ::strnlen(field, sizeof field))) + "\"";
}

/// The printed queues of both files, unless one of them cannot be attached.
bool queuesAttach(const CollectionView& view) {
    return view.file("conquer.1").attaches() && view.file("conquer.2").attaches();
}

std::string bucketsBlock(const CollectionView& view) {
    const auto& header = view.buckets;
    return "Buckets header: (32 bytes)\n\tMagic: " + magic(header.magic) +
           "\n\tVersion: " + std::to_string(header.version) + "\n\tFenix: " + fenix(header.fenix) +
           "\n\tNumBuckets: " + pair(header.numBuckets) + "\n\tOwner pid: " + std::to_string(header.ownerPid) + "\n\n";
}

std::string slotsBlock(const CollectionView& view, const std::string& lookaside) {
    const auto& header = view.slots;
    return "Slots header: (192 + " + std::to_string(header.slotSize) + " bytes)\n\tMagic: " + magic(header.magic) +
           "\n\tVersion: " + std::to_string(header.version) + "\n\tFenix: " + fenix(header.fenix) + "\n\tHash: 0x" +
           hexNumber(header.hash) + "\n\tOccupied slots: " + std::to_string(header.occupiedSlots) +
           "\n\tMapped slots: " + pair(header.numSlots) + "\n\tMax slots: " + std::to_string(header.maxSlots) +
           "\n\tFlags: 0x" + hexNumber(header.flags) + "\n\t\tDynamic: " + (view.dynamic() ? "true" : "false") +
           "\n\t\tConquer: " + (view.hasConquer() ? "true" : "false") +
           "\n\tValue type: " + std::to_string(header.valueSize) + " bytes " + quoted(header.valueType) +
           "\n\tClass type: " + quoted(header.classType) + "\n\tSlot size: " + std::to_string(header.slotSize) +
           " bytes\n\tHead of free list: " +
           (header.freeSlots == kUnknown ? "None" : std::to_string(header.freeSlots)) +
           "\n\tLookaside value: " + lookaside + "\n";
}

std::string slabBlock(unsigned number, const SlabHeader& header) {
    return "Slab " + std::to_string(number) + " header: (40 bytes)\n\tMagic: " + magic(header.magic) +
           "\n\tVersion: " + std::to_string(header.version) + "\n\tFenix: " + fenix(header.fenix) +
           "\n\tTotal entries: " + pair(header.numEntries) +
           "\n\tOccupied entries: " + std::to_string(header.numOccupied) +
           "\n\tEntry size: " + std::to_string(header.entrySize) + " bytes\n\tHash: 0x" + hexNumber(header.checksum) +
           "\n\tFree list: " + std::to_string(header.freeList) + "\n";
}

std::string queueBlock(const ConquerHeader& header) {
    return "\n\t\tMagic: " + magic(header.magic) + "\n\t\tVersion: " + std::to_string(header.version) +
           "\n\t\tFenix: " + fenix(header.fenix) + "\n\t\tNotifications: " + pair(header.notifications) +
           "\n\t\tCurrent position: " + std::to_string(header.currentPos) + "\n";
}

std::string conquerBlock(const CollectionView& view) {
    const auto primary = view.file("conquer.1").at<ConquerHeader>(0);
    const auto secondary = view.file("conquer.2").at<ConquerHeader>(0);
    return "Conquer header: (72 bytes in primary, 72 bytes in secondary)\n\tMinimum sequence: " +
           std::to_string(primary.minimumSequence) +
           "\n\tNumber of connected readers: " + std::to_string(primary.connectedReaders) +
           "\n\tCurrent table: " + (primary.tableId.value == 0 ? "Primary" : "Secondary") + " (version: 0x" +
           hexNumber(primary.tableId.version) + ")\n\tPrimary:" + queueBlock(primary) +
           "\tSecondary:" + queueBlock(secondary) + "\n";
}

/// The blocks of all slabs, or the complaint that ends the report.
bool slabBlocks(const CollectionView& view, std::string& text, std::string& complaint) {
    for (unsigned number = 0; number < Plask::Layout::kSlabCount; ++number) {
        const FileView& slab = view.file("slab" + std::to_string(number));
        if (!slab.found()) {
            continue;
        }
        const std::string reader = "halyx: SlabReader-" + std::to_string(number) + "-";
        const auto header = slab.at<SlabHeader>(0);
        if (slab.state() == FileView::State::Closed && slab.size() > 0) {
            complaint = reader + "?::attach() cannot attach to shmem size:40\n";
        } else if (slab.isDirectory()) {
            complaint = reader + Expectation::kAnything + "\n";
        } else if (!slab.attaches()) {
            complaint = reader + "?::attach() no shared memory region\n";
        } else if (const std::string fault = slabFault(slab.bytes(), slab.shownSize()); !fault.empty()) {
            complaint = reader + std::to_string(header.entrySize) + "::validate() failed: " + fault + "\n";
        } else if (header.entrySize < Plask::Layout::kSlabEntryHeaderSize) {
            complaint = reader + Expectation::kAnything + "\n";
        } else {
            text += slabBlock(number, header);
            continue;
        }
        return false;
    }
    return true;
}

std::string padded(const std::string& text) {
    return text + std::string(text.size() < 10 ? 10 - text.size() : 0, ' ');
}

std::string queueText(const CollectionView& view, unsigned queue, std::uint32_t active, bool validOnly) {
    const FileView& file = view.file(Halyx::Layout::kConquerFiles[queue]);
    const auto header = file.at<ConquerHeader>(0);
    std::string text = std::string(queue == 0 ? "Primary" : "Secondary") + " conquer queue " +
                       (queue == active ? "(active)" : "(backup)") + "\n\tnotifications:" + pair(header.notifications) +
                       "\n\tcurrentPos:" + std::to_string(header.currentPos) +
                       "\n\tcorralStart:" + std::to_string(header.corralStart) +
                       "\n\tcorralEnd:" + std::to_string(header.corralEnd) + "\n\n";
    for (std::uint32_t i = 0; i < header.notifications.value && !(validOnly && i >= header.currentPos); ++i) {
        const auto record = file.at<ConquerRecord>(Halyx::Layout::kConquerRecordsOffset + std::uint64_t{12} * i);
        if (text.size() > Runner::kKept) {
            break; // no more than that is compared
        }
        const bool none = record.slot == Halyx::Layout::kConquerNoSlot;
        if (none && validOnly) {
            continue;
        }
        text += "pos: " + padded(std::to_string(i)) +
                "  |  slot: " + padded(none ? "[ NONE ]" : std::to_string(record.slot)) +
                "  |  sequence: " + std::to_string(record.sequence()) + "\n";
    }
    return text;
}

/// What is said of queues that were not read, behind what made them so.
Expectation queuesMissed(const CollectionView& view, const std::string& complaint) {
    std::string end;
    if (!view.attaches()) {
        end = "Error attaching Halyx reader for " + safe(view.name) + "\n";
    } else if (view.hasConquer()) {
        end = "Error attaching Conquer reader for " + safe(view.name) + "\n";
    }
    return Expectation::failure("", complaint + end);
}

} // namespace

Expectation expectHeaders(const CollectionView& view) {
    if (!view.attaches()) {
        return Expectation::failure("", "Error attaching Halyx reader for " + safe(view.name) + "\n");
    }
    if (!view.sizesAreReasonable()) {
        return Expectation::anything();
    }
    if (view.hasConquer() && !queuesAttach(view)) {
        return Expectation::failure("", "Error attaching Conquer reader for " + safe(view.name) + "\n");
    }
    std::string lookaside;
    if (view.dynamic()) {
        const Plask::Layout::SlabOffset offset(fromBytes<std::uint32_t>(bytesOf(view.slots.lookasideValue)));
        lookaside =
            "Offset{ slab: " + std::to_string(offset.slab()) + " index: " + std::to_string(offset.index()) + " }";
    } else if (!valueText(view, Report::Headers, view.file("slots").part(208, view.slots.valueSize), lookaside)) {
        lookaside = Expectation::kAnything;
    }
    std::string text = "Halyx table \"" + view.path + "\"\n\n" + bucketsBlock(view) + slotsBlock(view, lookaside);
    std::string complaint;
    if (view.dynamic() && !slabBlocks(view, text, complaint)) {
        return Expectation::failure("", complaint);
    }
    return Expectation::report(text + "\n" + (view.hasConquer() ? conquerBlock(view) : ""));
}

Expectation expectQueues(const CollectionView& view, bool validOnly) {
    if (!queuesAttach(view)) {
        return queuesMissed(view, "");
    }
    for (const char* const name : Halyx::Layout::kConquerFiles) {
        const FileView& file = view.file(name);
        const std::string fault = conquerFault(file.bytes(), file.shownSize());
        if (!fault.empty()) {
            return queuesMissed(view, "Halyx " + view.path + " validation failed: " + fault + "\n");
        }
    }
    for (const char* const name : Halyx::Layout::kConquerFiles) {
        const FileView& file = view.file(name);
        const std::uint32_t count = file.at<ConquerHeader>(0).notifications.value;
        const std::uint64_t needed = 72 + std::uint64_t{12} * count;
        if (needed > file.shownSize()) {
            return Expectation::failure(
                "", "halyx: ConquerReaderGeneric::resizeConquer() requesting to map " + view.shownPath(name) + " " +
                        std::to_string(count) + " conquer notifications. Requested file resize to " +
                        std::to_string(needed) + " but real file size is " + std::to_string(file.shownSize()) + "\n");
        }
    }
    const std::uint32_t active = view.file("conquer.1").at<ConquerHeader>(0).tableId.value;
    std::string text;
    for (unsigned queue = 0; queue < 2; ++queue) {
        text += !validOnly || queue == active ? queueText(view, queue, active, validOnly) : "";
    }
    return Expectation::report(text + "Conquer scanned in 0 seconds\nRestarted 0 times\n");
}

Expectation expectClients(const CollectionView& view) {
    std::uint32_t slots = kUnknown;
    std::uint32_t buckets = kUnknown;
    std::uint32_t occupied = kUnknown;
    std::uint32_t queues[2] = {kUnknown, kUnknown};
    if (view.attaches()) {
        if (!view.sizesAreReasonable()) {
            return Expectation::anything();
        }
        slots = view.slots.maxSlots;
        buckets = view.buckets.numBuckets.value;
        occupied = view.slots.occupiedSlots;
    }
    for (unsigned queue = 0; queue < 2 && queuesAttach(view); ++queue) {
        queues[queue] = view.file(Halyx::Layout::kConquerFiles[queue]).at<ConquerHeader>(0).notifications.value;
    }
    return Expectation::report("Halyx table \"" + view.path + "\"\nCapacity: slots:" + std::to_string(slots) +
                               " buckets:" + std::to_string(buckets) + " primary_notifications:" +
                               std::to_string(queues[0]) + " secondary_notifications:" + std::to_string(queues[1]) +
                               "\nOccupied slots: " + std::to_string(occupied) + "\nClients: None\n\n");
}

} // namespace Hostile
