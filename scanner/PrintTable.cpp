#include "PrintTable.h"

#include "Halyx/HalyxReaderGeneric.h"
#include "HalyxClientScanner.h"
#include "HalyxConquerScanner.h"
#include "HalyxHeaderScanner.h"
#include "Mem/Atomics.h"
#include "Mem/Directory.h"
#include "Norvu/Exception.h"
#include "Norvu/Text.h"
#include "SharedMem/Blob.h"

#include <iostream>

namespace Halyx {

namespace {

/// A writer that restarts may put a new incarnation in place between the look-up and the attach, but not for ever.
constexpr unsigned kMostTries = 100;

enum class Prepared { Ready, Invalid, Unattached };

bool initialize(HalyxScannerBase& scanner, const char* name) {
    if (scanner.initialize()) {
        return true;
    }
    std::cerr << "Failed to initialize " << name << "." << std::endl;
    return false;
}

/// Attaches both tables, checks their headers and maps what they hold.
Prepared prepare(HalyxReaderGeneric& reader, SlotTableHeader& header, std::string& error) {
    if (!reader.buckets().attach()) {
        return Prepared::Unattached;
    }
    const bool slotsAttached = reader.slots().attach();
    if (!slotsAttached && reader.slots().attachReason().empty()) {
        return Prepared::Unattached;
    }
    if (!reader.buckets().validate(0, error)) {
        return Prepared::Invalid;
    }
    if (!slotsAttached) {
        error = reader.slots().attachReason();
        return Prepared::Invalid;
    }
    if (!reader.slots().validate(SharedMem::FenixId(), header, error)) {
        return Prepared::Invalid;
    }
    reader.slots().allocator().validate(SharedMem::FenixId());
    reader.slots().doResize();
    if (reader.buckets().countChanged()) {
        reader.buckets().doResize();
    }
    return Prepared::Ready;
}

void walk(HalyxReaderGeneric& reader, const SlotTableHeader& header, std::ostream& out, HalyxTextify::Style style,
          bool emptyBuckets) {
    reader.slots().checkValueSize();
    Mem::AutoBlob buffer;
    // The size that the readers copy by, whatever the header says by now.
    const unsigned valueSize = reader.slots().valueSize();
    buffer.resize(valueSize);
    {
        HalyxScannerBase::MyScanner scanner(
            out, buffer.data(), style, Norvu::Platform::getValuePrinter(std::string(header.valueTypeText()), valueSize),
            emptyBuckets);
        reader.scan(scanner, 0, 0xffffffffU, Direction::Up, true);
    }
    out << "Lookaside hits: " << reader.counters().lookasideHits << std::endl
        << "Chain restarts: " << reader.chainRestarts() << std::endl;
}

int printElements(std::ostream& out, const char* tablePath, HalyxTextify::Style style, bool emptyBuckets) {
    for (unsigned tries = 1;; ++tries) {
        HalyxReaderGeneric reader(tablePath);
        if (!Mem::Atomics::checkCpuSupport()) {
            std::cerr << "Hardware does not support Atomics\n";
            break;
        }
        SlotTableHeader header;
        std::string error;
        const Prepared prepared = prepare(reader, header, error);
        // When a new incarnation took the place of this one meanwhile, files may have been gone before they were opened: the
        // new one's are meant. What is open by now stays whole.
        if (!reader.root().directory()->isAt(reader.root().text()) && tries < kMostTries) {
            continue;
        }
        if (prepared == Prepared::Ready) {
            walk(reader, header, out, style, emptyBuckets);
            return 0;
        }
        if (prepared == Prepared::Invalid) {
            std::cout << "Halyx " << Norvu::safeText(reader.root().text())
                      << " validation failed: " << Norvu::safeText(error) << std::endl;
        }
        break;
    }
    std::cerr << "Error attaching to Halyx " << Norvu::safeText(tablePath) << std::endl;
    return 1;
}

} // namespace

int printTable(std::string outputFile, const char* tablePath, bool who, bool headers, bool queues,
               HalyxTextify::Style style, bool emptyBuckets, bool validOnly) {
    if (who) {
        HalyxClientScanner scanner(outputFile, tablePath);
        return initialize(scanner, "HalyxClientScanner") ? scanner.doGetClientInfo() : 1;
    }
    if (headers) {
        HalyxHeaderScanner scanner(outputFile, tablePath);
        return initialize(scanner, "HalyxHeaderScanner") ? scanner.doGetHeaders() : 1;
    }
    HalyxConquerScanner scanner(outputFile, tablePath);
    if (!initialize(scanner, "HalyxConquerScanner")) {
        return 1;
    }
    if (queues) {
        return scanner.doScanConquer(validOnly) ? 1 : 0;
    }
    return printElements(scanner.out(), tablePath, style, emptyBuckets);
}

} // namespace Halyx
