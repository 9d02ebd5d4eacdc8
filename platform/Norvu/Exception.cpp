#include "Norvu/Exception.h"

#include "Norvu/Debug.h"

namespace Norvu {

void RuntimeException::throwException(const std::string& text) {
    throw RuntimeException(text);
}

void MemoryResourceException::throwException(const std::string& text) {
    throw MemoryResourceException(text);
}

void CorruptionDetectedException::throwException(const std::string& text) {
    throw CorruptionDetectedException(text);
}

void debugAndThrowAssertException(const Platform::DebugHandler* handler, int level, const std::string& text,
                                  const char* source, int line, const char* function) {
    if (handler != nullptr && handler->enabled(level)) {
        handler->log(text, level, source, line, function);
    }
    throw AssertException(text);
}

} // namespace Norvu
