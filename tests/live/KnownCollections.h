#pragma once

#include "fixtures/CollectionBuilder.h"
#include "fixtures/WalkOutput.h"

#include <cstdint>
#include <functional>
#include <string>

/// Collections that take a walk a while, and whose slot i has the number i + 1 as its value.
namespace KnownCollections {

inline constexpr std::uint32_t kRows = 3; ///< elements of each bucket: slot i is in bucket i modulo their number
inline constexpr std::uint32_t kBuckets = 20000;
inline constexpr std::uint32_t kSlots = kRows * kBuckets;

/// Static.
Fixtures::CollectionBuilder numbers();

/// Dynamic: slot i's value is entry i of slab 0.
Fixtures::CollectionBuilder payloads();

/// What a walk prints of slot i's value without -p or -j.
std::string plainText(std::uint32_t slot);

/// What is wrong with a walk of one of these, whose files may have lost bytes meanwhile but never had other ones; empty when
/// nothing is. Every bucket has its elements, or the first of them and then its corruption. A walk that came to its end has all
/// buckets and the statistics; another one nothing behind some bucket.
std::string wrongWith(const Fixtures::WalkOutput& walk, bool ended,
                      const std::function<std::string(std::uint32_t)>& textOf);

} // namespace KnownCollections
