#include "Halyx/BucketReaderTable.h"

#include "Mem/Snapshot.h"
#include "Norvu/Exception.h"

#include <sstream>

namespace Halyx {

namespace {

constexpr const char* kSource = "BucketTable";
constexpr std::size_t kPairOffset = offsetof(Layout::BucketTableHeader, numBuckets);

std::uint64_t neededSize(std::uint32_t count) {
    return Layout::kBucketTableHeaderSize + std::uint64_t{Layout::kBucketEntrySize} * count;
}

} // namespace

BucketReaderTable::BucketReaderTable(Norvu::Platform::DebugHandler& handler, const RootPath& root,
                                     Reader::Counters& counters)
    : Debuggable(handler),
      mapping_(handler, root.text().c_str(), Layout::kBucketsFile, false, Mem::Shared::SHARED_DEFAULT_FLAGS, false),
      counters_(&counters) {
    mapping_.useDirectory(root.directory());
}

bool BucketReaderTable::attach() {
    seen_ = {};
    entries_ = {};
    mapped_ = false;
    // Held before it is measured, so that size and bytes are of one file.
    return mapping_.hold() && mapping_.memSize() != 0 &&
           mapping_.attach(Layout::kBucketTableHeaderSize, Mem::Mode::ReadOnlyShared, true, "") != nullptr;
}

bool BucketReaderTable::check(const Layout::BucketTableHeader& header, unsigned size, unsigned fenix,
                              std::string& error) const {
    std::ostringstream text;
    const std::uint64_t needed = neededSize(header.numBuckets.value);
    if (size < Layout::kBucketTableHeaderSize) {
        text << "BucketTable::Header::validate() bad header file size: " << size
             << " wanted:" << Layout::kBucketTableHeaderSize;
    } else if (header.magic != Layout::kBucketTableMagic) {
        text << "BucketTable::Header::validate() bad magic: " << std::hex << header.magic;
    } else if (header.version != Layout::kBucketTableVersion) {
        text << "BucketTable::Header::validate() bad version: " << header.version;
    } else if (fenix != 0 && header.fenix.value != fenix) {
        text << "BucketTable::Header::validate() bad fenix:" << std::hex << header.fenix.value << " wanted:" << fenix;
    } else if (size < needed) {
        text << "BucketTable::Header::validate() bad shmem size:" << size << " wanted:" << needed << " for "
             << header.numBuckets.value << " buckets";
    } else {
        return true;
    }
    error = text.str();
    return false;
}

BucketTable::Header BucketReaderTable::snapshotHeader() const {
    const auto header = Mem::snapshot<BucketTable::Header>(mapping_.view(), kPairOffset);
    mapping_.checkFault();
    return header;
}

bool BucketReaderTable::validate(unsigned fenix, std::string& error) {
    const unsigned size = mapping_.memSize();
    const BucketTable::Header header = snapshotHeader();
    std::string reason;
    if (check(header, size, fenix, reason)) {
        return true;
    }
    // The file may have grown between the look at its size and the copy of its header.
    const unsigned now = mapping_.memSize();
    if (now > size && check(header, now, fenix, reason)) {
        return true;
    }
    error.swap(reason);
    if (debugHandler().enabled(0)) {
        debugHandler().log(error, 0, kSource, __LINE__, "validate");
    }
    return false;
}

bool BucketReaderTable::countChanged() const {
    if (!mapping_.attached()) {
        return false;
    }
    const std::uint32_t count = mapping_.view().pair(kPairOffset).value;
    mapping_.checkFault();
    return count != seen_.value;
}

bool BucketReaderTable::doResize() {
    const Mem::VerU32 pair = mapping_.view().pair(kPairOffset);
    mapping_.checkFault();
    if (mapped_ && pair.version == seen_.version) {
        return false;
    }
    const std::uint64_t needed = neededSize(pair.value);
    const unsigned size = mapping_.memSize();
    if (size < needed) {
        std::ostringstream text;
        text << "BucketReader::doResize() requesting to map " << mapping_.getFilename() << " " << pair.value
             << " buckets. Requested file resize to " << needed << " but real file size is " << size;
        Norvu::CorruptionDetectedException::throwException(text.str());
    }
    if (mapping_.resize(static_cast<unsigned>(needed)) == nullptr) {
        std::ostringstream text;
        text << "BucketReader::doResize() failed to resize " << mapping_.getFilename() << " from " << seen_ << " to "
             << pair << " buckets, needed " << needed << " bytes. Reason: " << mapping_.errorText();
        Norvu::MemoryResourceException::throwException(text.str());
    }
    ++counters_->bucketResizes;
    seen_ = pair;
    entries_ = Mem::Row<Layout::kBucketEntrySize>(
        mapping_.view().slice(Layout::kBucketTableHeaderSize, std::size_t{Layout::kBucketEntrySize} * pair.value),
        Layout::kBucketEntrySize);
    mapped_ = true;
    return true;
}

void BucketReaderTable::outOfRange(unsigned index) const {
    std::ostringstream text;
    text << "BucketReader::operator[] out-of-range, index:" << index << " max:" << seen_.value - 1;
    Norvu::CorruptionDetectedException::throwException(text.str());
}

} // namespace Halyx
