#pragma once

#include "Mem/Atomics.h"
#include "Mem/VerU32.h"
#include "Mem/Words.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace Mem {

/// A bounded piece of a mapping that another process may be writing. Every access is checked against the piece's length, in
/// every build, and throws Norvu::CorruptionDetectedException past it. Borrows the memory and the name (for messages);
/// both must outlive it, and a remap of the mapping makes it stale.
///
/// Loads are single untorn accesses. `word` and `word64` are acquire; `copy` is relaxed, and whoever copies decides with an
/// acquire fence and a second look at a version, tag or state word whether what was copied may be believed.
class View {
public:
    View() = default;
    View(const void* base, std::size_t size, const std::string& name)
        : base_(static_cast<const unsigned char*>(base)), size_(size), name_(&name) {}

    [[nodiscard]] bool empty() const { return base_ == nullptr; }
    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] const void* address() const { return base_; }

    /// The 32-bit word at `offset`, acquire.
    [[nodiscard]] std::uint32_t word(std::size_t offset) const {
        return Words::load32(check(offset, sizeof(std::uint32_t)));
    }

    /// The 64-bit word at `offset`, acquire. Off an 8-byte boundary no load is sure to be untorn there: it is read until
    /// two reads agree.
    [[nodiscard]] std::uint64_t word64(std::size_t offset) const {
        return Words::load64(check(offset, sizeof(std::uint64_t)));
    }

    [[nodiscard]] VerU32 pair(std::size_t offset) const { return VerU32::fromWord(word64(offset)); }

    /// Copies `size` bytes out, word by word, relaxed.
    void copy(std::size_t offset, void* to, std::size_t size) const { Words::copy(check(offset, size), to, size); }

    /// Copies `Size` bytes out from a place on 4 bytes, in words of 4, relaxed: for many small records in a row.
    template <std::size_t Size>
    void copyWords4(std::size_t offset, void* to) const {
        static_assert(Size % 4 == 0);
        const unsigned char* at = check(offset, Size);
        if (!Words::aligned<4>(at)) [[unlikely]] {
            copy(offset, to, Size);
            return;
        }
        std::uint32_t words[Size / 4];
        for (std::size_t i = 0; i < Size / 4; ++i) {
            words[i] = Words::aligned32<__ATOMIC_RELAXED>(at + 4 * i);
        }
        std::memcpy(to, words, Size);
    }

    /// A 32-bit word that is looked at again and again: checked to lie in the piece, and on 4 bytes, once. Stale when its view
    /// is.
    class Word {
    public:
        /// The word, acquire.
        [[nodiscard]] std::uint32_t load() const { return __atomic_load_n(at_, __ATOMIC_ACQUIRE); }

    private:
        friend class View;
        explicit Word(const std::uint32_t* at) : at_(at) {}
        const std::uint32_t* at_;
    };
    [[nodiscard]] Word watch(std::size_t offset) const {
        const unsigned char* at = check(offset, sizeof(std::uint32_t));
        if (!Words::aligned<4>(at)) [[unlikely]] {
            outside(offset, sizeof(std::uint32_t));
        }
        return Word(reinterpret_cast<const std::uint32_t*>(at));
    }

    [[nodiscard]] View slice(std::size_t offset, std::size_t size) const { return {check(offset, size), size, *name_}; }

    /// Asks for the cache line at `offset`; nothing happens past the end.
    void prefetch(std::size_t offset) const {
        if (offset < size_) {
            __builtin_prefetch(base_ + offset);
        }
    }

private:
    const unsigned char* check(std::size_t offset, std::size_t size) const {
        if (offset > size_ || size > size_ - offset) [[unlikely]] {
            outside(offset, size);
        }
        return base_ + offset;
    }
    [[noreturn]] void outside(std::size_t offset, std::size_t size) const;

    const unsigned char* base_ = nullptr;
    std::size_t size_ = 0;
    const std::string* name_ = nullptr;
};

/// The writer's side of a View: the same bounds, and stores. Relaxed unless said otherwise.
class MutableView : public View {
public:
    MutableView() = default;
    MutableView(void* base, std::size_t size, const std::string& name)
        : View(base, size, name), base_(static_cast<unsigned char*>(base)) {}

    void store(std::size_t offset, std::uint32_t value) const {
        storeWord<std::uint32_t, __ATOMIC_RELAXED>(offset, value);
    }
    void publish(std::size_t offset, std::uint32_t value) const {
        storeWord<std::uint32_t, __ATOMIC_RELEASE>(offset, value);
    }

    /// One untorn 64-bit store, release; `offset` must lie on 8 bytes.
    void publish64(std::size_t offset, std::uint64_t value) const {
        Atomics::store64(reinterpret_cast<volatile unsigned long long*>(at(offset, sizeof value, sizeof value)), value);
    }

    /// Copies `size` bytes in, in words as wide as the place's alignment allows, relaxed.
    void fill(std::size_t offset, const void* from, std::size_t size) const {
        unsigned char* to = at(offset, size, 1);
        const auto* in = static_cast<const unsigned char*>(from);
        if (reinterpret_cast<std::uintptr_t>(to) % sizeof(std::uintptr_t) == 0) {
            fillWords<std::uintptr_t>(to, in, size);
        } else if (reinterpret_cast<std::uintptr_t>(to) % sizeof(std::uint32_t) == 0) {
            fillWords<std::uint32_t>(to, in, size);
        }
        for (; size != 0; --size) {
            __atomic_store_n(to++, *in++, __ATOMIC_RELAXED);
        }
    }

private:
    template <typename Word, int Order>
    void storeWord(std::size_t offset, Word value) const {
        __atomic_store_n(reinterpret_cast<Word*>(at(offset, sizeof(Word), sizeof(Word))), value, Order);
    }

    template <typename Word>
    static void fillWords(unsigned char*& to, const unsigned char*& in, std::size_t& size) {
        for (; size >= sizeof(Word); size -= sizeof(Word), to += sizeof(Word), in += sizeof(Word)) {
            Word value;
            std::memcpy(&value, in, sizeof(Word));
            __atomic_store_n(reinterpret_cast<Word*>(to), value, __ATOMIC_RELAXED);
        }
    }

    /// Where to store; a misplaced store is the caller's bug and throws Norvu::AssertException.
    unsigned char* at(std::size_t offset, std::size_t size, std::size_t boundary) const {
        if (offset > this->size() || size > this->size() - offset ||
            reinterpret_cast<std::uintptr_t>(base_ + offset) % boundary != 0) [[unlikely]] {
            misplaced(offset, size);
        }
        return base_ + offset;
    }
    [[noreturn]] void misplaced(std::size_t offset, std::size_t size) const;

    unsigned char* base_ = nullptr;
};

} // namespace Mem
