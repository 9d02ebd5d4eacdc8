#pragma once

#include <cstddef>

namespace Mem {

/// A block of memory that resize() moves, as realloc does.
class Blob {
public:
    [[nodiscard]] void* data() const { return data_; }
    [[nodiscard]] std::size_t size() const { return size_; }

protected:
    void set(void* data, std::size_t size) {
        data_ = data;
        size_ = size;
    }

private:
    void* data_ = nullptr;
    std::size_t size_ = 0;
};

/// A growable scratch buffer, owned by value. Its bytes are not initialised.
class AutoBlob : public Blob {
public:
    AutoBlob() = default;
    ~AutoBlob();
    AutoBlob(const AutoBlob&) = delete;
    AutoBlob& operator=(const AutoBlob&) = delete;

    /// Makes the buffer `size` bytes long; what it held up to the smaller size stays. Memory that cannot be had ends the
    /// process with a failed assertion: no report can go on without its buffer.
    Blob resize(std::size_t size);
};

} // namespace Mem
