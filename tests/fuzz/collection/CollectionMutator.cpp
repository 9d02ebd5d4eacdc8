#include "fuzz/Targets.h"
#include "fuzz/collection/Files.h"
#include "fuzz/collection/Mutation.h"

namespace Fuzz {

std::size_t mutateCollection(unsigned char* data, std::size_t size, std::size_t room, unsigned seed) {
    static constexpr unsigned char names[] = {kBuckets, kSlots,       kQueue, kQueue + 1, kFenix,
                                              kSlab,    kDescription, 33,     34,         kEndOfSlabs - 1};
    return mutateArchive(data, size, room, seed, names);
}

std::size_t crossCollection(Bytes one, Bytes other, unsigned char* out, std::size_t room, unsigned seed) {
    return crossArchives(one, other, out, room, seed);
}

} // namespace Fuzz
