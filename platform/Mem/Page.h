#pragma once

namespace Mem {

/// The size of a page of this machine, in bytes; a power of two.
extern const unsigned pageSize_;

} // namespace Mem
