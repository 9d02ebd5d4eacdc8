#pragma once

#include "SharedMem/FenixId.h"
#include "writer/CollectionDirectory.h"
#include "writer/FileMapping.h"

#include <sys/types.h>

namespace Halyx::Writer {

/// The file "fenix": the sign of life of a collection's writer. Mapped read-write, and locked (flock), for as long as this
/// lives. Readers take no lock, so it is in no reader's way.
class FenixFile {
public:
    FenixFile(const CollectionDirectory& directory, SharedMem::FenixId fenix, mode_t mode);

private:
    FileMapping file_;
    /// What is locked: not the descriptor that is mapped, for a mapping can outlive its process. Whoever reads a process's
    /// memory map holds its memory that long, and the lock of a writer that was killed meanwhile would be held with it.
    Descriptor lock_;
};

} // namespace Halyx::Writer
