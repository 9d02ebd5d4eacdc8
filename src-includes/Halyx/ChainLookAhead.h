#pragma once

#include "Halyx/BucketReaderTable.h"
#include "Halyx/SlotReaderGenericTable.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace Halyx {

/// Has the slots of the next buckets' chains fetched into the cache while earlier ones are walked. Each slot of a chain is a
/// cache miss of its own and must have arrived before the next one is known, so first, second and third slots are asked for
/// at three distances. What it reads may be stale or torn apart by the writer: that costs a useless prefetch and nothing
/// else, for nothing of it is kept. Borrows both tables; a resize makes it stale.
class ChainLookAhead {
public:
    ChainLookAhead(const BucketReaderTable& buckets, const SlotReaderGenericTable& slots)
        : buckets_(buckets), slots_(slots), entries_(buckets.entries()), records_(slots.slots()),
          last_(std::min<std::size_t>(slots.slotSize(), kLine) - 1) {
        known_.fill(kEndOfChain);
    }

    /// Called with each bucket before it is walked, upward.
    [[gnu::always_inline]] void advance(unsigned bucket) {
        if (stopped_) {
            return;
        }
        const unsigned first = bucket + kFirstAhead;
        std::int32_t& index = at(first);
        index = kEndOfChain;
        if (entries_.has(first)) {
            index = SlotLink::fromWord(entries_[first].word64<0>()).index;
            prefetch(index);
        }
        std::int32_t& second = at(bucket + kSecondAhead);
        second = follow(second);
        follow(at(bucket + kThirdAhead));
        // A page that is gone is met again, and reported, where it matters. A file that was cut short has more of them.
        const bool slotsFaulted = slots_.mapping().forgetFault();
        stopped_ = buckets_.mapping().forgetFault() || slotsFaulted;
    }

private:
    static constexpr unsigned kFirstAhead = 72;
    static constexpr unsigned kSecondAhead = 48;
    static constexpr unsigned kThirdAhead = 24;
    static constexpr std::size_t kLine = 64; ///< bytes of a cache line
    static constexpr unsigned kRing = 128;   ///< a power of two above kFirstAhead

    std::int32_t& at(unsigned bucket) { return known_[bucket % kRing]; }
    void prefetch(std::int32_t index) const {
        if (isSlot(index)) {
            const auto record = records_[static_cast<unsigned>(index)];
            record.prefetch();
            record.prefetchAlso(last_);
        }
    }
    [[nodiscard]] bool isSlot(std::int32_t index) const { return records_.has(static_cast<unsigned>(index)); }

    /// Asks for what lies behind a slot that has arrived: its slab entry and the next slot, whose index is returned.
    [[gnu::always_inline]] std::int32_t follow(std::int32_t index) {
        if (!isSlot(index)) {
            return kEndOfChain;
        }
        const auto slot = static_cast<unsigned>(index);
        slots_.prefetchValue(slot);
        index = SlotLink::fromWord(records_[slot].word64<offsetof(Layout::SlotRecord, next)>()).index;
        prefetch(index);
        return index;
    }

    const BucketReaderTable& buckets_;
    const SlotReaderGenericTable& slots_;
    Mem::Row<Layout::kBucketEntrySize> entries_;
    Mem::Row<Layout::kSlotValueOffset> records_;
    std::size_t last_; ///< of a slot's bytes that are read first
    bool stopped_ = false;
    std::array<std::int32_t, kRing> known_{}; ///< per bucket ahead, the last slot of its chain that is known
};

} // namespace Halyx
