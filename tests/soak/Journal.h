#pragma once

#include <atomic>
#include <cstdint>

namespace Soak {

inline constexpr std::uint32_t kUnknown = 0xffffffff;

/// One step of a writer.
struct Event {
    enum Kind : std::uint32_t {
        Insert,
        Replace,
        Erase,
        Begin,  ///< a new incarnation is being made, empty; `version` is the event at which the last was killed, or 0
        Publish ///< it is put in place; `key` is its process, `slot` its fenix
    };

    std::uint64_t version = 0; ///< of the value
    std::uint32_t key = 0;
    std::uint32_t slot = 0;
    std::uint32_t bucket = 0; ///< kUnknown until the step is done
    Kind kind = Insert;
    std::uint32_t slots = 0;   ///< of the incarnation behind this step; 0: as before, or not known
    std::uint32_t buckets = 0; ///< likewise
};

/// What was true when, in memory that the writers and the checker have in common: every step of the writers of a collection, in
/// order, numbered from 1. A step's number is stored in `begun` before any of it can be seen, and in `done` once all of
/// it can. So whoever reads `done`, lets a reader run, and reads `begun`, knows what that reader must have seen at least, and what it
/// can have seen at most.
///
/// A ring: a writer waits before it overwrites what the checker has not taken yet.
class Journal {
public:
    struct Counts {
        alignas(64) std::atomic<std::uint64_t> begun;
        std::atomic<std::uint64_t> done;
        alignas(64) std::atomic<std::uint64_t> taken; ///< steps that the checker needs no more
        std::atomic<std::uint32_t> stop;              ///< no more incarnations
        std::atomic<std::uint32_t> leave;             ///< the present writer is to end
        std::atomic<std::uint32_t> deaths;            ///< writers that have been told to end, or killed
        std::atomic<std::uint32_t> incarnations;
        std::atomic<std::uint32_t> living; ///< the process whose incarnation is in place, as long as nobody ends it
        std::atomic<std::uint32_t> failed;
        std::atomic<std::uint64_t> growths; ///< of slots, buckets and queues
        std::atomic<std::uint64_t> slabGrowths;
        std::atomic<std::uint64_t> switches;
        std::atomic<std::uint64_t> waits; ///< for the checker
        char failure[200];                ///< why a writer failed, before `failed` is set
    };

    static constexpr std::uint32_t kNobody = 0;           ///< lives, for certain
    static constexpr std::uint32_t kComing = 0xffffffffU; ///< is being made

    static constexpr std::uint64_t kCapacity = 1U << 21;
    static constexpr std::uint32_t kMostKeys = 1U << 16;

    Journal();
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    /// For a new collection, while there is no writer.
    void reset();

    [[nodiscard]] Counts& counts() const { return *counts_; }
    [[nodiscard]] Event& at(std::uint64_t number) const { return events_[number % kCapacity]; }
    /// The version that a key has at last; 0: it is not there. What a new incarnation begins with.
    [[nodiscard]] std::uint64_t& last(std::uint32_t key) const { return last_[key]; }

    /// Whether step `number` can be stored without overwriting one that is needed.
    [[nodiscard]] bool hasRoom(std::uint64_t number) const {
        return number - counts_->taken.load(std::memory_order_acquire) < kCapacity - 2;
    }

private:
    Counts* counts_;
    Event* events_;
    std::uint64_t* last_;
};

} // namespace Soak
