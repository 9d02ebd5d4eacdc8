#pragma once

#include "SharedMem/FenixId.h"
#include "writer/FileMapping.h"

#include <sys/types.h>

namespace Halyx::Writer {

class CollectionDirectory;

/// The file "fenix": the sign of life of a collection's writer. Mapped read-write, and locked (flock), for as long as this
/// lives. Readers take no lock, so it is in no reader's way.
class FenixFile {
public:
    FenixFile(const CollectionDirectory& directory, SharedMem::FenixId fenix, mode_t mode);

private:
    FileMapping file_;
};

} // namespace Halyx::Writer
