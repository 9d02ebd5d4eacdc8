#include "writer/BucketFile.h"

#include "writer/CollectionDirectory.h"

#include "writer/Errors.h"

#include <limits>
#include <unistd.h>

namespace Halyx::Writer {

BucketFile::BucketFile(const CollectionDirectory& directory, const Options& options, SharedMem::FenixId fenix)
    : initial_(options.buckets),
      growBeyond_(options.growBuckets ? options.buckets : std::numeric_limits<std::uint64_t>::max()),
      file_(directory.descriptor(), Layout::kBucketsFile, directory.path() + "/" + Layout::kBucketsFile,
            Layout::kBucketTableHeaderSize, options.fileMode) {
    Layout::BucketTableHeader header{};
    header.magic = Layout::kBucketTableMagic;
    header.version = Layout::kBucketTableVersion;
    header.fenix = fenix;
    header.ownerPid = static_cast<std::uint32_t>(::getpid());
    file_.view().fill(0, &header, sizeof header);
    growTo(initial_);
}

void BucketFile::growFor(std::uint32_t elements) {
    if (elements <= growBeyond_) {
        return;
    }
    growBeyond_ = 2ULL * elements;
    constexpr std::uint64_t most =
        (FileMapping::kMostBytes - Layout::kBucketTableHeaderSize) / Layout::kBucketEntrySize;
    if (2ULL * count_.value > most) {
        return;
    }
    try {
        growTo(2 * count_.value);
        growBeyond_ = count_.value;
    } catch (const Norvu::MemoryResourceException&) {
        // Longer chains, nothing worse.
    }
}

void BucketFile::growTo(std::uint32_t count) {
    file_.grow(Layout::kBucketTableHeaderSize + std::uint64_t{Layout::kBucketEntrySize} * count);
    // Empty before the count that lets a reader look at them.
    for (std::uint32_t bucket = count_.value; bucket < count; ++bucket) {
        file_.view().publish64(offsetOf(bucket), SlotLink{0, kEndOfChain}.word());
    }
    count_ = {count_.version + 1, count};
    file_.view().publish64(offsetof(Layout::BucketTableHeader, numBuckets), count_.word());
}

} // namespace Halyx::Writer
