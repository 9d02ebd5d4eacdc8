#pragma once

#include "hostile/Case.h"
#include "hostile/Runner.h"

#include <map>
#include <mutex>
#include <ostream>
#include <string>

namespace Hostile {

/// What all jobs found together. Every operation may be called by any of them.
class Tally {
public:
    /// `repeat`: the command that repeats a case, up to its index.
    explicit Tally(std::string repeat) : repeat_(std::move(repeat)) {}

    void addRun(const Case& made, const std::string& options, const Run& run, bool open, const std::string& fault);
    void addCase(const Case& made);
    /// A case could not be built, which is a fault of this program or of the machine.
    void addBroken(std::uint64_t index, const std::string& why);

    [[nodiscard]] std::uint64_t failures() const { return failures_; }
    void print(std::ostream& out, double seconds) const;

private:
    struct Counts {
        std::uint64_t cases = 0;
        std::uint64_t skipped = 0;
        std::uint64_t runs = 0;
        std::uint64_t open = 0; ///< runs for which only the general checks were made
        std::uint64_t failures = 0;
    };
    struct Extreme {
        double value = 0;
        std::string of;
    };
    void report(const std::string& category, const std::string& text);

    std::string repeat_;
    std::mutex mutex_;
    std::map<std::string, Counts> categories_;
    std::map<std::string, std::uint64_t> skips_;
    Extreme slowest_;
    Extreme largest_;
    std::uint64_t failures_ = 0;
};

} // namespace Hostile
