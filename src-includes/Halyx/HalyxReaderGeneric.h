#pragma once

#include "Halyx/BucketReaderTable.h"
#include "Halyx/Counters.h"
#include "Halyx/SlotReaderGenericTable.h"
#include "Mem/RootPath.h"
#include "Mem/Row.h"

#include <string>

namespace Halyx {

/// The order of a walk. Any value but Up walks downward.
enum class Direction : unsigned { Down = 0, Up = 1 };

/// The read-only reader of one collection: bucket table, slot table and, behind it, the slabs. Owns them all.
///
/// It takes no lock. A link is believed when its tag is the same after everything behind it was read; a value is believed
/// when the slot's state word is the same after it was copied; counts are followed by their version words. docs/protocol.md
/// says why that is enough.
class HalyxReaderGeneric : public Norvu::Debuggable {
public:
    /// Where a walk delivers what it finds, and the buffer that each value is copied to. Borrows the buffer.
    class ScanHandler {
    public:
        /// The chain of `bucket` has ended at `end`; false stops the scan.
        virtual bool done(unsigned bucket, const SlotLink& end) = 0;
        /// One element, whose value of `length` bytes is in the buffer: `link` led to it, `lookaside` says that the value came
        /// from the header's lookaside slot, `state` is the slot's state word. False stops the scan.
        virtual bool handleSlot(unsigned bucket, const SlotLink& link, bool lookaside, unsigned state,
                                unsigned length) = 0;
        /// The walk of `bucket` met corrupted data.
        virtual void handleCorruption(unsigned bucket, const std::string& reason) = 0;
        /// The collection was found resized; the walk starts again from the beginning.
        virtual void handleResize() = 0;
        /// The chain of `bucket` changed under the reader; it is walked again from its head.
        virtual bool restart(unsigned bucket) = 0;

        [[nodiscard]] void* valueBuffer() const { return buffer_; }
        /// Bytes that every value takes at least in what the handler gathers of a chain; 0 when that is the value's length.
        [[nodiscard]] unsigned leastBytes() const { return leastBytes_; }

    protected:
        explicit ScanHandler(void* buffer, unsigned leastBytes = 0) : buffer_(buffer), leastBytes_(leastBytes) {}
        ~ScanHandler() = default;
        ScanHandler(const ScanHandler&) = default;
        ScanHandler& operator=(const ScanHandler&) = default;

    private:
        void* buffer_;
        unsigned leastBytes_;
    };

    /// The collection `name`, relative to the collections' root. Maps nothing.
    explicit HalyxReaderGeneric(const char* name);
    /// The same, where `root` is the collection's path: files are looked up in the directory that `root` holds open.
    HalyxReaderGeneric(const char* name, const RootPath& root);

    /// Walks the buckets from `first` on, `count` of them at most, and delivers every element, in the order of the chains.
    ///
    /// Not strict: ends after `count` buckets or where the table ends. Strict: ends at bucket `first` + `count` only (the
    /// count is cut to the table's end first when walking up), and a bucket outside the table is corruption.
    /// Corruption is reported bucket by bucket; when a table has grown meanwhile, the walk starts again instead.
    void scan(ScanHandler& handler, unsigned first, unsigned count, Direction direction, bool strict);

    /// Maps both tables' headers and checks the slot table's: what a report on headers needs. False when one is missing, empty
    /// or cannot be mapped, or the slot table's header is invalid. Never throws.
    bool attach() { return buckets_.attach() && slots_.attach(); }

    [[nodiscard]] BucketReaderTable& buckets() { return buckets_; }
    [[nodiscard]] const BucketReaderTable& buckets() const { return buckets_; }
    [[nodiscard]] SlotReaderGenericTable& slots() { return slots_; }
    [[nodiscard]] const SlotReaderGenericTable& slots() const { return slots_; }
    [[nodiscard]] const RootPath& root() const { return root_; }
    [[nodiscard]] const Reader::Counters& counters() const { return counters_; }
    /// Buckets walked again because a link had changed.
    [[nodiscard]] std::uint32_t chainRestarts() const { return chainRestarts_; }

private:
    class LoopDetector;

    using Link = Mem::Record<sizeof(SlotLink)>;
    using Slot = SlotReaderGenericTable::Slot;

    enum class Walk { Ended, Stopped, Changed, Endless, Oversized };
    enum class Outcome { Next, Stop, Resized };

    struct Element {
        std::uint32_t state = 0;
        bool lookaside = false;
        unsigned length = 0;
    };

    bool scanOnce(ScanHandler& handler, unsigned first, unsigned count, Direction direction, bool strict);
    // These run once or more for every bucket, and are one loop when they are built into each other.
    [[gnu::always_inline]] inline Outcome visitBucket(ScanHandler& handler, unsigned bucket);
    [[gnu::always_inline]] inline Outcome walkUntilSteady(ScanHandler& handler, unsigned bucket);
    [[gnu::always_inline]] inline Walk walkChain(ScanHandler& handler, unsigned bucket, unsigned distinct);
    bool fitsTheFiles(std::uint64_t bytes, unsigned leastBytes);
    [[gnu::always_inline]] inline bool fetch(const Link& holder, const SlotLink& link, const Slot& slot, void* buffer,
                                             Element& element);
    [[gnu::always_inline]] inline void copyValue(const Slot& slot, unsigned index, void* buffer, Element& element);
    [[nodiscard]] unsigned distinctLinks(unsigned bucket) const;

    RootPath root_;
    Reader::Counters counters_;
    BucketReaderTable buckets_;
    SlotReaderGenericTable slots_;
    std::uint32_t chainRestarts_ = 0;
    std::uint64_t chainBytes_ = 0; ///< bytes that the values of one chain may have, as the files were last measured
    std::uint64_t excess_ = 0;     ///< bytes of the chain that had more than that
};

} // namespace Halyx
