#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Halyx::Writer {

/// One line of input: fields with names, in their order. What is inside of others is named by its way: point.x, rows[1][0].
struct Record {
    enum class Kind { Text, Number, Bool, Null, Empty };
    struct Field {
        Kind kind = Kind::Text;
        std::string text; ///< unquoted; as written for a number, "true" or "false" for a Bool, empty for Null and for
                          ///< Empty, an array or object without anything in it
    };

    static constexpr std::size_t kNone = ~std::size_t{0};

    std::vector<std::string> names;
    std::vector<Field> fields; ///< as many as names

    /// The number of the field of that name, or kNone.
    [[nodiscard]] std::size_t find(const std::string& name) const {
        for (std::size_t i = 0; i < names.size(); ++i) {
            if (names[i] == name) {
                return i;
            }
        }
        return kNone;
    }
};

} // namespace Halyx::Writer
