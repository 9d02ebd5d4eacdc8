#pragma once

#include <cstdint>
#include <string>

namespace Bench {

/// A collection made for a measurement: `elements` values spread over as many buckets by a hash, so that chains have the
/// lengths that chance gives them and every slot is a cache miss.
struct Table {
    std::string directory;
    std::uint32_t elements;
    std::uint32_t valueSize;
    bool dynamic; ///< values in four slabs instead of the slots
};

/// Writes the files of `table`, replacing what is there. Exits with a message when it cannot.
void build(const Table& table);

/// Prints every element of `table` to descriptor `out` as the tool's walk does, by the loop that does only the unavoidable:
/// no check, no second look, nothing virtual. With `lookAhead` it asks for the first, second and third slots of chains
/// ahead. The number of elements.
std::uint64_t bareLoop(const Table& table, int out, bool lookAhead);

} // namespace Bench
