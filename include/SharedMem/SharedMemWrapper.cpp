#include "SharedMem/SharedMemWrapper.h"

namespace Mem {

SharedMemWrapper::SharedMemWrapper(Norvu::Platform::DebugHandler& handler, const RootPath& root, const char* name,
                                   bool localMem)
    : Shared(handler, root.text().c_str(), name, false, localMem ? LOCAL_DEFAULT_FLAGS : SHARED_DEFAULT_FLAGS, false),
      localMem_(localMem) {
    if (!localMem) {
        useDirectory(root.directory());
    }
    if (handler.enabled(5)) {
        Norvu::Platform::DebugStream record;
        record << "SharedMemWrapper::SharedMemWrapper() prefix:" << root.text() << " name:" << name
               << " localMem:" << localMem;
        handler.log(record, 5, "/usr/include/SharedMem/SharedMemWrapper", 33, "SharedMemWrapper");
    }
}

SharedMemWrapper::~SharedMemWrapper() {
    release();
}

const std::string& SharedMemWrapper::getFilename() const {
    return localMem_ ? Local::getFilename() : Shared::getFilename();
}

void* SharedMemWrapper::attach(unsigned size, Mode mode, bool flag) {
    return localMem_ ? Local::attach(size, mode) : Shared::attach(size, mode, flag, "");
}

void* SharedMemWrapper::remap(unsigned size) {
    return localMem_ ? Local::resize(size) : Shared::resize(size);
}

int SharedMemWrapper::release() {
    return localMem_ ? Local::detach() : Shared::detach();
}

unsigned SharedMemWrapper::regionSize() const {
    return localMem_ ? size() : memSize();
}

bool SharedMemWrapper::hold() {
    return localMem_ || Shared::hold();
}

} // namespace Mem
