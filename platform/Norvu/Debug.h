#pragma once

#include <cstdint>
#include <sstream>
#include <string>

// Tracing. Which handlers trace which levels is decided by the environment alone; see docs/tracing.md.

namespace Norvu {

namespace Platform {

/// The text of one record, filled like any stream.
class DebugStream : public std::ostringstream {};

/// One named source of trace records. Made by getDebugHandler and never destroyed. Thread-safe.
class DebugHandler {
public:
    DebugHandler(std::string name, std::uint32_t mask) : name_(std::move(name)), mask_(mask) {}
    DebugHandler(const DebugHandler&) = delete;
    DebugHandler& operator=(const DebugHandler&) = delete;

    [[nodiscard]] const std::string& name() const { return name_; }
    /// Bit N is set when level N is enabled.
    [[nodiscard]] std::uint32_t mask() const { return mask_; }
    [[nodiscard]] bool enabled(int level) const { return (mask_ >> level & 1U) != 0; }

    /// Writes one record, whatever the mask; ask enabled() before building the text.
    void log(const DebugStream& record, int level, const char* source, int line, const char* function) const;
    void log(const std::string& text, int level, const char* source, int line, const char* function) const;

private:
    std::string name_;
    std::uint32_t mask_;
};

/// The one handler of that name, made on first use with the mask that NORVU_TRACE gives it.
DebugHandler& getDebugHandler(const std::string& name);

/// The level mask that the text of NORVU_TRACE gives a handler: entries separated by ";", each a shell pattern, "=", and
/// levels as numbers and ranges separated by "," or "*". The last entry that matches wins; empty and malformed entries
/// mean nothing here (the latter are named on standard error when the first handler is made).
std::uint32_t traceMask(const std::string& setting, const std::string& name);

} // namespace Platform

/// Whatever traces: carries its handler, which outlives it.
class Debuggable {
public:
    explicit Debuggable(Platform::DebugHandler& handler) : handler_(&handler) {}
    explicit Debuggable(const std::string& name) : handler_(&Platform::getDebugHandler(name)) {}
    virtual ~Debuggable() = default;
    Debuggable(const Debuggable&) = default;
    Debuggable& operator=(const Debuggable&) = default;

    [[nodiscard]] Platform::DebugHandler& debugHandler() const { return *handler_; }

private:
    Platform::DebugHandler* handler_;
};

} // namespace Norvu
