#include "writer/FenixFile.h"

#include "Halyx/FenixLayout.h"
#include "writer/Errors.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>

namespace Halyx::Writer {

FenixFile::FenixFile(const CollectionDirectory& directory, SharedMem::FenixId fenix, mode_t mode)
    : file_(directory.descriptor(), Layout::kFenixFile, directory.path() + "/" + Layout::kFenixFile,
            sizeof(Layout::FenixFile), mode),
      lock_(::openat(directory.descriptor(), Layout::kFenixFile, O_RDONLY | O_CLOEXEC | O_NOFOLLOW)) {
    // Before the collection is in place, so nobody else can have it.
    if (!lock_.open() || ::flock(lock_.get(), LOCK_EX | LOCK_NB) != 0) {
        throwSystemError("cannot lock " + file_.shownAs(), errno);
    }
    const Layout::FenixFile content{Layout::kFenixMagic, fenix};
    file_.view().fill(0, &content, sizeof content);
}

} // namespace Halyx::Writer
