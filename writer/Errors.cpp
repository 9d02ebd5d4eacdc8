#include "writer/Errors.h"

#include <cerrno>
#include <cstring>

namespace Halyx::Writer {

void RefusedException::throwException(const std::string& text) {
    throw RefusedException(text);
}

void throwSystemError(const std::string& what, int error) {
    const std::string text = what + " errno: " + std::strerror(error);
    switch (error) {
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
    case ENOMEM:
    case EMFILE:
    case ENFILE:
        Norvu::MemoryResourceException::throwException(text);
    default:
        Norvu::RuntimeException::throwException(text);
    }
}

} // namespace Halyx::Writer
