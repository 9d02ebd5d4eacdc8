#pragma once

#include "Mem/RootPath.h"
#include "Mem/Shared.h"

namespace Mem {

/// The one way to map a file of a collection: a file mapping, or process-local memory in its place when `localMem` is set.
/// Owns the mapping. Readers ask for the region through the operations below and need not know which it is.
class SharedMemWrapper : public Shared {
public:
    SharedMemWrapper(Norvu::Platform::DebugHandler& handler, const RootPath& root, const char* name, bool localMem);
    ~SharedMemWrapper() override;
    SharedMemWrapper(const SharedMemWrapper&) = delete;
    SharedMemWrapper& operator=(const SharedMemWrapper&) = delete;

    [[nodiscard]] const std::string& getFilename() const override;

    /// The address of the mapped bytes, or null when they cannot be mapped.
    void* attach(unsigned size, Mode mode, bool flag);

    /// Maps `size` bytes, perhaps elsewhere; null when it cannot be, and the old mapping is as it was then.
    void* remap(unsigned size);

    /// Releases the mapping; its result, 0 when all went well.
    int release();

    /// Bytes of the file, or of the local memory.
    [[nodiscard]] unsigned regionSize() const;

    /// The same without the holes of a sparse file.
    [[nodiscard]] unsigned storedRegionSize() const { return localMem_ ? size() : storedSize(); }

    /// Opens a file without mapping it, see Shared::hold(). True for local memory.
    bool hold();

    [[nodiscard]] bool isLocal() const { return localMem_; }

private:
    bool localMem_;
};

} // namespace Mem
