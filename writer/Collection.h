#pragma once

#include "writer/Options.h"

#include <halyx/Writer.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Halyx::Writer {

class CollectionDirectory;

using halyx::PutResult;
using halyx::Stats;

/// A collection in the hands of its one writer. Owns its files' mappings and the lock that keeps other writers off. One thread
/// uses it at a time; readers are in no one's way.
///
/// Life: made (its files are beside the collections' root, no reader finds them), published (in place), closed. An operation
/// that throws has changed nothing: a table or disk that is full (Norvu::MemoryResourceException) and a value of the wrong size
/// (RefusedException) are found before the first store, and the collection can be used on.
class Collection {
public:
    /// Makes a new, empty incarnation of the collection `name` (relative to the collections' root). An older one stays in
    /// place until publish(). Throws RefusedException when the options are wrong or the older one has a live writer, and as
    /// throwSystemError does.
    Collection(const std::string& name, Options options);

    /// Makes a new incarnation of an existing collection with all its elements, of which `options.keyOf` gives the keys, and
    /// puts it in place. What describes the collection (types, sizes, flags, limits) is taken from it and not from
    /// `options`; a valueType given there must be the collection's. Also after a writer that was killed. Throws RefusedException
    /// when there is none, and Norvu::CorruptionDetectedException, naming file, offset, value and expectation, when it is
    /// damaged; it stays then.
    static std::unique_ptr<Collection> restart(const std::string& name, Options options);

    /// The type of the values of the collection `name`; empty when there is no such collection. Throws RefusedException when that
    /// cannot be a name, Norvu::CorruptionDetectedException when the files are damaged, and as throwSystemError does.
    static std::string valueTypeOf(const std::string& name);

    /// Closes what close() has not; removes the files when it was never published.
    ~Collection();
    Collection(const Collection&) = delete;
    Collection& operator=(const Collection&) = delete;

    /// Puts the collection in place of its older incarnation, whose files are removed. Once.
    void publish();

    /// Inserts an element, or replaces the value of the one with that key. A static collection's values all have valueSize
    /// bytes, a dynamic one's at most that. With `keyOf`, `key` must be what it finds in `value`. Neither may lie in this
    /// collection's own files: a growth maps them elsewhere.
    PutResult put(std::string_view key, std::string_view value);
    /// For a new element only, or for a known one only: false, and nothing has changed, when it is not that.
    bool insert(std::string_view key, std::string_view value);
    bool update(std::string_view key, std::string_view value);
    /// Whether there was one.
    bool erase(std::string_view key);

    /// The value, good until the next change.
    [[nodiscard]] std::optional<std::string_view> find(std::string_view key) const;
    /// Every element's value, each once, in no order. `visit` changes nothing.
    void forEach(const std::function<void(std::string_view value)>& visit) const;

    /// Ends the writing: frees what rested, unmaps, gives up the lock. The files stay, for readers and for a restart. Whatever
    /// needs them afterwards throws RefusedException.
    void close();

    [[nodiscard]] Stats stats() const;
    [[nodiscard]] const std::string& name() const;
    [[nodiscard]] const Options& options() const { return options_; }

private:
    struct Files;
    struct Found;

    Collection(std::unique_ptr<CollectionDirectory> directory, Options options);

    [[nodiscard]] Files& files() const;
    [[nodiscard]] std::optional<Found> locate(std::string_view key) const;
    [[nodiscard]] std::string_view valueOf(std::uint32_t slot) const;
    void checkStep(std::uint32_t bucket, std::uint32_t slot, std::uint32_t steps) const;
    void checkSize(std::string_view value) const;
    std::optional<PutResult> store(std::string_view key, std::string_view value, std::optional<PutResult> wanted);
    void replaceSlot(std::uint32_t slot, std::string_view value);
    void insertSlot(std::string_view key, std::string_view value);

    Options options_;
    std::unique_ptr<CollectionDirectory> directory_;
    std::unique_ptr<Files> files_;
    Stats counts_;
};

} // namespace Halyx::Writer
