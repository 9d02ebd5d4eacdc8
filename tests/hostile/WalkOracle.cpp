// What the walk of a collection prints, bucket by bucket.

#include "hostile/Oracle.h"

#include "Plask/SlabLayout.h"
#include "hostile/Runner.h"

#include <unordered_set>

using namespace Fixtures;
using Plask::Layout::SlabHeader;
using Plask::Layout::SlabOffset;

namespace Hostile {

namespace {

/// Of one walk, about as many bytes are looked at and made before the rest is left open: a fraction of a second.
constexpr std::uint64_t kMostWork = std::uint64_t{256} << 20;
constexpr std::uint64_t kWorkPerBucket = 128;
constexpr std::uint64_t kWorkPerElement = 128;

/// Where a style shows short values as whole ones, a chain may print more than its values have, but no more than that.
constexpr std::uint64_t kMostPadding = std::uint64_t{24} << 20;

/// Why an element cannot be shown. An empty text stands for words that no rule gives.
struct Corrupted {
    std::string reason;
};

class Walk {
public:
    Walk(const CollectionView& view, Report report) : view_(view), report_(report) {}

    std::string lines() {
        std::string text;
        for (std::uint32_t bucket = 0; bucket < view_.buckets.numBuckets.value; ++bucket) {
            if (text.size() > Runner::kKept || work_ > kMostWork) {
                return text + Expectation::kLines;
            }
            text += line(bucket);
        }
        return text + "Lookaside hits: " + (uncertain_ ? std::string(1, Expectation::kNumber) : std::to_string(hits_)) +
               "\nChain restarts: 0\n";
    }

private:
    std::string line(std::uint32_t bucket) {
        const std::string begin = "bucket[" + hexNumber(bucket) + "]";
        const std::uint64_t hits = hits_;
        std::string elements;
        std::unordered_set<std::int32_t> met;
        bytes_ = 0;
        work_ += kWorkPerBucket;
        try {
            std::int32_t link = buckets_.at<std::int32_t>(32 + std::uint64_t{8} * bucket + 4);
            while (link >= 0) {
                if (static_cast<std::uint32_t>(link) >= slots()) {
                    throw Corrupted{"SlotReaderGenericTable::getSlot() out-of-range index: " + std::to_string(link) +
                                    " numSlots:" + std::to_string(slots())};
                }
                if (!met.insert(link).second) {
                    uncertain_ = uncertain_ || hits_ != hits; // how often it was gone through is left open
                    throw Corrupted{
                        "HalyxReaderGeneric::scan() chain does not end, link: " + std::to_string(met.size() + 1) +
                        " leads back into it, numSlots:" + std::to_string(slots())};
                }
                elements += element(static_cast<std::uint32_t>(link));
                if (bytes_ > held_ + (leastBytes() > 0 ? kMostPadding : 0)) {
                    throw Corrupted{};
                }
                link = slots_.at<std::int32_t>(slotAt(static_cast<std::uint32_t>(link)) + 4);
            }
            const std::uint32_t end = static_cast<std::uint32_t>(link) & 0x7fffffffU;
            if (link != Halyx::kEndOfChain && end >= view_.buckets.numBuckets.value) {
                throw Corrupted{"BucketReader::operator[] out-of-range, index:" + std::to_string(end) +
                                " max:" + std::to_string(view_.buckets.numBuckets.value - 1)};
            }
            if (bytes_ > held_) {
                uncertain_ = uncertain_ || hits_ != hits;
                return begin + Expectation::kAnything + "\n";
            }
            const bool shown = !elements.empty() || report_ == Report::WalkEmpty;
            return shown ? begin + elements + " " + hexNumber(end) + " --> none\n" : "";
        } catch (const Corrupted& corrupted) {
            if (bytes_ > held_) {
                // Entries that several slots share can make more of a line than the files hold: refused in words of its own, and
                // where in the chain is left open.
                uncertain_ = uncertain_ || hits_ != hits;
                return begin + Expectation::kCorrupted + "\n";
            }
            return begin + elements + (elements.empty() ? "" : " -->") + " [corrupted] " +
                   (corrupted.reason.empty() ? std::string(1, Expectation::kAnything) : corrupted.reason) + "\n";
        }
    }

    std::string element(std::uint32_t slot) {
        const bool lookaside = (slots_.at<std::uint32_t>(slotAt(slot) + 8) & Halyx::Layout::kSlotStateLookaside) != 0;
        hits_ += lookaside ? 1U : 0U;
        const std::uint64_t place = lookaside ? Halyx::Layout::kSlotTableFixedSize : slotAt(slot);
        const std::uint64_t at = place + Halyx::Layout::kSlotValueOffset;
        std::string bytes;
        if (view_.dynamic()) {
            bytes = entry(SlabOffset(slots_.at<std::uint32_t>(at)));
        } else {
            bytes = slots_.part(at, view_.slots.valueSize);
        }
        bytes_ += std::max<std::uint64_t>(bytes.size(), leastBytes());
        std::string text;
        if (!valueText(view_, report_, bytes, text)) {
            text = Expectation::kValue;
        }
        work_ += kWorkPerElement + text.size();
        return " " + hexNumber(slot) + "-->" + (lookaside ? "*" : "") + text;
    }

    [[nodiscard]] std::string entry(SlabOffset offset) const {
        const FileView& slab = view_.file("slab" + std::to_string(offset.slab()));
        const std::string reader = "SlabReader-" + std::to_string(offset.slab()) + "-";
        if (slab.state() == FileView::State::Closed && slab.size() > 0) {
            throw Corrupted{reader + "?::attach() cannot attach to shmem size:40"};
        }
        if (slab.isDirectory()) {
            throw Corrupted{};
        }
        if (!slab.attaches()) {
            throw Corrupted{reader + "?::attach() no shared memory region"};
        }
        const auto header = slab.at<SlabHeader>(0);
        const std::string known = reader + std::to_string(header.entrySize);
        const std::string fault = slabFault(slab.bytes(), slab.shownSize());
        if (!fault.empty()) {
            throw Corrupted{known + "::validate() failed: " + fault};
        }
        if (header.entrySize < Plask::Layout::kSlabEntryHeaderSize) {
            throw Corrupted{};
        }
        const std::uint32_t most = header.entrySize - Plask::Layout::kSlabEntryHeaderSize;
        const std::string index = std::to_string(offset.index());
        if (offset.index() >= header.numEntries.value) {
            throw Corrupted{known + "::getEntry() index: " + index +
                            " is beyond farthest possible index: " + std::to_string(header.numEntries.value)};
        }
        const std::uint64_t place = 40 + std::uint64_t{offset.index()} * header.entrySize;
        const auto size = slab.at<std::int32_t>(place);
        if (size < 0) {
            throw Corrupted{known + "::getValue() encountered unoccupied entry at index: " + index};
        }
        if (static_cast<std::uint32_t>(size) > most) {
            throw Corrupted{known + "::getValue() encountered payloadSize:" + std::to_string(size) +
                            ", but max payloadSize:" + std::to_string(most) + " at index: " + index};
        }
        if (static_cast<std::uint32_t>(size) > view_.slots.valueSize) {
            throw Corrupted{};
        }
        return slab.part(place + 8, static_cast<std::uint32_t>(size));
    }

    /// What a value counts for at least: some styles show it as long as its type is.
    [[nodiscard]] std::uint64_t leastBytes() const {
        return report_ == Report::Walk || report_ == Report::WalkEmpty ? 0 : view_.slots.valueSize;
    }
    [[nodiscard]] std::uint32_t slots() const { return view_.slots.numSlots.value; }
    [[nodiscard]] std::uint64_t slotAt(std::uint32_t index) const {
        return Halyx::Layout::slotArrayOffset(view_.slots.slotSize) + std::uint64_t{view_.slots.slotSize} * index;
    }

    const CollectionView& view_;
    const FileView& buckets_ = view_.file("buckets");
    const FileView& slots_ = view_.file("slots");
    const std::uint64_t held_ = view_.bytesHeld();
    Report report_;
    std::uint64_t hits_ = 0;
    std::uint64_t bytes_ = 0; ///< of the present chain's values
    std::uint64_t work_ = 0;  ///< bytes made so far, and what else it took
    bool uncertain_ = false;  ///< how many lookaside hits there are
};

} // namespace

Expectation expectWalk(const CollectionView& view, Report report) {
    const std::string attachError = "Error attaching to Halyx " + safe(view.name) + "\n";
    if (!view.file("buckets").attaches() || !view.file("slots").attaches()) {
        return Expectation::failure("", attachError);
    }
    const std::string& fault = view.bucketsFault.empty() ? view.slotsFault : view.bucketsFault;
    if (!fault.empty()) {
        return Expectation::failure("Halyx " + view.path + " validation failed: " + fault + "\n", attachError);
    }
    if (!view.sizesAreReasonable()) {
        return Expectation::anything();
    }
    const std::uint64_t needed = Halyx::Layout::slotArrayOffset(view.slots.slotSize) +
                                 std::uint64_t{view.slots.slotSize} * view.slots.numSlots.value;
    if (needed > view.file("slots").shownSize()) {
        return Expectation::failure("", "halyx: SlotReaderGeneric::doResize() requesting to map " +
                                            view.shownPath("slots") + " " + std::to_string(view.slots.numSlots.value) +
                                            " slots. Requested file resize to " + std::to_string(needed) +
                                            " but real file size is " + std::to_string(view.file("slots").shownSize()) +
                                            "\n");
    }
    return Expectation::report(Walk(view, report).lines());
}

} // namespace Hostile
