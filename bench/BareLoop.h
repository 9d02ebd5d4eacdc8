#pragma once

#include "Process.h"
#include "Table.h"

namespace Bench {

/// What a bare loop does besides the unavoidable.
struct LoopKind {
    /// Every check that a live read makes: links and states are loaded as a writer may change them and looked at again, the
    /// lookaside bit is obeyed, indexes and sizes are held against their bounds.
    bool checks;
    /// Slots are asked for ahead: of the chain 72 buckets ahead the first, 48 ahead the second, 24 ahead the third.
    bool lookAhead;
};

/// Prints `table` to the byte as the tool's walk does, with hand-made hexadecimal in a plain buffer: what a loop costs that was
/// written for such a table and nothing else.
Program bareLoop(const Table& table, LoopKind kind);

} // namespace Bench
