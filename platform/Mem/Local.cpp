#include "Mem/Local.h"

#include "Mem/Remap.h"

#include <cstdlib>
#include <cstring>
#include <sys/mman.h>

namespace Mem {

const std::string Local::HEAP = "HEAP";
const std::string Local::ANONYMOUS = "ANONYMOUS";

Local::Local(Norvu::Platform::DebugHandler& handler, unsigned flags) : Debuggable(handler), flags_(flags) {}

Local::~Local() {
    Local::detach();
}

const std::string& Local::getFilename() const {
    return (flags_ & kHeapFlag) != 0 ? HEAP : ANONYMOUS;
}

void* Local::attach(unsigned size, Mode /*mode*/) {
    Local::detach();
    return resize(size);
}

void* Local::resize(unsigned size) {
    void* block = nullptr;
    if ((flags_ & kHeapFlag) != 0) {
        block = std::realloc(base_, size);
        if (block != nullptr && size > this->size()) {
            std::memset(static_cast<char*>(block) + this->size(), 0, size - this->size());
        }
    } else if (base_ == nullptr) {
        block = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    } else {
        block = remap(base_, this->size(), size);
    }
    if (block == nullptr || block == MAP_FAILED) {
        return nullptr;
    }
    setRegion(block, size);
    return block;
}

int Local::detach() {
    if (base_ != nullptr) {
        if ((flags_ & kHeapFlag) != 0) {
            std::free(base_);
        } else {
            ::munmap(base_, size());
        }
        setRegion(nullptr, 0);
    }
    return 0;
}

} // namespace Mem
