#pragma once

#include <cstddef>

namespace Mem {

/// What to ask mmap for when `size` bytes are to be mapped. The kernel maps whole pages anyway; the thread sanitizer forgets
/// what another mapping held there only as far as it is asked for, and the last page is read to its end to see that it is there.
[[nodiscard]] std::size_t sizeToMap(std::size_t size);

/// Makes a mapping `newSize` bytes long, elsewhere when it does not fit where it is. The new base; MAP_FAILED, with errno set
/// and the mapping as it was, when that fails.
void* remap(void* base, std::size_t size, std::size_t newSize);

} // namespace Mem
