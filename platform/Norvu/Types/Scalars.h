#pragma once

#include "Norvu/Types/Model.h"

#include <optional>
#include <string_view>

namespace Norvu::Types {

/// The words of a built-in type, in whatever order C allows: unsigned long int, double, char.
class BasicWords {
public:
    /// Takes a word; false when it is none of them.
    bool add(std::string_view word);
    [[nodiscard]] bool empty() const { return words_ == 0; }
    /// The type that they make; none when they do not go together.
    [[nodiscard]] std::optional<Type> type() const;

private:
    unsigned words_ = 0;
    unsigned chars_ = 0;
    unsigned shorts_ = 0;
    unsigned longs_ = 0;
    unsigned ints_ = 0;
    unsigned signs_ = 0;
    unsigned unsigneds_ = 0;
    unsigned bools_ = 0;
    unsigned floats_ = 0;
    unsigned doubles_ = 0;
    unsigned voids_ = 0;
};

/// A scalar that goes by one name: the names of <cstdint>, of collections' own types, and what system headers use.
std::optional<Type> scalarNamed(std::string_view name);

Type pointerType();
Type voidType();

/// What an enumeration of these values is stored as.
Type enumStorage(std::int64_t least, std::int64_t most, bool packed);

} // namespace Norvu::Types
