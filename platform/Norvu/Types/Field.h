#pragma once

#include "Norvu/Types/Layout.h"
#include "Norvu/Types/Model.h"

#include <cstdint>
#include <optional>
#include <vector>

// What a value is made of, as it is shown: printers and encoders walk the same parts, so that what one prints the other takes.

namespace Norvu::Types {

/// A place in a value that is shown as one text, and how.
struct Field {
    enum class Code : std::uint8_t {
        Unsigned,
        Signed,
        Bool,
        Float,
        Double,
        LongDouble,
        Enum,
        Text,
        Bytes,
        HexNumber,
        Pointer,
        Ipv4,
        Ipv6,
        Mac,
        Time
    };
    Code code = Code::Bytes;
    bool bigEndian = false;
    bool isSigned = false;
    std::uint8_t bit = 0;     ///< bit-fields: where it begins in the byte at `offset`
    std::uint8_t bits = 0;    ///< bit-fields: how many it has; 0: no bit-field
    std::uint32_t offset = 0; ///< bytes from the value's begin
    std::uint32_t size = 0;   ///< bytes
};

/// A member of a value, or the whole of it, at its place in bytes (and bits) from the value's begin.
struct Part {
    Member member; ///< with the annotations that hold for it, its structure's included
    std::uint64_t offset = 0;
    std::uint32_t bit = 0;
};

/// The whole value.
Part wholeOf(const Declarations& declarations);

/// The field that a part is shown as; nothing when it is made of parts: a structure, a union, or an array that is no text.
/// Throws DescriptionError for annotations that do not fit.
std::optional<Field> fieldOf(const Declarations& declarations, const Layout& layout, const Part& part);

/// The named parts of a structure in the order in which they are shown. An anonymous structure's count as the outer one's, an
/// anonymous union's first as well. Their names differ: throws DescriptionError for a name that is declared twice, and a base
/// class whose name is a member's too gets a stroke behind its own.
std::vector<Part> partsOf(const Declarations& declarations, const Layout& layout, const Part& structure);

/// What a union is shown as: its first member. Nothing when it has none.
std::optional<Part> onlyPartOf(const Declarations& declarations, const Layout& layout, const Part& unionPart);

/// An element of an array; `index` is below the array's count.
Part elementOf(const Declarations& declarations, const Layout& layout, const Part& array, std::uint32_t index);

} // namespace Norvu::Types
