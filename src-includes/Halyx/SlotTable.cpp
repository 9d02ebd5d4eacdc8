#include "Halyx/SlotTable.h"

#include "Halyx/Compatibility.h"
#include "Norvu/Hash.h"
#include "Norvu/Text.h"

#include <cstring>
#include <sstream>

namespace Halyx {

namespace {

constexpr const char* kSource = "SlotTable";

std::uint32_t hashWord(std::uint32_t word) {
    char bytes[sizeof word];
    std::memcpy(bytes, &word, sizeof bytes);
    return Norvu::Util::hash(bytes, sizeof bytes);
}

} // namespace

std::uint32_t SlotTableHeader::computeHash() const {
    return Norvu::Util::hash(valueType, sizeof valueType) + Norvu::Util::hash(classType, sizeof classType) +
           hashWord(valueSize) + hashWord(slotSize) + hashWord(maxSlots) + hashWord(flags);
}

std::string_view SlotTableHeader::valueTypeText() const {
    return Norvu::boundedText(valueType, sizeof valueType);
}

std::string_view SlotTableHeader::classTypeText() const {
    return Norvu::boundedText(classType, sizeof classType);
}

bool SlotTableHeader::check(unsigned fileSize, SharedMem::FenixId expected, std::string& reason) const {
    std::ostringstream text;
    const std::uint32_t sum = computeHash();
    const std::uint32_t count = numSlots.value;
    // 32-bit arithmetic is this check's own rule; a count that wraps here meets the true size when it is mapped.
    const std::uint32_t needed = Layout::kSlotTableHeaderSize + Layout::kGenericSlotSize * count;

    if (magic != Layout::kSlotTableMagic) {
        text << "SlotTable::Header::validate() bad magic: " << std::hex << magic;
    } else if (version != Layout::kSlotTableVersion) {
        text << "SlotTable::Header::validate() bad version: " << version;
    } else if (expected.value != 0 && fenix != expected) {
        text << "SlotTable::validate() bad fenix:" << std::hex << fenix.value << " wanted:" << expected.value;
    } else if (platform != Layout::kSlotTablePlatform) {
        text << "SlotTable::Header::validate() bad platform specification: " << Compatibility::platformType(platform)
             << " expecting: " << Compatibility::platformType(Layout::kSlotTablePlatform);
    } else if (sum != hash) {
        text << "SlotTable::Header::validate() checksum fail: " << std::hex << sum << " != " << hash;
    } else if (occupiedSlots > count) {
        text << "SlotTable::Header::validate() bad occupiedSlots: " << occupiedSlots << " num slots: " << numSlots;
    } else if (freeSlots >= count && freeSlots != Layout::kNoFreeSlot) {
        text << "SlotTable::Header::validate() bad freeSlots: " << freeSlots << " slots: " << count;
    } else if (mostSlots < count) {
        text << "SlotTable::Header::validate() bad mostSlots:" << mostSlots << " numSlots:" << count;
    } else if (fileSize < Layout::kSlotTableHeaderSize) {
        text << "SlotTable::Header::validate() bad header file size: " << fileSize
             << " wanted:" << Layout::kSlotTableHeaderSize;
    } else if (fileSize < needed) {
        text << "SlotTable::Header::validate() bad shmem size:" << fileSize << " wanted:" << needed << " for " << count
             << " slots";
    } else {
        return true;
    }
    reason = text.str();
    return false;
}

bool SlotTableHeader::validate(Norvu::Platform::DebugHandler& handler, unsigned fileSize, SharedMem::FenixId expected,
                               std::string& reason) const {
    if (check(fileSize, expected, reason)) {
        return true;
    }
    if (handler.enabled(0)) {
        handler.log(reason, 0, kSource, __LINE__, "validate");
    }
    return false;
}

void SlotTableHeader::trace(Norvu::Platform::DebugHandler& handler) const {
    if (!handler.enabled(3)) {
        return;
    }
    Norvu::Platform::DebugStream record;
    record << "SlotTable::Header() "
           << " magic:" << std::hex << magic << std::dec << " version:" << version << " fenix:" << std::hex
           << fenix.value << std::dec << " valueSize:" << valueSize << " valueType:" << valueTypeText()
           << " classType:" << classTypeText() << " maxSlots:" << maxSlots << " hash:" << std::hex << hash << std::dec
           << " slotSize: " << slotSize << " occupiedSlots:" << occupiedSlots << " freeSlots: " << freeSlots
           << " mostSlots:" << mostSlots << " numSlots:" << numSlots;
    handler.log(record, 3, kSource, __LINE__, "trace");
}

} // namespace Halyx
