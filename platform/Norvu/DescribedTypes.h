#pragma once

#include "Norvu/ValuePrinter.h"

#include <memory>
#include <string>
#include <string_view>

namespace Norvu::Platform {

/// The printer of a type that is described in a file TYPE.h in one of the directories of HALYX_TYPE_PATH, or where the
/// product's own descriptions are installed. Null when there is no such file, when the name can be no file's, or when the file
/// does not describe values of `size` bytes; in the last case one line on standard error says why.
std::shared_ptr<ValuePrinter> makeDescribedPrinter(const std::string& typeName, unsigned size);

/// The printer of the type that `text` describes, by the 64-bit rules or, when those do not give `size`, the 32-bit ones. Throws
/// Types::DescriptionError.
std::shared_ptr<ValuePrinter> compilePrinter(std::string_view text, std::string_view typeName, unsigned size);

} // namespace Norvu::Platform
