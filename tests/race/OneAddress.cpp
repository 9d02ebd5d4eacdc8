// Built without the sanitizer: a lock that it saw would order what the readers and the writer do before and after it.

#include "race/OneAddress.h"

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" {
void* __real_mmap(void* address, std::size_t size, int protection, int flags, int file, off_t offset);
void* __real_mremap(void* address, std::size_t size, std::size_t newSize, int flags, ...);
int __real_munmap(void* address, std::size_t size);
}

namespace {

constexpr std::size_t kRoom = std::size_t{64} << 20; ///< of each file
constexpr std::size_t kMostFiles = 256;

struct Range {
    dev_t device = 0;
    ino_t file = 0;
    unsigned char* base = nullptr;
    std::size_t mapped = 0;
    unsigned users = 0;  ///< 0: not in use
    int descriptor = -1; ///< of our own, to map more of the file
};

Range ranges[kMostFiles];
std::atomic_flag busy = ATOMIC_FLAG_INIT;
std::atomic<std::size_t> sharedMappings{0};
std::atomic<std::size_t> grownMappings{0};

class Lock {
public:
    Lock() {
        while (busy.test_and_set(std::memory_order_acquire)) {
        }
    }
    ~Lock() { busy.clear(std::memory_order_release); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
};

std::size_t pagesOf(std::size_t size) {
    constexpr std::size_t page = 4096;
    return (size + page - 1) / page * page;
}

Range* rangeAt(const void* address) {
    for (Range& range : ranges) {
        if (range.users != 0 && range.base == address) {
            return &range;
        }
    }
    return nullptr;
}

/// Maps what the range does not have yet; false when it cannot be.
bool extend(Range& range, std::size_t size) {
    size = pagesOf(size);
    if (size <= range.mapped) {
        return true;
    }
    if (size > kRoom) {
        std::fputs("a file grew beyond the room that these tests have for it\n", stderr);
        std::abort();
    }
    if (::syscall(SYS_mmap, range.base + range.mapped, size - range.mapped, PROT_READ | PROT_WRITE,
                  MAP_SHARED | MAP_FIXED, range.descriptor, range.mapped) == -1) {
        return false;
    }
    range.mapped = size;
    return true;
}

void* mapFile(const struct stat& status, int file, std::size_t size) {
    const Lock lock;
    Range* unused = nullptr;
    for (Range& range : ranges) {
        if (range.users == 0) {
            unused = &range;
        } else if (range.device == status.st_dev && range.file == status.st_ino) {
            if (!extend(range, size)) {
                return MAP_FAILED;
            }
            ++range.users;
            sharedMappings.fetch_add(1, std::memory_order_relaxed);
            return range.base;
        }
    }
    if (unused == nullptr) {
        std::fputs("more files are mapped than these tests have room for\n", stderr);
        std::abort();
    }
    // Past the sanitizer: it would take this for the calling thread's write of all that ever stands there.
    const long reserved =
        ::syscall(SYS_mmap, nullptr, kRoom, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (reserved == -1) {
        return MAP_FAILED;
    }
    void* const place = reinterpret_cast<void*>(reserved);
    // The first to map a file need not be its writer, who needs it for writing.
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/fd/%d", file);
    *unused = {status.st_dev,
               status.st_ino,
               static_cast<unsigned char*>(place),
               0,
               1,
               static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, O_RDWR | O_CLOEXEC))};
    if (unused->descriptor < 0 || !extend(*unused, size)) {
        __real_munmap(place, kRoom);
        if (unused->descriptor >= 0) {
            ::syscall(SYS_close, unused->descriptor);
        }
        *unused = {};
        return MAP_FAILED;
    }
    return place;
}

} // namespace

namespace OneAddress {

std::size_t shared() {
    return sharedMappings.load();
}

std::size_t grown() {
    return grownMappings.load();
}

} // namespace OneAddress

extern "C" {

void* __wrap_mmap(void* address, std::size_t size, int protection, int flags, int file, off_t offset) {
    struct stat status {};
    if (address != nullptr || (flags & MAP_SHARED) == 0 || file < 0 || offset != 0 || ::fstat(file, &status) != 0 ||
        !S_ISREG(status.st_mode)) {
        return __real_mmap(address, size, protection, flags, file, offset);
    }
    return mapFile(status, file, size);
}

void* __wrap_mmap64(void* address, std::size_t size, int protection, int flags, int file, off_t offset) {
    return __wrap_mmap(address, size, protection, flags, file, offset);
}

void* __wrap_mremap(void* address, std::size_t size, std::size_t newSize, int flags, ...) {
    std::va_list more;
    va_start(more, flags);
    void* const place = (flags & MREMAP_FIXED) != 0 ? va_arg(more, void*) : nullptr;
    va_end(more);
    const Lock lock;
    Range* const range = rangeAt(address);
    if (range == nullptr) {
        return place != nullptr ? __real_mremap(address, size, newSize, flags, place)
                                : __real_mremap(address, size, newSize, flags);
    }
    if (!extend(*range, newSize)) {
        return MAP_FAILED;
    }
    if (range->users > 1) {
        grownMappings.fetch_add(1, std::memory_order_relaxed);
    }
    if (place != nullptr) {
        __real_munmap(place, newSize);
    }
    return range->base;
}

int __wrap_munmap(void* address, std::size_t size) {
    const Lock lock;
    Range* const range = rangeAt(address);
    if (range == nullptr) {
        return __real_munmap(address, size);
    }
    if (--range->users != 0) {
        return 0;
    }
    ::syscall(SYS_close, range->descriptor);
    void* const base = range->base;
    *range = {};
    return __real_munmap(base, kRoom);
}

} // extern "C"
