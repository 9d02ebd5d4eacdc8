#include "Mem/Remap.h"

#include <sys/mman.h>

namespace Mem {

void* remap(void* base, std::size_t size, std::size_t newSize) {
#ifdef __SANITIZE_THREAD__
    // The thread sanitizer sees mmap but not mremap: without this it takes what another mapping held at the new place for this
    // one's.
    void* const place = ::mmap(nullptr, newSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (place == MAP_FAILED) {
        return place;
    }
    void* const moved = ::mremap(base, size, newSize, MREMAP_MAYMOVE | MREMAP_FIXED, place);
    if (moved == MAP_FAILED) {
        ::munmap(place, newSize);
    }
    return moved;
#else
    return ::mremap(base, size, newSize, MREMAP_MAYMOVE);
#endif
}

} // namespace Mem
