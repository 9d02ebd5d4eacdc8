#include "Mem/Remap.h"

#include "Mem/Page.h"

#include <sys/mman.h>

namespace Mem {

std::size_t sizeToMap(std::size_t size) {
#ifdef __SANITIZE_THREAD__
    const std::size_t page = pageSize_;
    return (size + page - 1) / page * page;
#else
    return size;
#endif
}

void* remap(void* base, std::size_t size, std::size_t newSize) {
#ifdef __SANITIZE_THREAD__
    // The thread sanitizer sees mmap but not mremap: without this it takes what another mapping held at the new place for this
    // one's.
    void* const place = ::mmap(nullptr, sizeToMap(newSize), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (place == MAP_FAILED) {
        return place;
    }
    void* const moved = ::mremap(base, size, newSize, MREMAP_MAYMOVE | MREMAP_FIXED, place);
    if (moved == MAP_FAILED) {
        ::munmap(place, sizeToMap(newSize));
    }
    return moved;
#else
    return ::mremap(base, size, newSize, MREMAP_MAYMOVE);
#endif
}

} // namespace Mem
