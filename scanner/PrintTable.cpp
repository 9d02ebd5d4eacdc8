#include "PrintTable.h"

#include "Halyx/HalyxReaderGeneric.h"
#include "HalyxClientScanner.h"
#include "HalyxConquerScanner.h"
#include "HalyxHeaderScanner.h"
#include "Mem/Atomics.h"
#include "Norvu/Exception.h"
#include "Norvu/Text.h"
#include "SharedMem/Blob.h"
#include "SteadyDirectory.h"

#include <iostream>
#include <memory>

namespace Halyx {

namespace {

enum class Prepared { Ready, Invalid, Unattached };

/// A reader that was made ready for a walk, or why it was not.
struct Preparation {
    std::unique_ptr<HalyxReaderGeneric> reader;
    SlotTableHeader header{};
    std::string error;
    Prepared result = Prepared::Unattached;
};

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
        // Plain text is the bytes, whatever the type: nothing is looked up then.
        const auto printer = style == HalyxTextify::Style::Plain
                                 ? std::make_shared<Norvu::Platform::ValuePrinter>(valueSize)
                                 : Norvu::Platform::getValuePrinter(std::string(header.valueTypeText()), valueSize);
        HalyxScannerBase::MyScanner scanner(out, buffer.data(), style, printer, emptyBuckets);
        reader.scan(scanner, 0, 0xffffffffU, Direction::Up, true);
    }
    out << "Lookaside hits: " << reader.counters().lookasideHits << std::endl
        << "Chain restarts: " << reader.chainRestarts() << std::endl;
}

int printElements(HalyxConquerScanner& scanner, HalyxTextify::Style style, bool emptyBuckets) {
    const char* const tablePath = scanner.tablePath();
    const auto complain = [&] {
        std::cerr << "Error attaching to Halyx " << Norvu::safeText(tablePath) << std::endl;
        return 1;
    };
    if (!Mem::Atomics::checkCpuSupport()) {
        std::cerr << "Hardware does not support Atomics\n";
        return complain();
    }
    const Preparation made = onSteadyDirectory(scanner.debugHandler(), tablePath, [&](const RootPath& root) {
        Preparation now;
        now.reader = std::make_unique<HalyxReaderGeneric>(tablePath, root);
        now.result = prepare(*now.reader, now.header, now.error);
        return now;
    });
    if (made.result == Prepared::Ready) {
        walk(*made.reader, made.header, scanner.out(), style, emptyBuckets);
        return 0;
    }
    if (made.result == Prepared::Invalid) {
        std::cout << "Halyx " << Norvu::safeText(made.reader->root().text())
                  << " validation failed: " << Norvu::safeText(made.error) << std::endl;
    }
    return complain();
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
    return printElements(scanner, style, emptyBuckets);
}

} // namespace Halyx
