#include "live/Remains.h"

#include "Halyx/BucketTableLayout.h"
#include "Halyx/ConquerTableLayout.h"
#include "Halyx/SlotTableLayout.h"
#include "Plask/SlabLayout.h"
#include "fixtures/Bytes.h"
#include "fixtures/ScratchRoot.h"

#include <filesystem>

using namespace Fixtures;
using namespace Halyx::Layout;
using Plask::Layout::SlabHeader;

namespace {

/// A file that is longer than its count needs was being made longer.
bool growing(const std::string& bytes, std::uint64_t needed) {
    return bytes.size() > needed;
}

void lookAtSlots(const std::string& bytes, std::vector<std::string>& found) {
    const auto header = fromBytes<SlotTableHeader>(bytes);
    const std::uint64_t begin = slotArrayOffset(header.slotSize);
    if (growing(bytes, begin + std::uint64_t{header.slotSize} * header.numSlots.value)) {
        found.emplace_back("growth of slots");
    }
    std::uint32_t inFreeList = 0;
    for (std::uint32_t slot = header.freeSlots; slot < header.numSlots.value && inFreeList < header.numSlots.value;
         ++inFreeList) {
        slot = static_cast<std::uint32_t>(
            fromBytes<SlotRecord>(bytes, static_cast<std::size_t>(begin + std::uint64_t{header.slotSize} * slot))
                .next.index);
    }
    for (std::uint32_t slot = 0; slot < header.numSlots.value; ++slot) {
        const auto record =
            fromBytes<SlotRecord>(bytes, static_cast<std::size_t>(begin + std::uint64_t{header.slotSize} * slot));
        if ((record.state & kSlotStateLookaside) != 0) {
            found.emplace_back("replacement");
            break;
        }
    }
    if (header.numSlots.value - inFreeList != header.occupiedSlots) {
        found.emplace_back("insertion or erasure");
    }
}

void lookAtQueues(const std::string (&bytes)[2], std::vector<std::string>& found) {
    ConquerHeader headers[2];
    bool grows = false;
    for (unsigned queue = 0; queue < 2; ++queue) {
        headers[queue] = fromBytes<ConquerHeader>(bytes[queue]);
        grows = grows || growing(bytes[queue], kConquerHeaderSize + std::uint64_t{kConquerRecordSize} *
                                                                        headers[queue].notifications.value);
    }
    if (grows) {
        found.emplace_back("growth of a queue");
    }
    const ConquerHeader& active = headers[headers[0].tableId.value & 1U];
    const ConquerHeader& backup = headers[1 - (headers[0].tableId.value & 1U)];
    // Emptied, and not the active one yet; or active in one file only.
    if (headers[0].tableId.version != headers[1].tableId.version ||
        (headers[0].tableId.version > 1 && backup.currentPos == 0)) {
        found.emplace_back("switch of queues");
    } else if (active.corralEnd - active.corralStart != active.currentPos) {
        found.emplace_back("notification");
    }
}

} // namespace

std::vector<std::string> unfinishedWork(const std::string& shmem, const std::string& collectionPath, pid_t writer) {
    std::vector<std::string> found;
    const std::string spare = ".halyxes-new." + std::to_string(writer) + ".";
    for (const auto& entry : std::filesystem::directory_iterator(shmem)) {
        if (entry.path().filename().string().compare(0, spare.size(), spare) == 0) {
            found.emplace_back(entry.is_directory() ? "creation or removal of an incarnation" : "creation of a slab");
        }
    }
    if (!exists(collectionPath + "/" + kSlotsFile)) {
        return found;
    }
    lookAtSlots(readFile(collectionPath + "/" + kSlotsFile), found);
    const std::string buckets = readFile(collectionPath + "/" + kBucketsFile);
    if (growing(buckets, kBucketTableHeaderSize + std::uint64_t{kBucketEntrySize} *
                                                      fromBytes<BucketTableHeader>(buckets).numBuckets.value)) {
        found.emplace_back("growth of buckets");
    }
    for (unsigned number = 0; number < Plask::Layout::kSlabCount; ++number) {
        const std::string path = collectionPath + "/slab" + std::to_string(number);
        if (exists(path)) {
            const std::string bytes = readFile(path);
            const auto header = fromBytes<SlabHeader>(bytes);
            if (growing(bytes,
                        Plask::Layout::kSlabHeaderSize + std::uint64_t{header.entrySize} * header.numEntries.value)) {
                found.emplace_back("growth of a slab");
            }
        }
    }
    const std::string queues[2] = {readFile(collectionPath + "/" + kConquerFiles[0]),
                                   readFile(collectionPath + "/" + kConquerFiles[1])};
    lookAtQueues(queues, found);
    return found;
}
