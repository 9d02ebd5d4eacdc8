#pragma once

#include "soak/Faults.h"
#include "soak/History.h"

#include <string>

namespace Soak {

/// What had befallen the writers before a run and behind it.
struct Fates {
    std::uint32_t deaths = 0;
    std::uint32_t incarnations = 0; ///< put in place

    static Fates now(const Journal& journal);
};

/// Holds the report on headers against one incarnation: one writer's in every file, and counts that there were.
void checkHeaders(const std::string& output, const View& view, Faults& faults);

/// Holds a report on clients against the same: the writer is named when it lived all the time, and nobody else is.
/// `path` is the collection's.
void checkClients(const std::string& output, const std::string& path, const View& view, const Fates& before,
                  const Fates& after, bool stopped, Faults& faults);

} // namespace Soak
