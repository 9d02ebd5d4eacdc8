#pragma once

#include "hostile/Expectation.h"
#include "hostile/Report.h"
#include "hostile/Runner.h"

#include <string>

namespace Hostile {

/// What no run may exceed.
struct Limits {
    double seconds = 10;
    std::uint64_t memoryMiB = 200;
};

/// Whether a run went as the rules have it.
class Judge {
public:
    explicit Judge(Limits limits) : limits_(limits) {}

    /// Empty when nothing is wrong with it, else what is.
    [[nodiscard]] std::string fault(Report report, const Expectation& expected, const Run& run) const;

private:
    Limits limits_;
};

} // namespace Hostile
