#pragma once

#include "fuzz/room/Random.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace Fuzz {

/// A number or a text in a file of a collection, by its place in the layout.
struct Field {
    std::size_t offset;
    unsigned width; ///< 4 or 8 bytes; more: a text
};

/// The fields of the header of the archive's file `name`; none for a file without a layout.
std::span<const Field> headerFields(unsigned char name);

/// The records behind a header.
struct Records {
    std::size_t begin = 0;
    std::size_t size = 0; ///< 0: there are none
    std::span<const Field> fields;
    std::size_t countAt = 0; ///< where the header tells how many there are

    [[nodiscard]] std::size_t in(std::size_t fileSize) const {
        return size == 0 || fileSize < begin ? 0 : (fileSize - begin) / size;
    }
};

/// Those of the file `name` with these bytes, by the sizes that its header gives.
Records recordsOf(unsigned char name, const std::string& bytes);

/// Puts a number that is likely to matter into a field: near the present one, near what fits the file, or near a limit.
void changeField(std::string& bytes, const Field& field, const Records& records, Random& random);

/// Makes the checksum fit what it is of.
void fitChecksum(unsigned char name, std::string& bytes);

/// Stores a number, as far as there is a place for it.
template <typename T>
void store(std::string& bytes, std::size_t offset, T value) {
    for (std::size_t i = 0; i < sizeof value && offset + i < bytes.size(); ++i) {
        bytes[offset + i] = static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * i) & 0xff);
    }
}

} // namespace Fuzz
