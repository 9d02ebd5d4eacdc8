#include "fuzz/collection/Fields.h"

#include "Halyx/BucketTableLayout.h"
#include "Halyx/ConquerTableLayout.h"
#include "Halyx/FenixLayout.h"
#include "Halyx/SlotTableLayout.h"
#include "Plask/SlabLayout.h"
#include "fixtures/CollectionBuilder.h"
#include "fuzz/collection/Files.h"

namespace Fuzz {

using namespace Halyx::Layout;
using namespace Plask::Layout;

namespace {

#define FUZZ_FIELD(structure, member)                                                                                  \
    Field {                                                                                                            \
        offsetof(structure, member), sizeof(structure::member)                                                         \
    }
/// A pair's two halves, each for itself.
#define FUZZ_PAIR(structure, member)                                                                                   \
    Field{offsetof(structure, member), 4}, Field {                                                                     \
        offsetof(structure, member) + 4, 4                                                                             \
    }

constexpr Field kBucketsHeader[] = {
    FUZZ_FIELD(BucketTableHeader, magic),    FUZZ_FIELD(BucketTableHeader, version),
    FUZZ_FIELD(BucketTableHeader, fenix),    FUZZ_PAIR(BucketTableHeader, numBuckets),
    FUZZ_FIELD(BucketTableHeader, ownerPid), FUZZ_FIELD(BucketTableHeader, reserved),
};
constexpr Field kSlotsHeader[] = {
    FUZZ_FIELD(SlotTableHeader, magic),          FUZZ_FIELD(SlotTableHeader, version),
    FUZZ_FIELD(SlotTableHeader, fenix),          FUZZ_FIELD(SlotTableHeader, platform),
    FUZZ_FIELD(SlotTableHeader, valueType),      FUZZ_FIELD(SlotTableHeader, classType),
    FUZZ_FIELD(SlotTableHeader, valueSize),      FUZZ_FIELD(SlotTableHeader, slotSize),
    FUZZ_FIELD(SlotTableHeader, maxSlots),       FUZZ_FIELD(SlotTableHeader, flags),
    FUZZ_FIELD(SlotTableHeader, hash),           FUZZ_FIELD(SlotTableHeader, occupiedSlots),
    FUZZ_FIELD(SlotTableHeader, freeSlots),      FUZZ_FIELD(SlotTableHeader, mostSlots),
    FUZZ_PAIR(SlotTableHeader, numSlots),        FUZZ_PAIR(SlotTableHeader, lookaside),
    FUZZ_FIELD(SlotTableHeader, lookasideValue),
};
constexpr Field kQueueHeader[] = {
    FUZZ_FIELD(ConquerHeader, magic),
    FUZZ_FIELD(ConquerHeader, version),
    FUZZ_FIELD(ConquerHeader, fenix),
    FUZZ_FIELD(ConquerHeader, minimumSequence),
    FUZZ_FIELD(ConquerHeader, connectedReaders),
    FUZZ_PAIR(ConquerHeader, tableId),
    FUZZ_FIELD(ConquerHeader, corralStart),
    FUZZ_FIELD(ConquerHeader, corralEnd),
    FUZZ_PAIR(ConquerHeader, notifications),
    FUZZ_FIELD(ConquerHeader, currentPos),
};
constexpr Field kFenixHeader[] = {FUZZ_FIELD(FenixFile, magic), FUZZ_FIELD(FenixFile, fenix)};
constexpr Field kSlabHeaderFields[] = {
    FUZZ_FIELD(SlabHeader, magic),     FUZZ_FIELD(SlabHeader, version),     FUZZ_FIELD(SlabHeader, fenix),
    FUZZ_PAIR(SlabHeader, numEntries), FUZZ_FIELD(SlabHeader, numOccupied), FUZZ_FIELD(SlabHeader, entrySize),
    FUZZ_FIELD(SlabHeader, checksum),  FUZZ_FIELD(SlabHeader, freeList),
};

constexpr Field kLink[] = {{offsetof(Halyx::SlotLink, tag), 4}, {offsetof(Halyx::SlotLink, index), 4}};
// The beginning of a slot's value is its place in the slabs when the collection is dynamic.
constexpr Field kSlot[] = {{offsetof(SlotRecord, next), 4},
                           {offsetof(SlotRecord, next) + 4, 4},
                           FUZZ_FIELD(SlotRecord, state),
                           {kSlotValueOffset, 4},
                           {kSlotValueOffset + 4, 4}};
constexpr Field kNotification[] = {FUZZ_FIELD(ConquerRecord, sequenceLow), FUZZ_FIELD(ConquerRecord, sequenceHigh),
                                   FUZZ_FIELD(ConquerRecord, slot)};
constexpr Field kEntry[] = {FUZZ_FIELD(SlabEntry, payloadSize), {kSlabEntryHeaderSize, 8}};

bool isSlab(unsigned char name) {
    return name >= kSlab && name < kEndOfSlabs;
}

/// What a type name may be: of each kind of printer, of none, and one that is not to be printed as it is.
constexpr const char* kTypeNames[] = {
    "U8",      "U32",      "U64",      "S16", "float", "double",        "bool",
    "char[8]", "char[16]", "char[24]", "T",   "../T",  "std::uint64_t", "Nobody's\x1b[2J"};

std::uint64_t likely(std::uint64_t now, const std::string& bytes, const Records& records, Random& random) {
    const std::uint64_t fitting = records.in(bytes.size());
    switch (random.below(14)) {
    case 0:
        return now + 1;
    case 1:
        return now - 1;
    case 2:
        return random.below(4);
    case 3:
        return ~std::uint64_t{0} - random.below(3);
    case 4:
        return std::uint64_t{0x7fffffff} + random.below(3);
    case 5:
        return fitting + 1 - random.below(3);
    case 6:
        return random.below(static_cast<std::size_t>(fitting) + 1);
    case 7:
        return now ^ std::uint64_t{1} << random.below(64);
    case 8: // a count whose product with a record's size is just past 32 bits
        return records.size == 0 ? now : (std::uint64_t{1} << 32) / records.size + random.below(4);
    case 9: // the bucket that ends a chain
        return std::uint64_t{0x80000000} + random.below(16);
    case 10:
        return random.below(16) * 8;
    case 11: // a slab and an entry
        return random.below(4) | random.below(static_cast<std::size_t>(fitting) + 2) << 5;
    case 12: // some other number of the file's
        return Fixtures::fromBytes<std::uint32_t>(bytes, random.below(bytes.size() / 4 + 1) * 4);
    default:
        return random.word() >> random.below(64);
    }
}

} // namespace

std::span<const Field> headerFields(unsigned char name) {
    switch (name) {
    case kBuckets:
        return kBucketsHeader;
    case kSlots:
        return kSlotsHeader;
    case kQueue:
    case kQueue + 1:
        return kQueueHeader;
    case kFenix:
        return kFenixHeader;
    default:
        return isSlab(name) ? std::span<const Field>(kSlabHeaderFields) : std::span<const Field>();
    }
}

Records recordsOf(unsigned char name, const std::string& bytes) {
    if (name == kBuckets) {
        return {kBucketTableHeaderSize, kBucketEntrySize, kLink, offsetof(BucketTableHeader, numBuckets) + 4};
    }
    if (name == kQueue || name == kQueue + 1) {
        return {kConquerRecordsOffset, kConquerRecordSize, kNotification, offsetof(ConquerHeader, notifications) + 4};
    }
    if (name == kSlots) {
        const auto size = Fixtures::fromBytes<std::uint32_t>(bytes, offsetof(SlotTableHeader, slotSize));
        return {static_cast<std::size_t>(slotArrayOffset(size)), size, kSlot, offsetof(SlotTableHeader, numSlots) + 4};
    }
    if (isSlab(name)) {
        const auto size = Fixtures::fromBytes<std::uint32_t>(bytes, offsetof(SlabHeader, entrySize));
        return {kSlabHeaderSize, size, kEntry, offsetof(SlabHeader, numEntries) + 4};
    }
    return {};
}

void changeField(std::string& bytes, const Field& field, const Records& records, Random& random) {
    if (field.width == 8) {
        store(bytes, field.offset,
              likely(Fixtures::fromBytes<std::uint64_t>(bytes, field.offset), bytes, records, random));
    } else if (field.width == 4) {
        const auto now = Fixtures::fromBytes<std::uint32_t>(bytes, field.offset);
        store(bytes, field.offset, static_cast<std::uint32_t>(likely(now, bytes, records, random)));
    } else if (field.offset + field.width <= bytes.size()) {
        std::string text = kTypeNames[random.below(std::size(kTypeNames))];
        // Now and then without a NUL at the field's end.
        text.resize(field.width, random.once(8) ? 'x' : '\0');
        bytes.replace(field.offset, field.width, text);
    }
}

void fitChecksum(unsigned char name, std::string& bytes) {
    if (name == kSlots) {
        store(bytes, offsetof(SlotTableHeader, hash),
              Fixtures::slotsChecksum(Fixtures::fromBytes<SlotTableHeader>(bytes)));
    } else if (isSlab(name)) {
        const auto size = Fixtures::fromBytes<std::uint32_t>(bytes, offsetof(SlabHeader, entrySize));
        store(bytes, offsetof(SlabHeader, checksum), Fixtures::fnv1a(Fixtures::bytesOf(size)));
    }
}

} // namespace Fuzz
