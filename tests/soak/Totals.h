#pragma once

#include "soak/Faults.h"
#include "soak/Journal.h"

#include <array>
#include <cstdint>
#include <map>
#include <string>

namespace Soak {

/// What a soak has done and found so far.
struct Totals {
    std::map<std::string, std::uint64_t> runs; ///< by report
    std::uint64_t elements = 0;                ///< checked, with the records of queues
    std::uint64_t resizes = 0;                 ///< walks that began again
    std::uint64_t chainRestarts = 0;
    std::uint64_t lookasideHits = 0;
    std::uint64_t queueRestarts = 0;
    std::uint64_t changes = 0;
    std::uint64_t incarnations = 0;
    std::uint64_t growths = 0;
    std::uint64_t slabGrowths = 0;
    std::uint64_t switches = 0;
    std::uint64_t waits = 0;
    std::uint64_t goneSlabs = 0; ///< walks that ended where a slab file had gone with its incarnation
    std::uint64_t unverifiable = 0;
    std::uint64_t foreign = 0; ///< reports on all clients that another program's files prevented
    double longestRun = 0;
    std::array<std::uint64_t, kFaults> faults{};
    std::uint64_t faultyRuns = 0;

    void add(const Journal& journal);
    [[nodiscard]] std::uint64_t allRuns() const;
    [[nodiscard]] std::uint64_t allFaults() const;
    /// What was excused so often that the soak has shown nothing; empty when that is not so.
    [[nodiscard]] std::string tooMuchExcused() const;
    void printLine(double seconds, const char* scenario) const;
    void printSummary(double seconds) const;
};

} // namespace Soak
