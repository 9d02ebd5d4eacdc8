#pragma once

#include "Halyx/ConquerTable.h"

#include <ostream>
#include <sstream>
#include <vector>

namespace Halyx {

/// The read-only reader of a collection's two notification queues, beside a writer that goes on appending.
///
/// It takes no lock. A copy of the queues is one moment of theirs because the version of the primary header's tableId and the
/// copied queue's currentPos are looked at before every record and behind the last: a writer empties a queue, and so changes its
/// currentPos, before it makes it the active one, and moves currentPos behind each record that it appends. When either has
/// changed, the copy is taken again, however often. The record at currentPos itself may be half written; it is not valid yet.
///
/// Life: detached, attached (headers mapped, counts 0), resized (records mapped up to the writer's count). A resize may move
/// the base.
class ConquerReaderGeneric : public Conquer {
public:
    /// A reader of the queues below `root`, in a file mapping or, when `localMem` is set, in process-local memory.
    ConquerReaderGeneric(Norvu::Platform::DebugHandler& handler, const Mem::RootPath& root, bool localMem = false);

    /// Maps the headers of both queues, primary first. False when a file is missing, empty or cannot be mapped.
    bool attach();

    /// A consistent copy of a queue's header. Throws CorruptionDetectedException when it cannot be read.
    [[nodiscard]] Header snapshotHeader(ConquerTableId id) const;

    /// Checks both headers, primary first; false with the first failure's text in `error`. Traces with `handler`.
    bool validate(Norvu::Platform::DebugHandler& handler, std::string& error) const;

    /// Samples the active queue, and each queue's size and position, mapping its records; after this the queues may be scanned.
    void sample();

    /// Maps as many records as the queue's header counts; does nothing when the count's version is the one last mapped.
    /// Throws AssertException for a file shorter than that, MemoryResourceException when it cannot be mapped.
    void resizeConquer(ConquerTableId id);

    /// Prints a consistent copy of both queues to `out`, or with `validOnly` of the active queue's valid notifications, and
    /// how long copying took and how often it started again. Throws like resizeConquer(), and CorruptionDetectedException
    /// for a file that was cut short.
    void scan(std::ostream& out, bool validOnly);

    /// Prints one queue's heading and its copied notifications into `buffer`; nothing when `validOnly` is set and the queue is
    /// not the active one.
    void printQueue(ConquerTableId id, std::vector<Notification> (&queues)[2], bool validOnly,
                    std::ostringstream& buffer);

    /// The last sample of which queue is active.
    [[nodiscard]] Mem::VerU32 currentTable() const { return currentTable_; }

private:
    struct Queue {
        Mem::VerU32 notifications;
        std::uint32_t currentPos = 0;
        bool mapped = false; ///< whether a resize has followed the attach
    };

    [[nodiscard]] bool isActive(ConquerTableId id) const {
        return currentTable_.value == static_cast<std::uint32_t>(id);
    }
    void sampleCurrentTable();
    void samplePosition(ConquerTableId id);
    void makeRoom(ConquerTableId id, bool validOnly, std::vector<Notification>& records) const;
    bool copyQueue(ConquerTableId id, std::vector<Notification>& records) const;
    bool copyQueues(bool validOnly, std::vector<Notification> (&queues)[2]);
    void drain(std::ostringstream& buffer, std::size_t most) const;

    Mem::VerU32 currentTable_;
    Queue queues_[2];
    std::ostream* out_ = nullptr; ///< where a scan's text goes when the buffer is full; null outside of a scan
};

} // namespace Halyx
