#pragma once

#include "Norvu/Types/Field.h"
#include "Norvu/Types/Layout.h"
#include "Norvu/ValuePrinter.h"

#include <string>
#include <string_view>
#include <vector>

namespace Norvu::Types {

/// One step of printing a value; everything that could be known beforehand is.
struct Operation {
    enum class Step : std::uint8_t {
        Show,    ///< `field`
        Literal, ///< text only
        Begin,   ///< of an array
        End,
        Stop
    };
    Step step = Step::Stop;
    Field field; ///< its place from the begin of the array's element that it is in; of Begin and End the array's
    std::uint32_t count = 0;  ///< arrays: elements
    std::uint32_t target = 0; ///< Begin: its End; End: the first operation of an element; Enum: which enumeration
    std::string_view before;  ///< text that comes first; with End: that comes between elements
};

/// The operations that print a value of a described type in one style, one after the other: no parsing, no look-up by name and
/// no allocation of its own is left. Owns the text.
class Program {
public:
    /// Throws DescriptionError for annotations that do not fit, and for a description of which a value would have far more text
    /// than bytes.
    Program(const Declarations& declarations, const Layout& layout, Platform::ValueStyle style);
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// Appends the text of the value at `value`, which has as many bytes as the type, at any alignment.
    void run(const unsigned char* value, std::string& out) const;

private:
    friend class Compiler;

    struct Name {
        std::int64_t value;
        std::string_view text;
    };

    void show(const Operation& operation, const unsigned char* at, std::string& out) const;
    void printEnum(const Operation& operation, std::int64_t value, std::string& out) const;
    void quote(std::string& out) const {
        if (json_) {
            out += '"';
        }
    }

    bool json_;
    std::vector<Operation> operations_;
    std::vector<std::vector<Name>> enumerations_;
    std::string text_; ///< what the operations' texts look into
};

} // namespace Norvu::Types
