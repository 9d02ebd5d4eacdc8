#include "fuzz/queues/QueueText.h"

#include "Halyx/ConquerTableLayout.h"
#include "fixtures/CollectionBuilder.h"

#include <array>

namespace Fuzz {

using namespace Halyx::Layout;

namespace {

/// Left-aligned in ten columns.
std::string column(std::string text) {
    text.resize(std::max<std::size_t>(text.size(), 10), ' ');
    return text;
}

std::string textOf(const std::string& bytes, unsigned id, unsigned active, bool validOnly) {
    const auto header = Fixtures::fromBytes<ConquerHeader>(bytes);
    std::string text = id == 0 ? "Primary conquer queue " : "Secondary conquer queue ";
    text += id == active ? "(active)\n" : "(backup)\n";
    text += "\tnotifications:" + Fixtures::hexNumber(header.notifications.version) + ":" +
            std::to_string(header.notifications.value) + "\n\tcurrentPos:" + std::to_string(header.currentPos) +
            "\n\tcorralStart:" + std::to_string(header.corralStart) +
            "\n\tcorralEnd:" + std::to_string(header.corralEnd) + "\n\n";
    for (std::uint32_t i = 0; i < header.notifications.value; ++i) {
        const auto record =
            Fixtures::fromBytes<ConquerRecord>(bytes, kConquerRecordsOffset + std::size_t{i} * kConquerRecordSize);
        const bool none = record.slot == kConquerNoSlot;
        if (validOnly && i >= header.currentPos) {
            break;
        }
        if (!validOnly || !none) {
            text += "pos: " + column(std::to_string(i)) +
                    "  |  slot: " + column(none ? "[ NONE ]" : std::to_string(record.slot)) +
                    "  |  sequence: " + std::to_string(record.sequence()) + "\n";
        }
    }
    return text;
}

} // namespace

QueueText expectedQueues(const std::string& primary, const std::string& secondary, bool validOnly,
                         const std::string& path, const std::string& name) {
    QueueText expected;
    const std::array<const std::string*, 2> files{&primary, &secondary};
    std::string fault;
    for (const std::string* file : files) {
        if (fault.empty() && !primary.empty() && !secondary.empty()) {
            fault = Fixtures::conquerFault(*file);
        }
    }
    if (primary.empty() || secondary.empty() || !fault.empty()) {
        expected.err = fault.empty() ? "" : "Halyx " + path + " validation failed: " + fault + "\n";
        expected.err += "Error attaching Conquer reader for " + name + "\n";
        expected.status = 1;
        return expected;
    }
    // The header's own rule wraps; what is mapped then does not.
    for (const std::string* file : files) {
        const std::uint64_t count = Fixtures::fromBytes<ConquerHeader>(*file).notifications.value;
        expected.throws = expected.throws || file->size() < kConquerHeaderSize + kConquerRecordSize * count;
    }
    if (expected.throws) {
        return expected;
    }
    const std::uint32_t active = Fixtures::fromBytes<ConquerHeader>(primary).tableId.value;
    for (unsigned id = 0; id < files.size(); ++id) {
        if (!validOnly || id == active) {
            expected.out += textOf(*files[id], id, active, validOnly);
        }
    }
    expected.out += "Conquer scanned in 0 seconds\nRestarted 0 times\n";
    return expected;
}

} // namespace Fuzz
