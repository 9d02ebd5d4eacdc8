#pragma once

#include "Mem/View.h"
#include "Mem/Words.h"

#include <cstddef>
#include <cstdint>

namespace Mem {

/// The first `Head` bytes of a record in a mapping, which are known to be there. Loads are as a View's.
template <std::size_t Head>
class Record {
public:
    template <std::size_t Offset>
    [[nodiscard]] std::uint32_t word() const {
        static_assert(Offset + sizeof(std::uint32_t) <= Head);
        return Words::load32(at_ + Offset);
    }
    template <std::size_t Offset>
    [[nodiscard]] std::uint64_t word64() const {
        static_assert(Offset + sizeof(std::uint64_t) <= Head);
        return Words::load64(at_ + Offset);
    }
    /// A record of which less is known.
    template <std::size_t Less>
    [[nodiscard]] Record<Less> head() const {
        static_assert(Less <= Head);
        return Record<Less>(at_);
    }
    void prefetch() const { __builtin_prefetch(at_); }
    /// The same for the line that the byte at `offset` is in, when that is another.
    void prefetchAlso(std::size_t offset) const {
        constexpr std::uintptr_t line = 64;
        if (Words::offsetIn<line>(at_) + offset >= line) {
            __builtin_prefetch(at_ + offset);
        }
    }

private:
    template <std::size_t>
    friend class Row;
    template <std::size_t>
    friend class Record;
    explicit Record(const unsigned char* at) : at_(at) {}

    const unsigned char* at_;
};

/// Records of one size, one behind the other in a piece of a mapping that another process may be writing. That a record is
/// among them is checked in every build, and makes its first `Head` bytes readable without another check. Borrows what its
/// View borrows, and is stale when that is; small enough to be copied to where it is used much.
template <std::size_t Head>
class Row {
public:
    Row() = default;
    /// As many records of `stride` bytes, at least Head, as the piece has whole.
    Row(const View& piece, std::size_t stride)
        : base_(static_cast<const unsigned char*>(piece.address())), stride_(stride), piece_(piece),
          count_(stride >= Head ? piece.size() / stride : 0) {}

    [[nodiscard]] std::size_t count() const { return count_; }
    [[nodiscard]] bool has(std::size_t index) const { return index < count_; }

    /// Throws Norvu::CorruptionDetectedException when there is no such record.
    [[nodiscard]] Record<Head> operator[](std::size_t index) const {
        if (index >= count_) [[unlikely]] {
            (void)view(index);
        }
        return Record<Head>(base_ + stride_ * index);
    }
    /// The whole record; throws likewise.
    [[nodiscard]] View view(std::size_t index) const {
        // A product that cannot be a size names no record either.
        return piece_.slice(index < count_ ? stride_ * index : ~std::size_t{0}, stride_);
    }
    /// Copies `size` bytes at `offset` in a record out, relaxed; throws when it has fewer, or is none.
    void copy(std::size_t index, std::size_t offset, void* to, std::size_t size) const {
        if (index >= count_ || offset > stride_ || size > stride_ - offset) [[unlikely]] {
            view(index).copy(offset, to, size);
        }
        const unsigned char* const at = base_ + stride_ * index + offset;
        if (size == sizeof(std::uintptr_t) && Words::aligned<sizeof(std::uintptr_t)>(at)) {
            Words::copyWord(at, to);
            return;
        }
        Words::copy(at, to, size);
    }

private:
    const unsigned char* base_ = nullptr;
    std::size_t stride_ = 0;
    View piece_;
    std::size_t count_ = 0;
};

} // namespace Mem
