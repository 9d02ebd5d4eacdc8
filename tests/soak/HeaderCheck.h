#pragma once

#include "soak/Faults.h"
#include "soak/History.h"

#include <string>

namespace Soak {

/// Counts that a collection had before a run and behind it.
struct Sizes {
    std::uint32_t slots = 0;
    std::uint32_t buckets = 0;
    std::uint32_t deaths = 0;       ///< of writers
    std::uint32_t incarnations = 0; ///< put in place

    static Sizes now(const Journal& journal);
};

/// Holds the report on headers against one incarnation: one writer's in every file, and counts that there were.
void checkHeaders(const std::string& output, const View& view, const Sizes& before, const Sizes& after, Faults& faults);

/// Holds a report on clients against the same: the writer is named when it lived all the time, and nobody else is.
/// `path` is the collection's.
void checkClients(const std::string& output, const std::string& path, const View& view, const Sizes& before,
                  const Sizes& after, bool stopped, Faults& faults);

} // namespace Soak
