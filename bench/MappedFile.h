#pragma once

#include "Process.h"

#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Bench {

/// A file, mapped whole; unmapped at the end of its life.
class MappedFile {
public:
    /// A new file of `size` zeros, to write to. There is room for all of it: a mapping of more than that would end the program.
    MappedFile(const std::string& path, std::size_t size) : size_(size) {
        const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0640);
        errno = file < 0 ? errno : ::posix_fallocate(file, 0, static_cast<off_t>(size));
        if (errno != 0) {
            failSystem(path);
        }
        map(path, file, PROT_READ | PROT_WRITE);
    }
    /// A file that is there, to read.
    explicit MappedFile(const std::string& path) {
        const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat status {};
        if (file < 0 || ::fstat(file, &status) != 0) {
            failSystem(path);
        }
        size_ = static_cast<std::size_t>(status.st_size);
        map(path, file, PROT_READ);
    }
    ~MappedFile() { ::munmap(base_, size_); }
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] unsigned char* at(std::size_t offset) const { return base_ + offset; }
    template <typename T>
    [[nodiscard]] T* as(std::size_t offset) const {
        return static_cast<T*>(static_cast<void*>(base_ + offset));
    }

private:
    void map(const std::string& path, int file, int protection) {
        void* const base = ::mmap(nullptr, size_, protection, MAP_SHARED, file, 0);
        if (base == MAP_FAILED) {
            failSystem(path);
        }
        ::close(file);
        base_ = static_cast<unsigned char*>(base);
    }

    unsigned char* base_ = nullptr;
    std::size_t size_ = 0;
};

} // namespace Bench
