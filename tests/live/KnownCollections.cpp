#include "live/KnownCollections.h"

#include <optional>
#include <set>
#include <vector>

using namespace Fixtures;

namespace KnownCollections {

CollectionBuilder numbers() {
    return CollectionBuilder(kBuckets, kSlots).fillNumbers();
}

CollectionBuilder payloads() {
    CollectionBuilder builder(kBuckets, kSlots);
    builder.dynamic().valueType("Payload", 64);
    std::vector<std::optional<std::string>> entries;
    for (std::uint32_t slot = 0; slot < kSlots; ++slot) {
        builder.offset(slot, 0, slot);
        entries.emplace_back(bytesOf(std::uint64_t{slot + 1}));
    }
    for (std::uint32_t bucket = 0; bucket < kBuckets; ++bucket) {
        const auto at = [bucket](std::uint32_t row) { return static_cast<std::int32_t>(bucket + row * kBuckets); };
        builder.chain(bucket, {at(0), at(1), at(2)});
    }
    builder.slab(0, 72, entries);
    return builder;
}

std::string plainText(std::uint32_t slot) {
    return hexOf(bytesOf(std::uint64_t{slot} + 1));
}

namespace {

/// A bucket that was walked again and is corrupt then may have been counted.
std::string wrongStatistics(const WalkOutput& walk, bool ended) {
    const bool good = ended ? walk.lookasideHits == "0" && !walk.chainRestarts.empty() &&
                                  (walk.chainRestarts == "0" || !walk.corruptions.empty())
                            : walk.lookasideHits.empty() && walk.chainRestarts.empty();
    return good ? "" : "statistics: '" + walk.lookasideHits + "', '" + walk.chainRestarts + "'";
}

} // namespace

std::string wrongWith(const WalkOutput& walk, bool ended, const std::function<std::string(std::uint32_t)>& textOf) {
    std::set<std::uint32_t> corrupt;
    for (const auto& corruption : walk.corruptions) {
        if (!corrupt.insert(corruption.bucket).second) {
            return "bucket " + std::to_string(corruption.bucket) + " is corrupt twice";
        }
    }
    auto element = walk.elements.begin();
    std::size_t corruptMet = 0;
    for (std::uint32_t bucket = 0; bucket < kBuckets; ++bucket) {
        if (!ended && element == walk.elements.end() && corruptMet == corrupt.size()) {
            break;
        }
        const bool isCorrupt = corrupt.count(bucket) != 0;
        corruptMet += isCorrupt ? 1U : 0U;
        for (std::uint32_t row = 0; row < kRows; ++row, ++element) {
            const std::uint32_t slot = bucket + row * kBuckets;
            if (element == walk.elements.end() || element->bucket != bucket) {
                if (isCorrupt) {
                    break;
                }
                return "bucket " + std::to_string(bucket) + " lacks slot " + std::to_string(slot);
            }
            if (element->slot != slot || element->lookaside || element->text != textOf(slot)) {
                return "bucket " + std::to_string(bucket) + " has slot " + std::to_string(element->slot) +
                       (element->lookaside ? ", replaced just now, as " : " as ") + element->text +
                       " instead of slot " + std::to_string(slot) + " as " + textOf(slot);
            }
        }
    }
    if (element != walk.elements.end() || corruptMet != corrupt.size()) {
        return "a line that is behind the last bucket, out of order or too long";
    }
    if (walk.resizes != 0) {
        return "a walk that began again, though nothing had grown";
    }
    return wrongStatistics(walk, ended);
}

} // namespace KnownCollections
