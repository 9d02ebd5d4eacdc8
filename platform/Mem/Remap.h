#pragma once

#include <cstddef>

namespace Mem {

/// Makes a mapping `newSize` bytes long, elsewhere when it does not fit where it is. The new base; MAP_FAILED, with errno set
/// and the mapping as it was, when that fails.
void* remap(void* base, std::size_t size, std::size_t newSize);

} // namespace Mem
