#pragma once

#include "fixtures/ScratchRoot.h"
#include "hostile/Case.h"
#include "hostile/Expectation.h"

#include <optional>
#include <string>

namespace Hostile {

/// What the search for a collection comes to.
struct Lookup {
    /// The one collection that is reported, relative to the root; empty when there is none.
    std::string collection;
    /// What is printed on standard error before its report, or instead of one.
    std::string complaint;
    /// Nothing certain can be said: directories deeper than a reader can open.
    bool open = false;

    static Lookup of(const Fixtures::ScratchRoot& root, const Case& given);
};

/// Text from outside as it reaches the terminal.
std::string safe(const std::string& text);

} // namespace Hostile
