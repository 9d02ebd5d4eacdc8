#pragma once

#include <cstdint>
#include <random>
#include <string>

namespace Soak {

enum class Scenario { Static, Dynamic, Queues, Restarts };
inline constexpr Scenario kScenarios[] = {Scenario::Static, Scenario::Dynamic, Scenario::Queues, Scenario::Restarts};

const char* nameOf(Scenario scenario);

/// One collection and how it is written to.
struct Plan {
    Scenario scenario = Scenario::Static;
    std::string collection = "soak";
    bool dynamic = false;
    bool conquer = false;
    std::uint32_t keys = 1000;   ///< 0 to keys - 1
    std::uint32_t grow = 0;      ///< steps for each further key to come into play; 0: all from the beginning
    std::uint32_t growFrom = 16; ///< buckets, slots and slab entries to begin with
    bool growBuckets = true;
    std::uint32_t erases = 64; ///< of 256 steps on an element that is there
    std::uint32_t notifications = 4;
    std::uint32_t mostNotifications = 1000;
    std::uint32_t longestBurst = 0; ///< steps between two pauses; 0: none
    std::uint32_t longestPause = 0; ///< microseconds
    std::uint32_t longestLife = 0;  ///< milliseconds until a new incarnation follows; 0: there is one only
    std::uint32_t seed = 0;

    [[nodiscard]] std::string describe() const;
};

/// A plan of that scenario, other numbers each time.
Plan randomPlan(Scenario scenario, std::mt19937& random);

} // namespace Soak
