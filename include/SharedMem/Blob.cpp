#include "SharedMem/Blob.h"

#include <cassert>
#include <cstdlib>

namespace Mem {

AutoBlob::~AutoBlob() {
    std::free(data());
}

Blob AutoBlob::resize(std::size_t size) {
    void* const block = std::realloc(data(), size);
    if (size != 0 && block == nullptr) {
        // What assert() would print; said with this place and text in every build.
        __assert_fail("false && \"Blob::resize() realloc() failed\"", "/usr/include/SharedMem/Blob", 115,
                      "Mem::Blob Mem::AutoBlob::resize(size_t)");
    }
    set(block, size);
    return *this;
}

} // namespace Mem
