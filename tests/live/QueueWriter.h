#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <sys/types.h>

/// A process of its own that appends notifications to a collection's queues, in bursts with pauses between them, until it is
/// ended. Notification n, counted from 1, is about slot slotOf(n), so that whoever reads one can tell whether it was ever
/// written like that.
class QueueWriter {
public:
    struct Plan {
        std::uint32_t records = 4; ///< of each queue to begin with
        std::uint32_t most = 1000; ///< of each queue
        std::uint32_t longestBurst = 5000;
        std::uint32_t longestPause = 300; ///< microseconds; 0: never
    };

    static constexpr std::uint32_t kNoSlot = 0xffffffff;

    /// One in sixteen is about no slot.
    static constexpr std::uint32_t slotOf(std::uint64_t sequence) {
        const std::uint64_t mixed = (sequence ^ sequence >> 29) * 0x9e3779b97f4a7c15U;
        return (mixed >> 60) == 0 ? kNoSlot : static_cast<std::uint32_t>(mixed >> 33);
    }

    /// Starts it and waits until the collection is in place; throws std::runtime_error when that fails.
    QueueWriter(const std::string& chroot, const std::string& collection, const Plan& plan, std::uint32_t seed);
    /// Ends it.
    ~QueueWriter();
    QueueWriter(const QueueWriter&) = delete;
    QueueWriter& operator=(const QueueWriter&) = delete;

    [[nodiscard]] bool running() const;
    /// Stops it wherever it is, and returns when it has stopped.
    void pause() const;
    void resume() const;

    /// Notifications that every reader which starts now must see.
    [[nodiscard]] std::uint64_t appended() const { return counts_->appended.load(); }
    /// Notifications that a reader can have seen by now.
    [[nodiscard]] std::uint64_t begun() const { return counts_->begun.load(); }
    [[nodiscard]] std::uint32_t switches() const { return counts_->switches.load(); }

private:
    struct Counts {
        std::atomic<std::uint64_t> begun;
        std::atomic<std::uint64_t> appended;
        std::atomic<std::uint32_t> switches;
    };

    Counts* counts_; ///< in memory that both processes have
    pid_t pid_ = -1;
};
