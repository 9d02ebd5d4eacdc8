#pragma once

#include "SharedMem/FenixId.h"

#include <string>
#include <sys/types.h>

namespace Halyx::Writer {

/// An open descriptor. Closed when it goes.
class Descriptor {
public:
    explicit Descriptor(int number = -1) : number_(number) {}
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept : number_(other.number_) { other.number_ = -1; }
    Descriptor& operator=(Descriptor&& other) noexcept;

    [[nodiscard]] int get() const { return number_; }
    [[nodiscard]] bool open() const { return number_ >= 0; }

private:
    int number_;
};

/// The directory in which a new incarnation of a collection is made, beside the collections' root where no reader looks for
/// collections, and from which it is put in place by one rename. Owns the directory until then, and the right to replace an
/// incarnation that is there already: it holds that one's lock, so two writers never replace each other.
class CollectionDirectory {
public:
    /// Makes what is missing on the way to the collection `name` (relative to the collections' root, or below it by its full
    /// path) and an empty directory for its files. Throws RefusedException when `name` cannot be a collection's name or the
    /// collection has a live writer, and as throwSystemError does.
    CollectionDirectory(const std::string& name, mode_t mode);
    /// Removes the directory with its files unless it was put in place.
    ~CollectionDirectory();
    CollectionDirectory(const CollectionDirectory&) = delete;
    CollectionDirectory& operator=(const CollectionDirectory&) = delete;

    /// The collection's name relative to the root, without leading and trailing "/".
    [[nodiscard]] const std::string& name() const { return name_; }
    /// Where the collection is or will be.
    [[nodiscard]] const std::string& path() const { return path_; }
    /// The directory of this incarnation, wherever it is at the moment.
    [[nodiscard]] int descriptor() const { return directory_.get(); }
    /// Whether there is an older incarnation, which this one will replace.
    [[nodiscard]] bool replaces() const { return replaced_.open(); }
    /// That one's identity as its "fenix" holds it; 0 when there is none.
    [[nodiscard]] SharedMem::FenixId replacedFenix() const;

    /// A file beside the root, to be filled before it appears in the collection under `name`.
    [[nodiscard]] int spareDirectory() const { return beside_.get(); }
    [[nodiscard]] std::string spareName(const std::string& name) const { return spare_ + "." + name; }
    /// Moves that file into the collection. Throws as throwSystemError does.
    void place(const std::string& spareName, const std::string& name) const;
    /// Removes it instead.
    void discard(const std::string& spareName) const;

    /// Puts this incarnation in place and removes the one that it replaces.
    void publish();

    /// The collection name that `text` means. Throws RefusedException when it can be none.
    static std::string collectionName(const std::string& text);

private:
    void lockReplaced();
    void sweep() const;

    std::string name_;
    std::string path_;
    std::string spare_; ///< the directory's own name while it is beside the root
    Descriptor beside_;
    Descriptor directory_;
    Descriptor replaced_;       ///< "fenix" of the older incarnation, locked
    bool emptyInPlace_ = false; ///< an empty directory stands in the collection's place
    bool published_ = false;
};

} // namespace Halyx::Writer
