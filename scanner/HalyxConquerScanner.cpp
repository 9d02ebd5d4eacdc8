#include "HalyxConquerScanner.h"

#include "Halyx/ConquerReaderGeneric.h"
#include "Halyx/HalyxTest.h"
#include "Norvu/Text.h"
#include "SteadyDirectory.h"

#include <iostream>
#include <memory>

namespace Halyx {

namespace {

/// Queues that are ready to be scanned, or what to say of them.
struct Preparation {
    std::unique_ptr<ConquerReaderGeneric> reader;
    std::string complaints;
};

/// What there is to say of a collection whose queues cannot be read: nothing when it has none.
std::string explain(const char* tablePath, const RootPath& root) {
    HalyxReaderGeneric collection(tablePath, root);
    if (!collection.attach()) {
        return "Error attaching Halyx reader for " + Norvu::safeText(tablePath) + "\n";
    }
    if (HalyxTest::halyxHasConquer(collection)) {
        return "Error attaching Conquer reader for " + Norvu::safeText(tablePath) + "\n";
    }
    return {};
}

Preparation prepare(Norvu::Platform::DebugHandler& handler, const char* tablePath, const RootPath& root) {
    Preparation made;
    auto reader = std::make_unique<ConquerReaderGeneric>(handler, root);
    if (reader->attach()) {
        std::string error;
        if (reader->validate(handler, error)) {
            reader->sample();
            made.reader = std::move(reader);
            return made;
        }
        made.complaints =
            "Halyx " + Norvu::safeText(root.text()) + " validation failed: " + Norvu::safeText(error) + "\n";
    }
    made.complaints += explain(tablePath, root);
    return made;
}

} // namespace

bool HalyxConquerScanner::doScanConquer(bool validOnly) {
    const Preparation made = onSteadyDirectory(debugHandler(), tablePath(), [this](const RootPath& root) {
        return prepare(debugHandler(), tablePath(), root);
    });
    if (made.reader) {
        made.reader->scan(out(), validOnly);
        return false;
    }
    std::cerr << made.complaints << std::flush;
    return true;
}

} // namespace Halyx
