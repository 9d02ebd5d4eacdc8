#pragma once

#include "Mem/Directory.h"
#include "Mem/RootPath.h"
#include "Norvu/Exception.h"

namespace Halyx {

/// A writer that restarts may put a new incarnation in place between the look-up and the attach, but not for ever.
inline constexpr unsigned kMostIncarnations = 100;

/// The result of `attempt(root)`, which opens what it needs of a collection: files of the directory that `root` holds. When a
/// new incarnation took that directory's place meanwhile, files may have been gone before they were opened; the new one's are
/// meant then, and it is attempted again, also after an exception. Attempts therefore report nothing by themselves.
template <typename Attempt>
auto onSteadyDirectory(Norvu::Platform::DebugHandler& handler, const char* tablePath, const Attempt& attempt) {
    for (unsigned tries = 1;; ++tries) {
        const RootPath root(handler, tablePath, false);
        const auto directory = root.directory();
        try {
            auto result = attempt(root);
            if (tries == kMostIncarnations || directory->isAt(root.text())) {
                return result;
            }
        } catch (const Norvu::Exception&) {
            if (tries == kMostIncarnations || directory->isAt(root.text())) {
                throw;
            }
        }
    }
}

} // namespace Halyx
