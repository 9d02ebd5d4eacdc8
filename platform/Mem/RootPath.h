#pragma once

#include "Norvu/Debug.h"

#include <memory>
#include <string>

namespace Mem {

class Directory;

/// The directory that Q7_CHROOT moves everything below: its value when that begins with "/", symbolic links resolved when it
/// exists, without trailing slashes; else empty. Read once a call, so that a test may change it.
std::string chroot();

/// The directory that the files of a table set live in: chroot + base + "/" + subdir, then "/" + extra unless extra is empty.
/// Never ends in "/".
class RootPath : public Norvu::Debuggable {
public:
    RootPath(Norvu::Platform::DebugHandler& handler, const std::string& base, const std::string& subdir,
             const std::string& extra, bool flag);
    ~RootPath() override = default;
    RootPath(const RootPath&) = default;
    RootPath& operator=(const RootPath&) = default;

    [[nodiscard]] virtual std::string socknamePrefix() const;

    [[nodiscard]] const std::string& text() const { return text_; }

    /// The directory behind the path as it was at the first call: every file of a collection is opened through it, so that
    /// a writer that puts a new incarnation in place meanwhile cannot mix its files into this reader's.
    [[nodiscard]] const std::shared_ptr<Directory>& directory() const;

private:
    std::string text_;
    mutable std::shared_ptr<Directory> directory_;
};

} // namespace Mem

namespace Halyx {

/// The directory above all collections, chroot included: what a collection's path is relative to.
std::string collectionsRoot();

/// The directory of one collection: chroot + "/var/shmem/halyxes", then "/" + collection unless that is empty.
class RootPath : public Mem::RootPath {
public:
    RootPath(Norvu::Platform::DebugHandler& handler, const std::string& collection, bool flag);

    [[nodiscard]] std::string socknamePrefix() const override;
};

} // namespace Halyx
