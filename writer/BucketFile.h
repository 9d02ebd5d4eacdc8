#pragma once

#include "Halyx/BucketTableLayout.h"
#include "SharedMem/FenixId.h"
#include "writer/FileMapping.h"
#include "writer/Links.h"
#include "writer/Options.h"

#include <cstdint>

namespace Halyx::Writer {

class CollectionDirectory;

/// The file "buckets" as its writer sees it. Owns the mapping.
///
/// The table doubles; no element moves when it does, since a moving element could be met twice or not at all by a walk. An
/// element is in the bucket that its key's hash gave with the number of buckets at its insertion, so a look-up tries the
/// present number, then half of it, down to the first.
class BucketFile {
public:
    /// `options` are complete. Throws as throwSystemError does.
    BucketFile(const CollectionDirectory& directory, const Options& options, SharedMem::FenixId fenix);

    /// The bucket of a new element.
    [[nodiscard]] std::uint32_t bucketOf(std::uint32_t hash) const { return hash % count_.value; }
    [[nodiscard]] LinkPlace head(std::uint32_t bucket) const { return {&file_.view(), offsetOf(bucket)}; }

    /// Calls `visit(bucket)` for every bucket that an element of that hash can be in, each once, the likeliest first, until it
    /// returns true. Whether it did.
    template <typename Visit>
    bool visitCandidates(std::uint32_t hash, Visit visit) const {
        std::uint32_t last = 0;
        for (std::uint32_t count = count_.value;; count /= 2) {
            const std::uint32_t bucket = hash % count;
            // Halving the count either keeps the bucket or leads to one that no larger count gives.
            if (count == count_.value || bucket != last) {
                if (visit(bucket)) {
                    return true;
                }
                last = bucket;
            }
            if (count == initial_) {
                return false;
            }
        }
    }

    /// Doubles the table when it has fewer buckets than `elements` and may grow. A disk that is full is not an error: the
    /// chains get longer, and the next try comes when there are twice as many elements.
    void growFor(std::uint32_t elements);

    [[nodiscard]] std::uint32_t count() const { return count_.value; }
    [[nodiscard]] std::uint32_t growths() const { return count_.version - 1; }

private:
    void growTo(std::uint32_t count);
    static std::size_t offsetOf(std::uint32_t bucket) {
        return Layout::kBucketTableHeaderSize + std::size_t{Layout::kBucketEntrySize} * bucket;
    }

    std::uint32_t initial_;
    std::uint64_t growBeyond_; ///< elements past which the table grows
    FileMapping file_;
    Mem::VerU32 count_{0, 0};
};

} // namespace Halyx::Writer
