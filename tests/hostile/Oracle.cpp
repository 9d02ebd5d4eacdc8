#include "hostile/Oracle.h"

#include "Plask/SlabLayout.h"

#include <cctype>
#include <cstring>

using namespace Fixtures;

namespace Hostile {

namespace {

constexpr std::uint32_t kReasonableSize = 4096;

/// Names that a printer of their own may know: every other one has none, since no type is described here.
bool mayBeKnown(const std::string& type) {
    for (const char* const part : {"int", "char", "float", "double", "bool"}) {
        if (type.find(part) != std::string::npos) {
            return true;
        }
    }
    const std::size_t digit = type.find_first_of("0123456789");
    return digit != std::string::npos && digit > 0 && (type[digit - 1] == 'U' || type[digit - 1] == 'S');
}

} // namespace

CollectionView::CollectionView(const ScratchRoot& root, std::string collection, bool unprivileged)
    : name(std::move(collection)), path(safe(root.collections() + "/" + name)) {
    std::vector<std::string> names = {"buckets", "slots", "conquer.1", "conquer.2"};
    for (unsigned slab = 0; slab < Plask::Layout::kSlabCount; ++slab) {
        names.push_back("slab" + std::to_string(slab));
    }
    for (const std::string& each : names) {
        files.emplace(each, FileView(root.collections() + "/" + name + "/" + each, unprivileged));
    }
    buckets = file("buckets").at<Halyx::Layout::BucketTableHeader>(0);
    slots = file("slots").at<Halyx::Layout::SlotTableHeader>(0);
    bucketsFault = Fixtures::bucketsFault(file("buckets").bytes(), file("buckets").shownSize());
    slotsFault = Fixtures::slotsFault(file("slots").bytes(), file("slots").shownSize());
}

bool CollectionView::attaches() const {
    return file("buckets").attaches() && file("slots").attaches() && slotsFault.empty();
}

std::string CollectionView::valueType() const {
    return {slots.valueType, ::strnlen(slots.valueType, sizeof slots.valueType)};
}

bool CollectionView::sizesAreReasonable() const {
    using Halyx::Layout::kSlotValueOffset;
    const std::uint32_t slot = slots.slotSize;
    if (slot < kSlotValueOffset || slot > kReasonableSize || slot % 4 != 0 || slots.valueSize > kReasonableSize ||
        slots.valueSize > bytesHeld()) {
        return false;
    }
    return slot - kSlotValueOffset >= (dynamic() ? sizeof(Plask::Layout::SlabOffset) : slots.valueSize);
}

std::uint64_t CollectionView::bytesHeld() const {
    std::uint64_t held = 0;
    for (const auto& [each, view] : files) {
        held += each == "slots" || each.rfind("slab", 0) == 0 ? view.held() : 0;
    }
    return held;
}

bool valueText(const CollectionView& view, Report report, const std::string& bytes, std::string& text) {
    if (report == Report::Walk || report == Report::WalkEmpty) {
        text = hexOf(bytes);
        return true;
    }
    std::string whole = bytes;
    whole.resize(view.slots.valueSize, '\0');
    const std::string type = view.valueType();
    if (type == "U64" && whole.size() == sizeof(std::uint64_t)) {
        text = std::to_string(fromBytes<std::uint64_t>(whole));
        return true;
    }
    text = hexOf(whole);
    return !mayBeKnown(type);
}

Oracle::Oracle(const ScratchRoot& root, const Case& given) : lookup_(Lookup::of(root, given)) {
    if (!lookup_.collection.empty()) {
        view_ = std::make_unique<CollectionView>(root, lookup_.collection, given.unprivileged);
    }
}

Expectation Oracle::of(Report report) const {
    if (lookup_.open) {
        return Expectation::anything();
    }
    if (!view_) {
        return Expectation::failure("", lookup_.complaint);
    }
    Expectation expectation;
    switch (report) {
    case Report::Headers:
        expectation = expectHeaders(*view_);
        break;
    case Report::Queues:
    case Report::ValidQueues:
        expectation = expectQueues(*view_, report == Report::ValidQueues);
        break;
    case Report::Who:
        expectation = expectClients(*view_);
        break;
    default:
        expectation = expectWalk(*view_, report);
    }
    expectation.err = lookup_.complaint + expectation.err;
    return expectation;
}

} // namespace Hostile
