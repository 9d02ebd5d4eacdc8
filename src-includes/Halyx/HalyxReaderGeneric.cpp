#include "Halyx/HalyxReaderGeneric.h"

#include "Halyx/ChainLookAhead.h"
#include "Mem/Atomics.h"
#include "Norvu/Exception.h"

namespace Halyx {

namespace {

using Norvu::CorruptionDetectedException;

constexpr std::size_t kNextOffset = offsetof(Layout::SlotRecord, next);
constexpr std::size_t kStateOffset = offsetof(Layout::SlotRecord, state);
constexpr std::size_t kTagOffset = offsetof(SlotLink, tag);

/// A chain of as many links is looked at once for its end before more of its text is gathered.
constexpr unsigned kLongChain = 4096;

std::string handlerName(const char* name) {
    return std::string("Halyx-") + name;
}

} // namespace

HalyxReaderGeneric::HalyxReaderGeneric(const char* name)
    : Debuggable(handlerName(name)), root_(debugHandler(), name, false), buckets_(debugHandler(), root_, counters_),
      slots_(debugHandler(), root_, false, counters_) {}

void HalyxReaderGeneric::scan(ScanHandler& handler, unsigned first, unsigned count, Direction direction, bool strict) {
    while (!scanOnce(handler, first, count, direction, strict)) {
        // A table has grown: again from the beginning, however often.
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

HalyxReaderGeneric::Outcome HalyxReaderGeneric::visitBucket(ScanHandler& handler, unsigned bucket) {
    // More links than slots cannot end, if they are still there when looked at again. Then the elements are printed once
    // each, and the bucket is reported.
    unsigned timesEndless = 0;
    unsigned mostLinks = slots_.capacity();
    try {
        for (;;) {
            const Walk walk = walkChain(handler, bucket, mostLinks);
            if (walk == Walk::Ended) {
                return Outcome::Next;
            }
            if (walk == Walk::Stopped) {
                return Outcome::Stop;
            }
            if (walk == Walk::Endless && timesEndless == 2) {
                CorruptionDetectedException::throwException(
                    "HalyxReaderGeneric::scan() chain does not end, link: " + std::to_string(mostLinks + 1) +
                    " leads back into it, numSlots:" + std::to_string(slots_.capacity()));
            }
            handler.restart(bucket);
            mostLinks = slots_.capacity();
            if (walk == Walk::Changed) {
                ++chainRestarts_;
                timesEndless = 0;
            } else if (++timesEndless == 2) {
                const unsigned distinct = distinctLinks(bucket);
                if (distinct == 0) {
                    timesEndless = 0;
                } else {
                    mostLinks = distinct;
                }
            }
        }
    } catch (const CorruptionDetectedException& error) {
        // A link or an end mark that names what the writer has added since the tables were mapped is no corruption.
        const bool resized = slots_.doResize();
        if (buckets_.doResize() || resized) {
            handler.handleResize();
            return Outcome::Resized;
        }
        handler.handleCorruption(bucket, error.msg());
        return Outcome::Next;
    }
}

/// Walks one chain from its head, `mostLinks` links at most.
HalyxReaderGeneric::Walk HalyxReaderGeneric::walkChain(ScanHandler& handler, unsigned bucket, unsigned mostLinks) {
    Mem::View holder = buckets_[bucket];
    SlotLink link = buckets_.head(bucket);
    unsigned links = 0;
    Element element;
    while (link.index >= 0) {
        if (links == mostLinks ||
            (links == kLongChain && mostLinks == slots_.capacity() && distinctLinks(bucket) != 0)) {
            return Walk::Endless;
        }
        ++links;
        const auto index = static_cast<unsigned>(link.index);
        const Mem::View slot = slots_.getSlot(index);
        if (!fetch(holder, link, slot, handler.valueBuffer(), element)) {
            return Walk::Changed;
        }
        const SlotLink next = SlotLink::fromWord(slot.word64(kNextOffset));
        // Races with an erase or an insert: the writer rewrites the link that leads to a slot, with a tag that it never
        // carried, before it touches the slot's own link or uses the slot again. The same tag after the value and the next
        // link were read (acquire fence, acquire load) proves that both belong to the element this link leads to.
        if (holder.word(kTagOffset) != link.tag) {
            return Walk::Changed;
        }
        slots_.checkRead(index);
        if (!handler.handleSlot(bucket, link, element.lookaside, element.state, element.length)) {
            return Walk::Stopped;
        }
        holder = slot;
        link = next;
    }
    if (link.index != kEndOfChain) {
        (void)buckets_[static_cast<unsigned>(link.index) & 0x7fffffffU];
    }
    return handler.done(bucket, link) ? Walk::Ended : Walk::Stopped;
}

/// Fetches an element's value. False when what was found is not to be believed, since the link or the state has changed.
bool HalyxReaderGeneric::fetch(const Mem::View& holder, const SlotLink& link, const Mem::View& slot, void* buffer,
                               Element& element) {
    try {
        copyValue(slot, buffer, element);
        return true;
    } catch (const CorruptionDetectedException&) {
        slots_.checkRead(static_cast<unsigned>(link.index));
        // Races with a replacement or an erase: a slab entry may be freed as soon as no slot names it any more, and the
        // writer says so in the state word or in the tag before it frees the entry.
        if (holder.word(kTagOffset) != link.tag || slot.word(kStateOffset) != element.state) {
            return false;
        }
        throw;
    }
}

void HalyxReaderGeneric::copyValue(const Mem::View& slot, void* buffer, Element& element) {
    element.state = slot.word(kStateOffset);
    for (;;) {
        element.lookaside = (element.state & Layout::kSlotStateLookaside) != 0;
        if (element.lookaside) {
            ++counters_.lookasideHits;
            element.length = slots_.allocator().construct(buffer, slots_.lookasideValue());
        } else {
            element.length = slots_.allocator().construct(buffer, slots_.valueOf(slot));
        }
        // Races with a replacement: the writer raises the state before it writes the slot's value, and again before it uses
        // the lookaside value for another slot. The same state after the copy (acquire fence) proves that the copy is whole.
        Mem::Atomics::acquireFence();
        const std::uint32_t state = slot.word(kStateOffset);
        if (state == element.state) {
            return;
        }
        element.state = state;
    }
}

/// How many links of a chain lead to slots not met before when the chain leads back into itself; 0 when it ends within as
/// many links as there are slots. Only links are read.
unsigned HalyxReaderGeneric::distinctLinks(unsigned bucket) const {
    const unsigned most = slots_.capacity();
    const auto follow = [this](std::int32_t& index) {
        if (static_cast<unsigned>(index) >= slots_.capacity()) {
            return false; // an end, or out of range: the walk proper will say which
        }
        index = SlotLink::fromWord(slots_.getSlot(static_cast<unsigned>(index)).word64(kNextOffset)).index;
        return index >= 0;
    };
    const std::int32_t head = buckets_.head(bucket).index;
    std::int32_t index = head;
    for (unsigned links = 0; links < most; ++links) {
        if (!follow(index)) {
            return 0;
        }
    }
    // Now inside the loop: its length, then how far its first slot is from the head.
    const std::int32_t inside = index;
    unsigned length = 0;
    do {
        if (!follow(index) || ++length > most) {
            return 0; // it has changed
        }
    } while (index != inside);
    std::int32_t behind = head;
    std::int32_t ahead = head;
    for (unsigned links = 0; links < length; ++links) {
        if (!follow(ahead)) {
            return 0;
        }
    }
    unsigned before = 0;
    while (behind != ahead) {
        if (!follow(behind) || !follow(ahead) || ++before > most) {
            return 0;
        }
    }
    return before + length;
}

} // namespace Halyx
