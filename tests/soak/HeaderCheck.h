#pragma once

#include "soak/Faults.h"
#include "soak/History.h"

#include <string>
#include <vector>

namespace Soak {

/// What had befallen the writers before a run and behind it.
struct Fates {
    std::uint32_t deaths = 0;
    std::uint32_t living = 0; ///< as in the journal

    static Fates now(const Journal& journal);
};

/// Holds the report on headers against one incarnation: one writer's in every file, and counts that there were.
void checkHeaders(const std::string& output, const View& view, Faults& faults);

/// What a report on clients may have met.
struct ClientsMet {
    std::string path; ///< the collection's
    Fates before;
    Fates after;
    bool stopped = false; ///< there was no writer any more
    bool all = false;     ///< the report is one on all collections
};

/// Holds a report on clients against the incarnations: the writer is named when it lived all the time, nobody is when it had ended, and
/// nobody else ever is. It tells of processes first, and then the counts of what is in place, which may be a later incarnation's.
void checkClients(const std::string& output, const std::vector<View>& views, const ClientsMet& met, Faults& faults);

} // namespace Soak
