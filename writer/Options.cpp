#include "writer/Options.h"

#include "Halyx/BucketTableLayout.h"
#include "Halyx/ConquerTableLayout.h"
#include "Halyx/SlotTableLayout.h"
#include "Plask/SlabLayout.h"
#include "writer/Errors.h"
#include "writer/FileMapping.h"

#include <algorithm>

namespace Halyx::Writer {

namespace {

constexpr std::uint32_t kMostValueBytes = 16U << 20;
constexpr std::uint32_t kSmallestPayload = 16;

void require(bool good, const std::string& text) {
    if (!good) {
        RefusedException::throwException(text);
    }
}

std::uint32_t roundUp8(std::uint32_t size) {
    return (size + 7) & ~std::uint32_t{7};
}

void checkName(const std::string& name, std::size_t field, const char* what) {
    require(name.size() < field, std::string("a ") + what + " has at most " + std::to_string(field - 1) + " bytes");
    require(name.find('\0') == std::string::npos, std::string("a ") + what + " holds no NUL");
}

void checkPayloads(const std::vector<std::uint32_t>& payloads, std::uint32_t valueSize) {
    require(payloads.size() <= Plask::Layout::kSlabCount, "there are at most 32 slab sizes");
    std::uint32_t last = 0;
    for (const std::uint32_t payload : payloads) {
        require(payload > last && payload % 8 == 0 && payload <= 2 * kMostValueBytes,
                "slab sizes go up and are multiples of 8: " + std::to_string(payload));
        last = payload;
    }
    require(last >= valueSize, "the largest slab size must take a value of " + std::to_string(valueSize) + " bytes");
}

} // namespace

void Options::complete() {
    checkName(valueType, sizeof Layout::SlotTableHeader::valueType, "value type");
    checkName(classType, sizeof Layout::SlotTableHeader::classType, "class name");
    require(!valueType.empty(), "a collection needs a value type");
    require(valueSize != 0 && valueSize <= kMostValueBytes,
            "a value has 1 to " + std::to_string(kMostValueBytes) + " bytes, not " + std::to_string(valueSize));

    const std::uint32_t smallest =
        dynamic ? Layout::kGenericSlotSize : Layout::kSlotValueOffset + roundUp8(std::max(valueSize, 8U));
    slotSize = slotSize == 0 ? smallest : slotSize;
    require(slotSize >= smallest && slotSize % 8 == 0 && slotSize <= 2 * kMostValueBytes,
            "a slot of this collection has " + std::to_string(smallest) + " bytes or more, a multiple of 8, not " +
                std::to_string(slotSize));

    constexpr std::uint64_t most = FileMapping::kMostBytes;
    const auto fitting = static_cast<std::uint32_t>((most - Layout::slotArrayOffset(slotSize)) / slotSize);
    maxSlots = maxSlots == 0 ? fitting : maxSlots;
    require(maxSlots <= fitting, "a table of " + std::to_string(slotSize) + "-byte slots has at most " +
                                     std::to_string(fitting) + " slots, not " + std::to_string(maxSlots));
    slots = std::min(slots, maxSlots);

    const auto mostBuckets =
        static_cast<std::uint32_t>((most - Layout::kBucketTableHeaderSize) / Layout::kBucketEntrySize);
    require(buckets != 0 && buckets <= mostBuckets,
            "a bucket table has 1 to " + std::to_string(mostBuckets) + " buckets, not " + std::to_string(buckets));

    if (conquer) {
        const auto mostRecords =
            static_cast<std::uint32_t>((most - Layout::kConquerHeaderSize) / Layout::kConquerRecordSize);
        require(notifications != 0 && notifications <= mostRecords && maxNotifications <= mostRecords,
                "a queue has 1 to " + std::to_string(mostRecords) + " notifications");
        maxNotifications = maxNotifications == 0
                               ? static_cast<std::uint32_t>(std::min<std::uint64_t>(8ULL * notifications, mostRecords))
                               : maxNotifications;
        require(maxNotifications >= notifications, "a queue begins with no more notifications than it may have");
    }

    if (dynamic) {
        if (slabPayloads.empty()) {
            for (std::uint32_t payload = kSmallestPayload; payload < valueSize; payload *= 2) {
                slabPayloads.push_back(payload);
            }
            slabPayloads.push_back(std::max(kSmallestPayload, roundUp8(valueSize)));
        }
        checkPayloads(slabPayloads, valueSize);
        slabEntries = std::max(slabEntries, 1U);
    }
    require((fileMode & ~mode_t{0777}) == 0 && (directoryMode & ~mode_t{07777}) == 0,
            "a mode has permission bits only");
}

} // namespace Halyx::Writer
