#include "Halyx/ConquerTable.h"

#include <sstream>

namespace Halyx {

namespace {

constexpr const char* kSource = "src-includes/Halyx/ConquerTable";

} // namespace

bool Conquer::Header::check(unsigned fileSize, unsigned wantedFenix, std::string& errorText) const {
    std::ostringstream text;
    const std::uint32_t count = notifications.value;
    // 32-bit arithmetic is this check's own rule; a count that wraps here meets the true size when it is mapped.
    const std::uint32_t needed = Layout::kConquerHeaderSize + Layout::kConquerRecordSize * count;

    // The size comes first here: nothing of a short file is looked at.
    if (fileSize < Layout::kConquerHeaderSize) {
        text << "ConquerTable::validate() bad header file size: " << fileSize
             << " wanted:" << Layout::kConquerHeaderSize;
    } else if (magic != Layout::kConquerMagic) {
        text << "ConquerTable::validate() bad magic: " << std::hex << magic;
    } else if (version != Layout::kConquerVersion) {
        text << "ConquerTable::validate() bad version: " << version << " conquer version: " << Layout::kConquerVersion;
    } else if (wantedFenix != 0 && fenix.value != wantedFenix) {
        text << "ConquerTable::validate() bad fenix:" << std::hex << fenix.value << " wanted:" << wantedFenix;
    } else if (fileSize < needed) {
        text << "ConquerTable::validate() bad shmem size:" << fileSize << " wanted:" << needed << " for " << count
             << " notifications";
    } else if (tableId.value >= 2) {
        text << "ConquerTable::validate() bad tableId:" << tableId.value;
    } else {
        return true;
    }
    errorText = text.str();
    return false;
}

bool Conquer::Header::validate(Norvu::Platform::DebugHandler& handler, unsigned fileSize, unsigned wantedFenix,
                               std::string& errorText) const {
    if (check(fileSize, wantedFenix, errorText)) {
        return true;
    }
    if (handler.enabled(0)) {
        Norvu::Platform::DebugStream record;
        record << errorText;
        handler.log(record, 0, kSource, __LINE__, "validate");
    }
    return false;
}

Conquer::Conquer(Norvu::Platform::DebugHandler& handler, const Mem::RootPath& root, bool localMem)
    : Debuggable(handler), mappings_{{handler, root, Layout::kConquerFiles[0], localMem},
                                     {handler, root, Layout::kConquerFiles[1], localMem}} {}

Conquer::~Conquer() {
    for (Mem::SharedMemWrapper& mapping : mappings_) {
        mapping.release();
    }
}

} // namespace Halyx
