#pragma once

#include "Mem/FaultGuard.h"
#include "Mem/Local.h"

#include <memory>
#include <string>

struct stat;

namespace Mem {

class Directory;

/// A file of shared memory, mapped read-only. Owns the descriptor and the mapping.
///
/// The file is opened without following a link in its last component, without blocking, and only when it is a regular file:
/// nothing that stands in a file's place can hang the reader or lead it elsewhere. It stays open while attached, so that its
/// size can be asked whatever happens to its name. Reads of pages that are no longer there are caught (see FaultRange);
/// every group of reads ends with checkRead() or checkFault() before what was read is believed.
class Shared : public Local {
public:
    static constexpr unsigned SHARED_DEFAULT_FLAGS = 0;

    /// The file `name` in the directory `prefix`; nothing is opened yet.
    Shared(Norvu::Platform::DebugHandler& handler, const char* prefix, const char* name, bool, unsigned flags, bool);
    ~Shared() override;
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

    [[nodiscard]] const std::string& getFilename() const override { return filename_; }

    /// Looks the name up in `directory` from now on instead of by its path.
    void useDirectory(std::shared_ptr<Directory> directory) { directory_ = std::move(directory); }

    /// Opens the file without mapping anything, so that it is this file that a later attach maps. False when it cannot be.
    bool hold();
    [[nodiscard]] bool held() const { return descriptor_ >= 0; }

    /// Maps the first `size` bytes, also past the end of the file; null when it cannot be, with the reason in errorText().
    void* attach(unsigned size, Mode mode, bool, const std::string&);
    /// Maps `size` bytes instead, perhaps elsewhere; null when it cannot be, and the old mapping is as it was then.
    void* resize(unsigned size);
    /// Unmaps and closes; munmap's result.
    int detach();

    /// Makes the first read of every page up to `end` cheap, as far as the system knows how: a hint, which changes nothing else.
    void populate(std::size_t end) const;

    /// Bytes of the open file, of the named file when none is open, 0 when there is none or it is not a regular one.
    /// A size past 4294967295 counts as 4294967295.
    [[nodiscard]] unsigned memSize() const;

    /// The same without the holes of a sparse file: what stands behind the file's bytes.
    [[nodiscard]] unsigned storedSize() const;

    /// Why the last attach or resize failed.
    [[nodiscard]] const std::string& errorText() const { return error_; }

    /// Throws Norvu::CorruptionDetectedException, with the file's name, when a read since the last call met no memory.
    void checkFault() const {
        if (range_ != nullptr && range_->faulted()) [[unlikely]] {
            raiseFault();
        }
    }
    /// The same, and also when the file no longer reaches to `end`, counted from the base, where the bytes just read end: the
    /// rest of a file's last page reads as zeros instead of faulting. Costs no system call but for the mapping's last page.
    void checkRead(std::size_t end) const {
        if (range_ == nullptr) {
            return;
        }
        // A file that is cut short loses its last page before any byte of it reads as zero, unless the cut lies in that page
        // itself; so the probe comes after the read (relaxed, behind the reader's acquire), and reads of the last page ask.
        (void)__atomic_load_n(static_cast<const unsigned char*>(base()) + probe_, __ATOMIC_RELAXED);
        if (range_->faulted() || end > lastPage_) [[unlikely]] {
            checkSize(end);
        }
    }
    /// Forgets a fault of reads whose results are not used; whether there was one.
    bool forgetFault() const {
        if (range_ == nullptr || !range_->faulted()) [[likely]] {
            return false;
        }
        (void)restorePages();
        return true;
    }

private:
    bool openFile();
    std::size_t restorePages() const;
    [[noreturn]] void raiseFault() const;
    bool status(struct stat& status) const;
    void checkSize(std::size_t end) const;
    void probePage(std::size_t page) const;
    [[noreturn]] void raiseUnreadable(std::size_t offset) const;

    std::string filename_;
    std::string name_;
    std::string error_;
    std::shared_ptr<Directory> directory_;
    std::unique_ptr<FaultRange> range_;
    mutable std::size_t lastPage_ = 0; ///< where it begins, of the mapping or of the file when that was cut short
    mutable std::size_t probe_ = 0;    ///< the last page's last byte: no read of a record faults there first
    int descriptor_ = -1;
};

} // namespace Mem
