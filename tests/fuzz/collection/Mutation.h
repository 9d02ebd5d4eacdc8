#pragma once

#include "fuzz/room/Archive.h"
#include "fuzz/room/Random.h"

#include <span>

namespace Fuzz {

/// One change of a file, through what is known of its layout: a header's field, a record, the number of records, a cut, or
/// bytes.
void mutateFile(unsigned char name, std::string& bytes, Random& random);

/// Changes of an archive's files, of which these may be added when they are missing. The new length, as libFuzzer wants it.
std::size_t mutateArchive(unsigned char* data, std::size_t size, std::size_t room, unsigned seed,
                          std::span<const unsigned char> names);

/// Some files of the one, the rest of the other.
std::size_t crossArchives(Bytes one, Bytes other, unsigned char* out, std::size_t room, unsigned seed);

} // namespace Fuzz
