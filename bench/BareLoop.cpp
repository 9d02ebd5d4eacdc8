#include "BareLoop.h"

#include "Halyx/BucketTableLayout.h"
#include "Halyx/SlotTableLayout.h"
#include "MappedFile.h"
#include "Mem/Atomics.h"
#include "Plask/SlabLayout.h"
#include "TextBlock.h"

#include <cstring>
#include <deque>
#include <stdexcept>

namespace Bench {

namespace {

using Halyx::SlotLink;
namespace Slots = Halyx::Layout;
namespace Slabs = Plask::Layout;

[[noreturn]] void corrupt(const char* what) {
    throw std::runtime_error(std::string("bare loop: ") + what);
}

/// One walk over the mapped files.
template <bool Checks, bool LookAhead>
class Loop {
public:
    Loop(const Table& table, int out)
        : buckets_(table.directory + "/" + Halyx::Layout::kBucketsFile),
          slots_(table.directory + "/" + Slots::kSlotsFile), text_(out), slotSize_(table.slotSize()),
          entrySize_(table.entrySize()), valueSize_(table.valueSize), elements_(table.elements),
          dynamic_(table.dynamic), heads_(buckets_.at(Halyx::Layout::kBucketTableHeaderSize)),
          begin_(slots_.at(static_cast<std::size_t>(Slots::slotArrayOffset(slotSize_)))) {
        for (unsigned slab = 0; dynamic_ && slab < kSlabs; ++slab) {
            slabs_.emplace_back(table.slabPath(slab));
            slabBases_[slab] = slabs_.back().at(0);
        }
    }

    void run() {
        for (std::uint32_t bucket = 0; bucket < elements_; ++bucket) {
            if constexpr (LookAhead) {
                lookAhead(bucket);
            }
            char* const mark = text_.mark();
            while (!printChain(bucket)) {
                text_.rewind(mark);
                ++restarts_;
            }
            text_.endOfLine();
        }
        text_.add("Lookaside hits: " + std::to_string(lookasides_) + "\nChain restarts: " + std::to_string(restarts_) +
                  "\n");
        text_.drain();
    }

private:
    static SlotLink linkAt(const unsigned char* address) {
        if constexpr (Checks) {
            return SlotLink::fromWord(
                Mem::Atomics::load64(static_cast<const unsigned long long*>(static_cast<const void*>(address))));
        }
        SlotLink link;
        std::memcpy(&link, address, sizeof link);
        return link;
    }
    static std::uint32_t wordAt(const unsigned char* address) {
        if constexpr (Checks) {
            return __atomic_load_n(static_cast<const std::uint32_t*>(static_cast<const void*>(address)),
                                   __ATOMIC_RELAXED);
        }
        std::uint32_t word;
        std::memcpy(&word, address, sizeof word);
        return word;
    }
    [[nodiscard]] const unsigned char* headAt(std::uint32_t bucket) const {
        return heads_ + std::size_t{bucket} * sizeof(SlotLink);
    }
    [[nodiscard]] const unsigned char* slotAt(std::int32_t index) const {
        return begin_ + std::size_t{slotSize_} * static_cast<std::uint32_t>(index);
    }
    [[nodiscard]] bool isSlot(std::int32_t index) const {
        return Checks ? static_cast<std::uint32_t>(index) < elements_ : index >= 0;
    }

    // g++ takes a function that only prefetches for one without effects, and drops calls of it: hence always_inline.
    [[gnu::always_inline]] inline void lookAhead(std::uint32_t bucket) const {
        constexpr std::uint32_t first = 72;
        constexpr std::uint32_t second = 48;
        constexpr std::uint32_t third = 24;
        if (bucket + first < elements_) {
            const std::int32_t index = linkAt(headAt(bucket + first)).index;
            if (isSlot(index)) {
                __builtin_prefetch(slotAt(index));
            }
        }
        if (bucket + second < elements_) {
            const std::int32_t index = linkAt(headAt(bucket + second)).index;
            if (isSlot(index)) {
                prefetchBehind(index);
            }
        }
        if (bucket + third < elements_) {
            const std::int32_t head = linkAt(headAt(bucket + third)).index;
            const std::int32_t index = isSlot(head) ? linkAt(slotAt(head)).index : -1;
            if (isSlot(index)) {
                prefetchBehind(index);
            }
        }
    }

    /// Asks for what lies behind a slot that has arrived: its slab entry and the next slot.
    [[gnu::always_inline]] inline void prefetchBehind(std::int32_t index) const {
        const std::int32_t next = linkAt(slotAt(index)).index;
        if (isSlot(next)) {
            __builtin_prefetch(slotAt(next));
        }
        if (dynamic_) {
            const Slabs::SlabOffset offset(wordAt(slotAt(index) + Slots::kSlotValueOffset));
            if (Checks && offset.slab() >= kSlabs) {
                return; // A torn offset costs nothing here.
            }
            const unsigned char* const entry = entryAt(offset);
            __builtin_prefetch(entry);
            __builtin_prefetch(entry + entrySize_ - 1);
        }
    }

    [[nodiscard]] const unsigned char* entryAt(Slabs::SlabOffset offset) const {
        return slabBases_[offset.slab()] + Slabs::kSlabHeaderSize + std::size_t{entrySize_} * offset.index();
    }

    /// The bytes that a value area leads to, and their number.
    const unsigned char* valueAt(const unsigned char* area, std::uint32_t& size) const {
        size = valueSize_;
        if (!dynamic_) {
            return area;
        }
        const Slabs::SlabOffset offset(wordAt(area));
        if constexpr (Checks) {
            if (offset.slab() >= kSlabs) {
                corrupt("no such slab");
            }
            const unsigned char* const base = slabBases_[offset.slab()];
            const std::uint32_t count = elements_ / kSlabs + (elements_ % kSlabs != 0 ? 1 : 0);
            if (wordAt(base + offsetof(Slabs::SlabHeader, numEntries)) != kSeenVersion || offset.index() >= count) {
                corrupt("slab");
            }
            const auto payload = static_cast<std::int32_t>(wordAt(entryAt(offset)));
            if (payload < 0 || static_cast<std::uint32_t>(payload) > entrySize_ - Slabs::kSlabEntryHeaderSize) {
                corrupt("entry");
            }
            size = static_cast<std::uint32_t>(payload);
        }
        return entryAt(offset) + Slabs::kSlabEntryHeaderSize;
    }

    /// Copies the value of `slot` until its state stays the same meanwhile. Whether it is the lookaside value.
    bool copyValue(const unsigned char* slot, std::uint32_t& size) {
        std::uint32_t state = wordAt(slot + offsetof(Slots::SlotRecord, state));
        for (;;) {
            const bool lookaside = (state & Slots::kSlotStateLookaside) != 0;
            lookasides_ += lookaside;
            const unsigned char* const from =
                valueAt(lookaside ? slots_.at(offsetof(Slots::SlotTableHeader, lookasideValue))
                                  : slot + Slots::kSlotValueOffset,
                        size);
            for (std::uint32_t at = 0; at < size; at += 8) {
                std::memcpy(value_ + at, from + at, 8);
            }
            Mem::Atomics::acquireFence();
            const std::uint32_t again = wordAt(slot + offsetof(Slots::SlotRecord, state));
            if (again == state) {
                return lookaside;
            }
            state = again;
        }
    }

    /// False when a link changed meanwhile.
    bool printChain(std::uint32_t bucket) {
        const unsigned char* holder = headAt(bucket);
        SlotLink link = linkAt(holder);
        if (link.index < 0) {
            checkEnd(link);
            return true;
        }
        text_.add("bucket[");
        text_.addHex(bucket);
        text_.add("]");
        while (link.index >= 0) {
            if (!isSlot(link.index)) {
                corrupt("link");
            }
            const unsigned char* const slot = slotAt(link.index);
            const unsigned char* value = value_;
            std::uint32_t size = 0;
            bool lookaside = false;
            if constexpr (Checks) {
                lookaside = copyValue(slot, size);
            } else {
                value = valueAt(slot + Slots::kSlotValueOffset, size);
            }
            const SlotLink next = linkAt(slot);
            if (Checks && wordAt(holder + offsetof(SlotLink, tag)) != link.tag) {
                return false;
            }
            text_.add(" ");
            text_.addHex(static_cast<std::uint32_t>(link.index));
            text_.add(lookaside ? "-->*" : "-->");
            text_.addBytes(value, size);
            holder = slot;
            link = next;
        }
        checkEnd(link);
        text_.add(" 7fffffff --> none\n");
        return true;
    }

    void checkEnd(SlotLink link) const {
        if (Checks && link.index != Halyx::kEndOfChain &&
            (static_cast<std::uint32_t>(link.index) & 0x7fffffffU) >= elements_) {
            corrupt("end of a chain");
        }
    }

    static constexpr std::uint32_t kSeenVersion = 1;

    MappedFile buckets_;
    MappedFile slots_;
    std::deque<MappedFile> slabs_;
    TextBlock text_;
    std::uint32_t slotSize_;
    std::uint32_t entrySize_;
    std::uint32_t valueSize_;
    std::uint32_t elements_; ///< as many buckets
    bool dynamic_;
    const unsigned char* heads_;
    const unsigned char* begin_;
    const unsigned char* slabBases_[kSlabs] = {};
    alignas(8) unsigned char value_[kMostValueSize] = {};
    std::uint32_t lookasides_ = 0;
    std::uint32_t restarts_ = 0;
};

} // namespace

Program bareLoop(const Table& table, LoopKind kind) {
    return [table, kind](int out) {
        if (kind.checks) {
            kind.lookAhead ? Loop<true, true>(table, out).run() : Loop<true, false>(table, out).run();
        } else {
            kind.lookAhead ? Loop<false, true>(table, out).run() : Loop<false, false>(table, out).run();
        }
    };
}

} // namespace Bench
