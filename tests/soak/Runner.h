#pragma once

#include "fixtures/Process.h"
#include "fixtures/ScratchRoot.h"
#include "soak/HeaderCheck.h"
#include "soak/History.h"
#include "soak/Plan.h"
#include "soak/Totals.h"
#include "soak/WalkText.h"

#include <functional>
#include <random>
#include <string>
#include <vector>

namespace Soak {

/// What the command line asks for.
struct Settings {
    std::string tool;
    std::string keep; ///< where a faulty run's output goes
    double seconds = 5;
    double round = 3; ///< seconds until a new collection is begun
    std::vector<Scenario> scenarios;
    std::uint64_t mostFaultyRuns = 10; ///< after which it gives up
    std::uint32_t seed = 0;
};

/// Lets the tool report on collections that are being written to, one collection after the other, and checks all that it prints.
class Runner {
public:
    explicit Runner(Settings settings);

    /// False when anything was found.
    bool run();

private:
    struct Report {
        const char* name;
        std::vector<std::string> options;
        unsigned weight;
    };

    static const std::vector<Report>& reports();
    void round(const Plan& plan);
    void runOne(const Plan& plan, const Report& report, const std::string& chroot, History& history, bool stopped);
    double disturb(const Fixtures::Process& process);
    [[nodiscard]] const Report& choose(const Plan& plan);
    [[nodiscard]] std::string expression(const Plan& plan, const std::string& chroot);
    Faults check(const Plan& plan, const Report& report, const Fixtures::Outcome& outcome, const std::string& chroot,
                 History& history, const Fates& before, bool stopped);
    void note(const Plan& plan, const Report& report, const Fixtures::Outcome& outcome, const Faults& faults);
    void noteWriter(const Plan& plan, const std::string& reason);
    [[nodiscard]] bool writerFailed() const { return journal_.counts().failed.load() != 0; }
    [[nodiscard]] double elapsed() const;

    Settings settings_;
    std::mt19937 random_;
    Journal journal_;
    Totals totals_;
    WalkText text_;
    double begin_;
    double lastLine_ = 0;
    double usualRun_ = 0.003; ///< seconds that a run takes
};

} // namespace Soak
