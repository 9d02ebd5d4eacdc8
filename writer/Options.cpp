#include "writer/Options.h"

#include "Halyx/BucketTableLayout.h"
#include "Halyx/ConquerTableLayout.h"
#include "Halyx/SlotTableLayout.h"
#include "Norvu/Types/Description.h"
#include "Plask/SlabLayout.h"
#include "writer/Errors.h"
#include "writer/FileMapping.h"
#include "writer/ValueTypes.h"

#include <algorithm>

namespace Halyx::Writer {

namespace {

constexpr std::uint32_t kMostValueBytes = 16U << 20;
constexpr std::uint32_t kSmallestPayload = 16;
constexpr std::uint64_t kMostFileBytes = FileMapping::kMostBytes;

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

/// What a value of that size, or of none given, has by the file that describes it.
std::uint32_t describedSize(const Options& options) {
    try {
        const std::string text = Norvu::Types::readDescription(options.description);
        return Norvu::Types::Description(text, options.valueType,
                                         options.valueSize != 0 ? std::optional(options.valueSize) : std::nullopt)
            .size();
    } catch (const Norvu::Types::DescriptionError& error) {
        RefusedException::throwException(options.description + ":" + std::to_string(error.line()) + ": " + error.msg());
    }
}

void completeType(Options& options) {
    checkName(options.valueType, sizeof Layout::SlotTableHeader::valueType, "value type");
    checkName(options.classType, sizeof Layout::SlotTableHeader::classType, "class name");
    require(!options.valueType.empty(), "a collection needs a value type");
    if (!options.description.empty()) {
        options.valueSize = describedSize(options);
    } else if (const auto type = findValueType(options.valueType); type && options.valueSize == 0) {
        options.valueSize = type->size;
    }
    require(options.valueSize != 0 && options.valueSize <= kMostValueBytes,
            "a value has 1 to " + std::to_string(kMostValueBytes) + " bytes, not " + std::to_string(options.valueSize));
}

void completeSlots(Options& options) {
    const std::uint32_t smallest = options.dynamic
                                       ? Layout::kGenericSlotSize
                                       : Layout::kSlotValueOffset + roundUp8(std::max(options.valueSize, 8U));
    options.slotSize = options.slotSize == 0 ? smallest : options.slotSize;
    require(options.slotSize >= smallest && options.slotSize % 8 == 0 && options.slotSize <= 2 * kMostValueBytes,
            "a slot of this collection has " + std::to_string(smallest) + " bytes or more, a multiple of 8, not " +
                std::to_string(options.slotSize));

    const auto fitting =
        static_cast<std::uint32_t>((kMostFileBytes - Layout::slotArrayOffset(options.slotSize)) / options.slotSize);
    options.maxSlots = options.maxSlots == 0 ? fitting : options.maxSlots;
    require(options.maxSlots <= fitting, "a table of " + std::to_string(options.slotSize) + "-byte slots has at most " +
                                             std::to_string(fitting) + " slots, not " +
                                             std::to_string(options.maxSlots));
    options.slots = std::min(options.slots, options.maxSlots);
}

void checkBuckets(const Options& options) {
    const auto mostBuckets =
        static_cast<std::uint32_t>((kMostFileBytes - Layout::kBucketTableHeaderSize) / Layout::kBucketEntrySize);
    require(options.buckets != 0 && options.buckets <= mostBuckets, "a bucket table has 1 to " +
                                                                        std::to_string(mostBuckets) + " buckets, not " +
                                                                        std::to_string(options.buckets));
}

void completeQueues(Options& options) {
    const auto mostRecords =
        static_cast<std::uint32_t>((kMostFileBytes - Layout::kConquerHeaderSize) / Layout::kConquerRecordSize);
    require(options.notifications != 0 && options.notifications <= mostRecords &&
                options.maxNotifications <= mostRecords,
            "a queue has 1 to " + std::to_string(mostRecords) + " notifications");
    options.maxNotifications =
        options.maxNotifications == 0
            ? static_cast<std::uint32_t>(std::min<std::uint64_t>(8ULL * options.notifications, mostRecords))
            : options.maxNotifications;
    require(options.maxNotifications >= options.notifications,
            "a queue begins with no more notifications than it may have");
}

void completeSlabs(Options& options) {
    if (options.slabPayloads.empty()) {
        for (std::uint32_t payload = kSmallestPayload; payload < options.valueSize; payload *= 2) {
            options.slabPayloads.push_back(payload);
        }
        options.slabPayloads.push_back(std::max(kSmallestPayload, roundUp8(options.valueSize)));
    }
    checkPayloads(options.slabPayloads, options.valueSize);
    options.slabEntries = std::max(options.slabEntries, 1U);
}

} // namespace

void complete(Options& options) {
    completeType(options);
    completeSlots(options);
    checkBuckets(options);
    if (options.conquer) {
        completeQueues(options);
    }
    if (options.dynamic) {
        completeSlabs(options);
    }
    require((options.fileMode & ~mode_t{0777}) == 0 && (options.directoryMode & ~mode_t{07777}) == 0,
            "a mode has permission bits only");
}

} // namespace Halyx::Writer
