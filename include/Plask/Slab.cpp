#include "Plask/Slab.h"

#include "Norvu/Hash.h"

#include <cstring>
#include <sstream>

namespace Plask {

namespace {

constexpr const char* kSource = "/usr/include/Plask/Slab";

} // namespace

bool Slab::SlabHeader::check(unsigned fileSize, SharedMem::FenixId expected, std::string& reason) const {
    std::ostringstream text;
    char sizeBytes[sizeof entrySize];
    std::memcpy(sizeBytes, &entrySize, sizeof sizeBytes);
    const std::uint32_t sum = Norvu::Util::hash(sizeBytes, sizeof sizeBytes);
    const std::uint64_t needed = neededSlabSize(entrySize, numEntries.value);

    // The size comes first here: nothing of a short file is looked at.
    if (fileSize < Layout::kSlabHeaderSize) {
        text << "SlabHeader::validate() bad header file size: " << fileSize << " wanted: " << Layout::kSlabHeaderSize;
    } else if (magic != Layout::kSlabMagic) {
        text << "SlabHeader::validate() bad magic: " << std::hex << magic << " wanted: " << Layout::kSlabMagic;
    } else if (version != Layout::kSlabVersion) {
        text << "SlabHeader::validate() bad version: " << version << " wanted: " << Layout::kSlabVersion;
    } else if (expected.value != 0 && fenix != expected) {
        text << "SlabHeader::validate() bad fenix:" << std::hex << fenix.value << " wanted:" << expected.value;
    } else if (sum != checksum) {
        text << "SlabHeader::validate() checksum fail: " << std::hex << sum << " != " << checksum;
    } else if (numOccupied > numEntries.value) {
        text << "SlabHeader::validate() bad numOccupied: " << numOccupied << " but numEntries: " << numEntries.value;
    } else if (freeList >= numEntries.value && freeList != Layout::kNoFreeEntry) {
        text << "SlabHeader::validate() bad freeList: " << freeList << " maxIndex: " << numEntries.value - 1;
    } else if (fileSize < needed) {
        text << "SlabHeader::validate() bad shmem size: " << fileSize << " wanted: " << needed << " for "
             << numEntries.value << " entries";
    } else {
        return true;
    }
    reason = text.str();
    return false;
}

bool Slab::SlabHeader::validate(Norvu::Platform::DebugHandler& handler, unsigned fileSize, SharedMem::FenixId expected,
                                std::string& reason) const {
    if (check(fileSize, expected, reason)) {
        return true;
    }
    if (handler.enabled(0)) {
        handler.log(reason, 0, kSource, __LINE__, "validate");
    }
    return false;
}

void Slab::SlabHeader::trace(Norvu::Platform::DebugHandler& handler) const {
    if (!handler.enabled(3)) {
        return;
    }
    Norvu::Platform::DebugStream record;
    record << "SlabHeader() "
           << " magic:" << std::hex << magic << std::dec << " version:" << version << " fenix:" << std::hex
           << fenix.value << std::dec << " numEntries:" << numEntries << " entrySize:" << entrySize
           << " freeList:" << freeList;
    handler.log(record, 3, kSource, __LINE__, "trace");
}

void Slab::traceDetach() const {
    if (debugHandler().enabled(5)) {
        debugHandler().log("Slab::detach()", 5, kSource, __LINE__, "detach");
    }
}

std::ostream& Layout::operator<<(std::ostream& out, const SlabOffset& offset) {
    return out << "Offset{ slab: " << offset.slab() << " index: " << offset.index() << " }";
}

} // namespace Plask
