#pragma once

#include "fuzz/room/Archive.h"
#include "fuzz/room/Sandbox.h"

#include <string>

namespace Fuzz {

/// What the names of an archive stand for when it holds a collection.
enum : unsigned char {
    kBuckets = 0,
    kSlots = 1,
    kQueue = 2, ///< and the second behind it
    kFenix = 4,
    kDescription = 5, ///< of the value type, "T"
    kSlab = 32,       ///< slab0; the others follow
    kEndOfSlabs = 64,
};

/// The value type that the description in an archive is found for.
inline constexpr const char* kDescribedType = "T";

/// The file of that name in the collection's directory; empty for the description and for names without a meaning.
std::string collectionFile(unsigned char name);

/// Puts an archive's files where the tool looks for them, the collection as "c"; their bytes together.
std::size_t place(Sandbox& sandbox, const Archive& archive);

} // namespace Fuzz
