#pragma once

#include "Mem/Atomics.h"
#include "Mem/View.h"

#include <cstddef>
#include <type_traits>

namespace Mem {

/// A private copy of a header of which no part is older or newer than another, as its version word tells: the pair at
/// `pairOffset` is loaded (acquire), the header copied (relaxed), and the version looked at again behind an acquire fence.
/// A writer that stored a new pair meanwhile changed the version, and the copy is taken again. A file that nobody writes
/// is copied once. Rule R1 of docs/protocol.md.
template <typename Header>
Header snapshot(const View& view, std::size_t pairOffset) {
    static_assert(std::is_trivially_copyable_v<Header>);
    Header copy;
    VerU32 before;
    do {
        before = view.pair(pairOffset);
        view.copy(0, &copy, sizeof(Header));
        Atomics::acquireFence();
    } while (view.word(pairOffset + offsetof(VerU32, version)) != before.version);
    return copy;
}

} // namespace Mem
