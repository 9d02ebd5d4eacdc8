#include "soak/Plan.h"

namespace Soak {

const char* nameOf(Scenario scenario) {
    switch (scenario) {
    case Scenario::Static:
        return "static";
    case Scenario::Dynamic:
        return "dynamic";
    case Scenario::Queues:
        return "queues";
    case Scenario::Restarts:
        break;
    }
    return "restarts";
}

std::string Plan::describe() const {
    const auto text = [](std::uint32_t number) { return std::to_string(number); };
    return std::string(nameOf(scenario)) + (dynamic ? ", dynamic" : ", static") + (conquer ? ", queues of " : "") +
           (conquer ? text(notifications) + " to " + text(mostNotifications) : "") + ", keys " + text(keys) +
           ", from " + text(growFrom) + (growBuckets ? "" : " fixed buckets") + ", erases " + text(erases) + ", seed " +
           text(seed);
}

Plan randomPlan(Scenario scenario, std::mt19937& random) {
    const auto pick = [&random](std::initializer_list<std::uint32_t> values) {
        return values.begin()[random() % values.size()];
    };
    Plan plan;
    plan.scenario = scenario;
    plan.seed = static_cast<std::uint32_t>(random());
    plan.dynamic = scenario == Scenario::Dynamic || (scenario != Scenario::Static && random() % 2 == 0);
    plan.conquer = scenario == Scenario::Queues || (scenario == Scenario::Restarts && random() % 2 == 0);
    plan.keys = pick({8, 300, 3000, plan.dynamic ? 6000U : 10000U});
    plan.grow = pick({0, 10, 100});
    plan.growFrom = pick({1, 16, 256});
    plan.growBuckets = random() % 4 != 0 || plan.keys > 300;
    plan.erases = pick({0, 16, 64, 128});
    if (plan.conquer) {
        plan.notifications = pick({1, 4, 64});
        plan.mostNotifications = plan.notifications * pick({1, 16, 128});
        // A report on queues waits for a moment in which nothing is appended.
        plan.longestBurst = pick({50, 1000, 5000});
        plan.longestPause = pick({100, 300});
    }
    if (scenario == Scenario::Restarts) {
        plan.keys = pick({8, 300, 3000});
        plan.longestLife = pick({2, 20, 100});
    }
    return plan;
}

} // namespace Soak
