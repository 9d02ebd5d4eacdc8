#pragma once

#include "Halyx/ConquerTableLayout.h"
#include "SharedMem/FenixId.h"
#include "writer/FileMapping.h"
#include "writer/Options.h"

#include <cstdint>
#include <memory>

namespace Halyx::Writer {

class CollectionDirectory;

/// The files "conquer.1" and "conquer.2" as their writer sees them. Owns the mappings.
///
/// Notifications are appended to the active queue. When it is full it grows up to its limit; then the other is emptied and
/// becomes the active one. minimumSequence is the smallest sequence number that one of the two still holds; a queue's corral is
/// the range of those that it holds itself, corralEnd being one past the last.
class ConquerQueues {
public:
    /// `options` are complete. Throws as throwSystemError does.
    ConquerQueues(const CollectionDirectory& directory, const Options& options, SharedMem::FenixId fenix);

    /// Notes that `slot` has changed. Never fails: a queue that cannot grow gives way to the other.
    void append(std::uint32_t slot);

    [[nodiscard]] std::uint32_t growths() const;
    [[nodiscard]] std::uint32_t switches() const { return active_.version - 1; }

private:
    struct Queue {
        std::unique_ptr<FileMapping> file;
        Mem::VerU32 count{0, 0};
        std::uint32_t position = 0;
        std::uint64_t start = 1; ///< the first sequence number that it holds
    };

    void growTo(Queue& queue, std::uint32_t count) const;
    void switchOver();
    static std::size_t offsetOf(std::uint32_t record) {
        return Layout::kConquerRecordsOffset + std::size_t{Layout::kConquerRecordSize} * record;
    }
    static std::uint64_t fileSize(std::uint32_t count) {
        return Layout::kConquerHeaderSize + std::uint64_t{Layout::kConquerRecordSize} * count;
    }

    Queue queues_[2];
    std::uint32_t most_;
    Mem::VerU32 active_{1, 0};
    std::uint64_t sequence_ = 1; ///< of the next notification
};

} // namespace Halyx::Writer
