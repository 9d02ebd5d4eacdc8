#include "HalyxHeaderScanner.h"

#include "Halyx/ConquerReaderGeneric.h"
#include "Halyx/HalyxTest.h"
#include "Norvu/Text.h"
#include "SteadyDirectory.h"

#include <iostream>

namespace Halyx {

namespace {

struct Headers {
    std::string buckets;
    std::string slots;
    std::string conquer;
    const char* unattached = nullptr; ///< the reader that could not be attached
};

Headers gather(Norvu::Platform::DebugHandler& handler, const char* tablePath, const RootPath& root) {
    Headers found;
    HalyxReaderGeneric reader(tablePath, root);
    if (!reader.attach()) {
        found.unattached = "Halyx";
        return found;
    }
    ConquerReaderGeneric conquer(handler, root);
    // Queue headers are printed as found, so that a damaged one can be looked at.
    if (HalyxTest::halyxHasConquer(reader) && !conquer.attach()) {
        found.unattached = "Conquer";
        return found;
    }
    HalyxTest::getHeaders(reader, conquer, found.buckets, found.slots, found.conquer, root, handler);
    return found;
}

} // namespace

int HalyxHeaderScanner::doGetHeaders() {
    const Headers found = onSteadyDirectory(debugHandler(), tablePath(), [this](const RootPath& root) {
        return gather(debugHandler(), tablePath(), root);
    });
    if (found.unattached != nullptr) {
        std::cerr << "Error attaching " << found.unattached << " reader for " << Norvu::safeText(tablePath())
                  << std::endl;
        return 1;
    }
    printHeaders(RootPath(debugHandler(), tablePath(), false), found.buckets, found.slots, found.conquer);
    return 0;
}

void HalyxHeaderScanner::printHeaders(const RootPath& root, const std::string& buckets, const std::string& slots,
                                      const std::string& conquerText) {
    out() << "Halyx table \"" << Norvu::safeText(root.text()) << "\"\n\n"
          << "Buckets header:" << buckets << std::endl
          << "Slots header:" << slots << std::endl;
    if (!conquerText.empty()) {
        out() << "Conquer header:" << conquerText << std::endl;
    }
}

} // namespace Halyx
