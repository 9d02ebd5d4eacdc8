#pragma once

#include "Norvu/ValuePrinter.h"

#include <memory>
#include <string>

namespace Norvu::Platform {

/// The printer of a type that needs no description (U8 to S64, the <cstdint> names, float, double, bool, char[N]), or null
/// when the name is none of these or its size is another.
std::shared_ptr<ValuePrinter> makeBuiltinPrinter(const std::string& typeName, unsigned size);

} // namespace Norvu::Platform
