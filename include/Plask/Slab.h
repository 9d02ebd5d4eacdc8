#pragma once

#include "Norvu/Debug.h"
#include "Plask/SlabLayout.h"
#include "SharedMem/FenixId.h"

#include <ostream>
#include <string>

namespace Plask {

/// What every user of a slab file shares: the header's checks and its trace.
class Slab : public Norvu::Debuggable {
public:
    /// A copy of a slab file's header. Copied first, checked then, used last.
    struct SlabHeader : Layout::SlabHeader {
        /// The checks in their fixed order; the first failure's text replaces `reason`, is traced at level 0, and the result is
        /// false. `fileSize` in bytes; `expected` 0 accepts any incarnation. Never throws.
        bool validate(Norvu::Platform::DebugHandler& handler, unsigned fileSize, SharedMem::FenixId expected,
                      std::string& reason) const;

        /// The same checks without the trace.
        [[nodiscard]] bool check(unsigned fileSize, SharedMem::FenixId expected, std::string& reason) const;

        void trace(Norvu::Platform::DebugHandler& handler) const;
    };

    using Debuggable::Debuggable;

protected:
    /// Traces what every detach of a slab says.
    void traceDetach() const;
};

namespace Layout {

/// "Offset{ slab: N index: I }"
std::ostream& operator<<(std::ostream& out, const SlabOffset& offset);

} // namespace Layout

/// Bytes that a slab of `count` entries of `entrySize` bytes takes.
constexpr std::uint64_t neededSlabSize(std::uint32_t entrySize, std::uint32_t count) {
    return std::uint64_t{entrySize} * count + Layout::kSlabHeaderSize;
}

} // namespace Plask
