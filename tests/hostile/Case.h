#pragma once

#include "fixtures/ScratchRoot.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Hostile {

/// One broken collection. What it is follows from the seed and its index alone.
struct Case {
    std::uint64_t index = 0;
    std::string category;
    std::string what;             ///< what was done to it, for a failure's report
    std::string expression = "c"; ///< how the tool is asked for it
    bool unprivileged = false;    ///< to be read by a user without rights of root's
    std::string skipped;          ///< why this machine cannot make it; empty when it was made
};

/// Cases of one kind, numbered from 0: `make` puts number `i` below the root and says in the case what it did.
struct Group {
    std::string category;
    std::size_t count = 0;
    std::function<void(std::size_t i, const Fixtures::ScratchRoot& root, Case& made)> make;
};

} // namespace Hostile
