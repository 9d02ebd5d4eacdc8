#pragma once

#include "fixtures/ScratchRoot.h"

#include <string>

namespace Hostile {

/// One job's chroot, emptied for each case.
class Place {
public:
    [[nodiscard]] const Fixtures::ScratchRoot& root() const { return root_; }
    /// Removes whatever a case made: directories deeper than a path can name included.
    void empty();
    /// Moves the case out of what is removed at the end, and returns where it is now.
    std::string keep(const std::string& name);

private:
    Fixtures::ScratchRoot root_;
};

} // namespace Hostile
