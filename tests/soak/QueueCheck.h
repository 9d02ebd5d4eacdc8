#pragma once

#include "fixtures/QueueOutput.h"
#include "soak/Faults.h"
#include "soak/History.h"
#include "soak/Plan.h"

namespace Soak {

/// Holds a report on queues against the steps of one incarnation, each of which appended one notification about its slot. The
/// valid records are a run of them without a gap that ends with what must have been seen, or later. The record at currentPos
/// may be half written when it is not valid; every other one is whole, or was never used.
class QueueCheck {
public:
    QueueCheck(const History& history, const View& view, const Plan& plan)
        : history_(&history), view_(&view), plan_(&plan) {}

    void run(const Fixtures::QueueOutput& output, bool validOnly, Faults& faults) const;

private:
    void checkQueue(const Fixtures::QueueOutput::Queue& queue, bool validOnly, Faults& faults) const;
    void checkPair(const Fixtures::QueueOutput::Queue& active, const Fixtures::QueueOutput::Queue& backup,
                   Faults& faults) const;
    void checkNewest(std::uint64_t newest, Faults& faults) const;
    [[nodiscard]] std::string shown(const Fixtures::QueueOutput::Queue& queue,
                                    const Fixtures::QueueOutput::Record& record) const;

    const History* history_;
    const View* view_;
    const Plan* plan_;
};

} // namespace Soak
