#include "Halyx/HalyxReaderGeneric.h"

#include "Halyx/ChainLookAhead.h"
#include "Mem/Atomics.h"
#include "Norvu/Exception.h"

#include <algorithm>

namespace Halyx {

namespace {

using Norvu::CorruptionDetectedException;

constexpr std::size_t kNextOffset = offsetof(Layout::SlotRecord, next);
constexpr std::size_t kStateOffset = offsetof(Layout::SlotRecord, state);
constexpr std::size_t kTagOffset = offsetof(SlotLink, tag);

constexpr std::uint64_t kRoomForShortValues = 24U << 20;

std::string handlerName(const char* name) {
    return std::string("Halyx-") + name;
}

} // namespace

HalyxReaderGeneric::HalyxReaderGeneric(const char* name)
    : Debuggable(handlerName(name)), root_(debugHandler(), name, false), buckets_(debugHandler(), root_, counters_),
      slots_(debugHandler(), root_, false, counters_) {}

HalyxReaderGeneric::HalyxReaderGeneric(const char* name, const RootPath& root)
    : Debuggable(handlerName(name)), root_(root), buckets_(debugHandler(), root_, counters_),
      slots_(debugHandler(), root_, false, counters_) {}

/// Notices that a sequence of slots comes back to one of them, at the cost of a comparison each: a slot is marked, and the
/// mark moves on after 1, 2, 4, ... further ones (Brent).
class HalyxReaderGeneric::LoopDetector {
public:
    /// Whether `index` is the marked slot.
    bool meets(std::int32_t index) {
        if (index == mark_) {
            return true;
        }
        if (++since_ == until_) {
            mark_ = index;
            until_ *= 2;
            since_ = 0;
        }
        return false;
    }
    /// Once the mark was met: how many slots the loop has.
    [[nodiscard]] std::uint64_t length() const { return since_ + 1; }

private:
    std::int32_t mark_ = kEndOfChain;
    std::uint64_t until_ = 1;
    std::uint64_t since_ = 0;
};

/// Every value has bytes of its own, so no chain has more of them than the files. Where a short value counts as a longer one,
/// there is room for that in the chains that there really are.
bool HalyxReaderGeneric::fitsTheFiles(std::uint64_t bytes, unsigned leastBytes) {
    excess_ = bytes;
    chainBytes_ = slots_.fileBytes() + (leastBytes != 0 ? kRoomForShortValues : 0);
    return bytes <= chainBytes_;
}

/// How many links of a chain lead to slots not met before when the chain comes back to one of them; 0 when it ends. Only links
/// are read, and what the writer changes meanwhile can make the answer wrong: it is asked again before it counts.
unsigned HalyxReaderGeneric::distinctLinks(unsigned bucket) const {
    const auto follow = [this](std::int32_t& index) {
        // Out of range is as good as an end here: the walk proper will say which.
        if (static_cast<unsigned>(index) >= slots_.capacity()) {
            return false;
        }
        index = SlotLink::fromWord(slots_.slot(static_cast<unsigned>(index)).word64<kNextOffset>()).index;
        return static_cast<unsigned>(index) < slots_.capacity();
    };
    const std::int32_t head = buckets_.head(bucket).index;
    LoopDetector loop;
    // A loop is met after less than three times as many steps as there are slots.
    std::uint64_t steps = 4 * std::uint64_t{slots_.capacity()} + 4;
    for (std::int32_t index = head; !loop.meets(index); --steps) {
        if (!follow(index) || steps == 0) {
            return 0;
        }
    }
    // Two that keep the loop's length between them meet at its first slot.
    std::int32_t behind = head;
    std::int32_t ahead = head;
    for (std::uint64_t links = 0; links < loop.length(); ++links) {
        if (!follow(ahead)) {
            return 0;
        }
    }
    std::uint64_t before = 0;
    for (; behind != ahead; ++before) {
        if (!follow(behind) || !follow(ahead) || before > slots_.capacity()) {
            return 0;
        }
    }
    return static_cast<unsigned>(before + loop.length());
}

void HalyxReaderGeneric::copyValue(const Slot& slot, unsigned index, void* buffer, Element& element) {
    element.state = slot.word<kStateOffset>();
    for (;;) {
        element.lookaside = (element.state & Layout::kSlotStateLookaside) != 0;
        if (element.lookaside) [[unlikely]] {
            ++counters_.lookasideHits;
            element.length = slots_.constructLookaside(buffer);
        } else {
            element.length = slots_.construct(index, buffer);
        }
        // R3. Races with a replacement (W4): the writer raises the state before it writes the slot's value, and again before it uses
        // the lookaside value for another slot. The same state after the copy (acquire fence) proves that the copy is whole.
        Mem::Atomics::acquireFence();
        const std::uint32_t state = slot.word<kStateOffset>();
        if (state == element.state) [[likely]] {
            return;
        }
        element.state = state;
    }
}

/// Fetches an element's value. False when what was found is not to be believed, since the link or the state has changed.
bool HalyxReaderGeneric::fetch(const Link& holder, const SlotLink& link, const Slot& slot, void* buffer,
                               Element& element) {
    const auto index = static_cast<unsigned>(link.index);
    if (!slots_.isDynamic()) {
        copyValue(slot, index, buffer, element);
        return true;
    }
    try {
        copyValue(slot, index, buffer, element);
        return true;
    } catch (const Norvu::Exception&) {
        slots_.checkRead(index);
        // R8. Races with a replacement or an erase (W4, W3): a slab entry may be freed as soon as no slot names it any more, and the
        // writer says so in the state word or in the tag before it frees the entry. Until then an offset may be half of two, and
        // name a slab that is corrupt, or that never was.
        if (holder.word<kTagOffset>() != link.tag || slot.word<kStateOffset>() != element.state) {
            return false;
        }
        throw;
    }
}

/// Walks one chain from its head: until it comes back to a slot or has more links than there are slots, or, when `distinct`
/// is not 0, until as many elements have been handled.
HalyxReaderGeneric::Walk HalyxReaderGeneric::walkChain(ScanHandler& handler, unsigned bucket, unsigned distinct) {
    Link holder = buckets_[bucket];
    SlotLink link = buckets_.head(bucket);
    const unsigned most = distinct != 0 ? distinct : slots_.capacity();
    const unsigned leastBytes = handler.leastBytes();
    void* const buffer = handler.valueBuffer();
    unsigned links = 0;
    std::uint64_t bytes = 0;
    LoopDetector loop;
    Element element;
    while (link.index >= 0) {
        const auto index = static_cast<unsigned>(link.index);
        const SlotReaderGenericTable::Slot slot = slots_.slot(index);
        if (links == most || (distinct == 0 && loop.meets(link.index))) {
            return Walk::Endless;
        }
        ++links;
        if (!fetch(holder, link, slot, buffer, element)) {
            return Walk::Changed;
        }
        const SlotLink next = SlotLink::fromWord(slot.word64<kNextOffset>());
        // R4. Races with an erase or an insert (W3, W2): the writer rewrites the link that leads to a slot, with a tag that it never
        // carried, before it touches the slot's own link or uses the slot again. The same tag after the value and the next
        // link were read (acquire fence, acquire load) proves that both belong to the element this link leads to.
        if (holder.word<kTagOffset>() != link.tag) {
            return Walk::Changed;
        }
        slots_.checkRead(index);
        buckets_.mapping().checkFault();
        bytes += std::max(element.length, leastBytes);
        if (bytes > chainBytes_ && !fitsTheFiles(bytes, leastBytes)) {
            return Walk::Oversized;
        }
        if (!handler.handleSlot(bucket, link, element.lookaside, element.state, element.length)) {
            return Walk::Stopped;
        }
        holder = slot.head<sizeof(SlotLink)>();
        link = next;
    }
    if (link.index != kEndOfChain) {
        (void)buckets_[static_cast<unsigned>(link.index) & 0x7fffffffU];
    }
    return handler.done(bucket, link) ? Walk::Ended : Walk::Stopped;
}

/// Walks a bucket as often as its chain changes meanwhile. A chain that comes back to a slot is walked again before that is
/// believed; then its elements are printed once each, it is looked at once more, and the bucket is corrupt. Likewise one whose
/// values have more bytes than the files: a writer may have moved elements to where the walk had not been.
HalyxReaderGeneric::Outcome HalyxReaderGeneric::walkUntilSteady(ScanHandler& handler, unsigned bucket) {
    unsigned timesEndless = 0;
    unsigned timesOversized = 0;
    unsigned distinct = 0; ///< in the last walk, the links that lead to slots not met before; 0 before that
    for (;;) {
        Walk walk = walkChain(handler, bucket, distinct);
        if (walk == Walk::Ended) {
            return Outcome::Next;
        }
        if (walk == Walk::Stopped) {
            return Outcome::Stop;
        }
        if (walk == Walk::Oversized && distinct == 0 && distinctLinks(bucket) != 0) {
            walk = Walk::Endless; // it was the same values again that made so many bytes
        }
        if (walk == Walk::Endless && distinct != 0 && distinctLinks(bucket) == distinct) {
            CorruptionDetectedException::throwException(
                "HalyxReaderGeneric::scan() chain does not end, link: " + std::to_string(distinct + 1) +
                " leads back into it, numSlots:" + std::to_string(slots_.capacity()));
        }
        timesOversized = walk == Walk::Oversized ? timesOversized + 1 : 0;
        if (timesOversized == 2) {
            CorruptionDetectedException::throwException(
                "HalyxReaderGeneric::scan() values of one chain have: " + std::to_string(excess_) +
                " bytes but the collection's files hold: " + std::to_string(chainBytes_));
        }
        handler.restart(bucket);
        if (walk == Walk::Changed) {
            ++chainRestarts_;
        }
        if (walk == Walk::Oversized && distinct != 0) {
            continue; // each value once is too much as well: walked again likewise
        }
        timesEndless = walk != Walk::Endless || distinct != 0 ? 0 : timesEndless + 1;
        distinct = timesEndless == 2 ? distinctLinks(bucket) : 0;
        if (timesEndless == 2 && distinct == 0) {
            timesEndless = 0; // it ends by now
        }
    }
}

HalyxReaderGeneric::Outcome HalyxReaderGeneric::visitBucket(ScanHandler& handler, unsigned bucket) {
    try {
        return walkUntilSteady(handler, bucket);
    } catch (const CorruptionDetectedException& error) {
        try {
            // R5: a link or an end mark that names what the writer has added since the tables were mapped is no corruption.
            const bool resized = slots_.doResize();
            if (buckets_.doResize() || resized) {
                handler.restart(bucket);
                handler.handleResize();
                return Outcome::Resized;
            }
        } catch (const CorruptionDetectedException&) {
            handler.handleCorruption(bucket, error.msg());
            throw; // without a header there is nothing to go on with
        }
        handler.handleCorruption(bucket, error.msg());
        return Outcome::Next;
    }
}

/// One walk; false when it must start again.
bool HalyxReaderGeneric::scanOnce(ScanHandler& handler, unsigned first, unsigned count, Direction direction,
                                  bool strict) {
    const unsigned all = buckets_.capacity();
    const bool up = direction == Direction::Up;
    if (up && first + count >= all) {
        count = all - first;
    } else if (!up && first == count) {
        ++count;
    }
    const unsigned limit = first + count;
    const unsigned step = up ? 1U : ~0U;
    unsigned walked = 0;
    ChainLookAhead lookAhead(buckets_, slots_);
    for (unsigned bucket = first; strict ? bucket < limit : walked != count && bucket < all; bucket += step, ++walked) {
        if (up) {
            lookAhead.advance(bucket);
        }
        const Outcome outcome = visitBucket(handler, bucket);
        if (outcome != Outcome::Next) {
            return outcome == Outcome::Stop;
        }
    }
    return true;
}

void HalyxReaderGeneric::scan(ScanHandler& handler, unsigned first, unsigned count, Direction direction, bool strict) {
    while (!scanOnce(handler, first, count, direction, strict)) {
        // A table has grown: again from the beginning, however often.
    }
}

} // namespace Halyx
