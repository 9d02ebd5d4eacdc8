#pragma once

#include <halyx/Errors.h>
#include <halyx/Options.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

namespace halyx {

/// What a collection's writer has done so far, and what the collection has now.
struct Stats {
    std::uint64_t inserted = 0;
    std::uint64_t replaced = 0;
    std::uint64_t erased = 0;
    std::uint32_t elements = 0;
    std::uint32_t slots = 0;
    std::uint32_t buckets = 0;
    std::uint32_t slotGrowths = 0;
    std::uint32_t bucketGrowths = 0;
    std::uint32_t slabGrowths = 0;
    std::uint32_t queueGrowths = 0;
    std::uint32_t queueSwitches = 0;
};

enum class PutResult { Inserted, Replaced };

/// The bytes of a plain value, padding included (which is printed by nothing, but compared by who compares bytes).
template <typename T>
std::string_view bytesOf(const T& value) {
    static_assert(std::is_trivially_copyable_v<T> && std::is_standard_layout_v<T>,
                  "only plain values have bytes to share");
    static_assert(!std::is_pointer_v<T> && !std::is_convertible_v<const T&, std::string_view>,
                  "that would be the bytes of a pointer");
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

/// A collection in the hands of its one writer: its files, mapped, and the lock that keeps other writers off.
///
/// Names. A collection's name is its path below the collections' root, /var/shmem/halyxes (below the directory in Q7_CHROOT when
/// that is set), or that full path. Missing directories above it are made, and stay when what follows fails.
///
/// Life. create() makes the files beside the root, where no reader looks; publish() puts them in place by one rename, and an
/// older incarnation goes; close() or the destructor ends the writing. What was never published is removed, what was published
/// stays, for readers and for open().
///
/// Readers take no lock and are never waited for. They see an element whole or not at all, whatever the writer does meanwhile.
///
/// Threads. One thread uses a writer at a time; different writers may be used by different threads. Not in a forked child: the
/// lock is shared with it, and both would write.
///
/// A crash, at any moment. Every store is made in an order that leaves the files readable: what was there stays, the operation
/// under way is done or not. The kernel gives the lock back, open() goes on with all elements and create() replaces them; what
/// was not published yet is removed by the next writer. Nothing is written to disk on purpose: it is shared memory, and
/// a crash of the machine loses it where its directory is one in memory.
class HALYX_API Writer {
public:
    /// A new, empty incarnation of the collection; an older one stays in place until publish(). Throws RefusedError (options,
    /// name, a live writer), FullError, SystemError.
    static Writer create(const std::string& name, const Options& options);

    /// Goes on with a collection that another writer has left, closed or killed: a new incarnation with all its elements, in
    /// place when this returns. options.keyOf is required; sizes, flags and limits are the collection's and not those in
    /// `options`, a valueType given there must be the collection's. Throws as create() does, RefusedError also when there is no
    /// such collection, and DamagedError.
    static Writer open(const std::string& name, const Options& options);

    /// The type of the values of a collection; empty when there is no such collection. Throws RefusedError (name), DamagedError,
    /// FullError, SystemError.
    static std::string valueTypeOf(const std::string& name);

    /// Every call of a writer that was moved from throws RefusedError.
    Writer(Writer&& other) noexcept;
    Writer& operator=(Writer&& other) noexcept;
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
    ~Writer();

    /// Puts what create() made in place of the older incarnation, whose files are removed. Once; what open() gave is in place.
    /// Throws SystemError.
    void publish();

    /// Inserts an element, or replaces the value of the one with that key. A static collection's values all have valueSize
    /// bytes, a dynamic one's at most that. With options().keyOf, `key` must be what it finds in `value`; this is not checked, and
    /// an element stored under another key is never found again. Neither may be what find() or forEach() gave: a growth moves
    /// that, so copy it first. Throws RefusedError (size), FullError, DamagedError, SystemError.
    PutResult put(std::string_view key, std::string_view value);
    /// The same with the key that options().keyOf finds; RefusedError without one.
    PutResult put(std::string_view value);
    /// Inserts only: false, and nothing has changed, when there is an element with that key. Throws as put() does.
    bool insert(std::string_view key, std::string_view value);
    /// Replaces only: false, and nothing has changed, when there is none. Throws as put() does.
    bool update(std::string_view key, std::string_view value);
    /// Whether there was one. Throws DamagedError.
    bool erase(std::string_view key);

    /// The value, good until the next change. Throws DamagedError.
    [[nodiscard]] std::optional<std::string_view> find(std::string_view key) const;
    /// Every element's value, each once, in no order. `visit` may not change the collection. Throws DamagedError, and what `visit`
    /// throws.
    void forEach(const std::function<void(std::string_view value)>& visit) const;

    /// Ends the writing; the files stay if they were published. Every later call but name() and options() throws RefusedError, a
    /// second close() too.
    void close();

    [[nodiscard]] Stats stats() const;
    [[nodiscard]] const std::string& name() const; ///< relative to the root, without "/" at its ends
    [[nodiscard]] const Options& options() const;  ///< with what 0 and empty stood for

private:
    class Implementation;
    HALYX_HIDDEN explicit Writer(std::unique_ptr<Implementation> implementation);
    [[nodiscard]] HALYX_HIDDEN Implementation& implementation() const;

    std::unique_ptr<Implementation> implementation_;
};

} // namespace halyx
