#pragma once

#include "Norvu/Exception.h"

#include <string>

namespace Halyx::Writer {

/// A request that is not carried out as it stands (a wrong option, a collection that has a live writer, a value of the wrong
/// size). Nothing has changed.
class RefusedException : public Norvu::Exception {
public:
    using Exception::Exception;
    [[noreturn]] static void throwException(const std::string& text);
};

/// Throws what the failure of a system call is: Norvu::MemoryResourceException when something has run out (disk, quota, file
/// size, memory, descriptors), else Norvu::RuntimeException. The text is `what`, " errno: " and the system's words.
[[noreturn]] void throwSystemError(const std::string& what, int error);

} // namespace Halyx::Writer
