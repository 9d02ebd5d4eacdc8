#pragma once

namespace Halyx::Writer {

/// Whether the user has asked the program to end: SIGINT and SIGTERM are noted instead of ending the process, and wake whoever
/// waits. One at a time in a process; the signals have their old meaning again when it goes.
class Stop {
public:
    Stop();
    ~Stop();
    Stop(const Stop&) = delete;
    Stop& operator=(const Stop&) = delete;

    [[nodiscard]] bool requested() const;
    /// Waits up to `seconds` (negative: for ever), or until a stop is requested. requested().
    bool wait(double seconds) const;
    /// Waits until `descriptor` has something to read, or a stop is requested. requested().
    bool waitForInput(int descriptor) const;
};

} // namespace Halyx::Writer
