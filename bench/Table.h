#pragma once

#include <cstdint>
#include <string>

namespace Bench {

/// A collection made for a measurement: `elements` values spread over as many buckets by a hash, so that chains have the
/// lengths that chance gives them and every slot is a cache miss.
struct Table {
    std::string directory;
    std::uint32_t elements;
    std::uint32_t valueSize; ///< a multiple of 8, at most kMostValueSize
    bool dynamic;            ///< values in kSlabs slabs instead of the slots
    std::string valueType = "BenchValue";

    [[nodiscard]] std::uint32_t slotSize() const;
    [[nodiscard]] std::uint32_t entrySize() const;
    [[nodiscard]] std::string slabPath(unsigned slab) const;
};

inline constexpr unsigned kSlabs = 4;
inline constexpr std::uint32_t kMostValueSize = 64;

/// Writes the value of element `index` of any table whose values have `size` bytes.
void writeValue(unsigned char* to, std::uint32_t index, std::uint32_t size);

/// Writes the files of `table`, replacing what is there. Throws std::runtime_error when it cannot.
void build(const Table& table);

} // namespace Bench
