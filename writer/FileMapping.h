#pragma once

#include "Mem/View.h"

#include <cstdint>
#include <string>
#include <sys/types.h>

namespace Halyx::Writer {

/// One new file of a collection, mapped shared and writable by the collection's only writer. Owns the descriptor and the
/// mapping; the file itself stays when this goes.
///
/// Every byte is backed by the disk before it is mapped: a disk that is full is an error here and not a fault at some store
/// later. A file only grows.
class FileMapping {
public:
    /// Makes the file `name` in the open directory `directory`, `size` bytes of zeros, and maps it. It must not be there
    /// yet. `shownAs` is its name in messages. Throws as throwSystemError does.
    FileMapping(int directory, const std::string& name, std::string shownAs, std::uint64_t size, mode_t mode);
    ~FileMapping();
    FileMapping(const FileMapping&) = delete;
    FileMapping& operator=(const FileMapping&) = delete;

    /// The mapped bytes. The reference stays good over grow(), which may move what it shows.
    [[nodiscard]] const Mem::MutableView& view() const { return view_; }
    [[nodiscard]] std::uint64_t size() const { return view_.size(); }
    [[nodiscard]] const std::string& shownAs() const { return shownAs_; }

    /// Makes the file and the mapping `size` bytes long, the new ones zero. No-op when they are that long already. When it throws
    /// (as throwSystemError does), the mapping is as it was.
    void grow(std::uint64_t size);

    /// No file of a collection is larger: readers count sizes in 32 bits.
    static constexpr std::uint64_t kMostBytes = 0xffffffff;

private:
    void allocate(std::uint64_t from, std::uint64_t to) const;

    std::string shownAs_;
    int descriptor_ = -1;
    void* base_ = nullptr;
    Mem::MutableView view_;
};

} // namespace Halyx::Writer
