#pragma once

#include <exception>
#include <string>

namespace Norvu {

namespace Platform {
class DebugHandler;
}

/// The base of every exception that this repository throws on purpose.
class Exception : public std::exception {
public:
    explicit Exception(std::string text) : text_(std::move(text)) {}

    [[nodiscard]] const std::string& msg() const { return text_; }
    [[nodiscard]] const char* what() const noexcept override { return text_.c_str(); }

private:
    std::string text_;
};

/// An unexpected failure of the system; the text ends with " errno: " and the system's words.
class RuntimeException : public Exception {
public:
    using Exception::Exception;
    [[noreturn]] static void throwException(const std::string& text);
};

/// Memory or address space that could not be had.
class MemoryResourceException : public Exception {
public:
    using Exception::Exception;
    [[noreturn]] static void throwException(const std::string& text);
};

/// Shared data that contradicts itself, or that is not there.
class CorruptionDetectedException : public Exception {
public:
    using Exception::Exception;
    [[noreturn]] static void throwException(const std::string& text);
};

/// A state that the writer's rules, or our own, exclude.
class AssertException : public Exception {
public:
    using Exception::Exception;
};

/// Traces `text` at `level` on `handler`, when there is one, and throws it as an AssertException.
[[noreturn]] void debugAndThrowAssertException(const Platform::DebugHandler* handler, int level,
                                               const std::string& text, const char* source, int line,
                                               const char* function);

} // namespace Norvu
