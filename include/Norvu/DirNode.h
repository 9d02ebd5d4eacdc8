#pragma once

#include "Norvu/Debug.h"

#include <dirent.h>
#include <memory>
#include <string>

namespace Norvu {

/// One open directory of a walk. A walk keeps a shared pointer to the node it reads; each node keeps its parent, so moving up
/// is taking the parent's pointer, and a directory is closed when its last owner lets go.
///
/// A directory that cannot be opened, or closed, is traced and tolerated: every read of it is the end. Only a failed read
/// throws. Owns the directory stream.
class DirNode : public Debuggable {
public:
    DirNode(Platform::DebugHandler& handler, const std::string& path, std::shared_ptr<DirNode> parent);
    ~DirNode() override;
    DirNode(const DirNode&) = delete;
    DirNode& operator=(const DirNode&) = delete;

    /// Opens the directory, again when it is open already.
    void openDir();

    /// The next entry, "." and ".." included; null at the end and when the directory is not open. Valid until the next call.
    /// Throws RuntimeException when the system cannot read on.
    [[nodiscard]] dirent* readEntry() const;

    /// Whether the path leads to another directory by now than to the open one.
    [[nodiscard]] bool isReplaced() const;

    [[nodiscard]] bool isOpen() const { return dir_ != nullptr; }
    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] const std::shared_ptr<DirNode>& parent() const { return parent_; }

private:
    void trace(int level, int line, const char* function, const std::string& text) const;

    DIR* dir_ = nullptr;
    std::shared_ptr<DirNode> parent_;
    std::string path_;
};

} // namespace Norvu
