#include "writer/ConquerQueues.h"

#include "Norvu/Exception.h"
#include "writer/CollectionDirectory.h"
#include "writer/Growth.h"

namespace Halyx::Writer {

namespace {

using Layout::ConquerHeader;
using Layout::ConquerRecord;

} // namespace

ConquerQueues::ConquerQueues(const CollectionDirectory& directory, const Options& options, SharedMem::FenixId fenix)
    : most_(options.maxNotifications) {
    for (unsigned id = 0; id < 2; ++id) {
        Queue& queue = queues_[id];
        const char* name = Layout::kConquerFiles[id];
        queue.file = std::make_unique<FileMapping>(directory.descriptor(), name, directory.path() + "/" + name,
                                                   Layout::kConquerHeaderSize, options.fileMode);
        ConquerHeader header{};
        header.magic = Layout::kConquerMagic;
        header.version = Layout::kConquerVersion;
        header.fenix = fenix;
        header.minimumSequence = sequence_;
        header.tableId = active_;
        header.corralStart = sequence_;
        header.corralEnd = sequence_;
        queue.file->view().fill(0, &header, sizeof header);
        growTo(queue, options.notifications);
    }
}

void ConquerQueues::append(std::uint32_t slot) {
    Queue* queue = &queues_[active_.value];
    if (queue->position >= queue->count.value) {
        bool grown = false;
        if (queue->count.value < most_) {
            try {
                growStepwise(queue->count.value, most_, [&](std::uint32_t count) { growTo(*queue, count); });
                grown = true;
            } catch (const Norvu::MemoryResourceException&) {
                // The other queue takes over early.
            }
        }
        if (!grown) {
            switchOver();
            queue = &queues_[active_.value];
        }
    }
    const Mem::MutableView& view = queue->file->view();
    const std::size_t at = offsetOf(queue->position);
    // Two words: every second record lies on 4 bytes only.
    view.store(at + offsetof(ConquerRecord, sequenceLow), static_cast<std::uint32_t>(sequence_));
    view.store(at + offsetof(ConquerRecord, sequenceHigh), static_cast<std::uint32_t>(sequence_ >> 32));
    view.store(at + offsetof(ConquerRecord, slot), slot);
    ++sequence_;
    view.publish64(offsetof(ConquerHeader, corralEnd), sequence_);
    // W6, release: the record is complete before currentPos says that it is valid.
    view.publish(offsetof(ConquerHeader, currentPos), ++queue->position);
}

void ConquerQueues::growTo(Queue& queue, std::uint32_t count) const {
    queue.file->grow(fileSize(count));
    const Mem::MutableView& view = queue.file->view();
    for (std::uint32_t record = queue.count.value; record < count; ++record) {
        view.store(offsetOf(record) + offsetof(ConquerRecord, slot), Layout::kConquerNoSlot);
    }
    // Only now may a reader copy that many, and currentPos pass the old count.
    queue.count = {queue.count.version + 1, count};
    view.publish64(offsetof(ConquerHeader, notifications), queue.count.word());
}

void ConquerQueues::switchOver() {
    Queue& backup = queues_[active_.value];
    Queue& next = queues_[1 - active_.value];
    const Mem::MutableView& view = next.file->view();
    // W6, emptied first: a reader that copies the old records meanwhile sees currentPos change before any of them does. The old
    // records stay until they are written over; above currentPos they mean nothing.
    view.publish(offsetof(ConquerHeader, currentPos), 0);
    Mem::Atomics::releaseFence();
    next.position = 0;
    next.start = sequence_;
    view.publish64(offsetof(ConquerHeader, corralStart), sequence_);
    view.publish64(offsetof(ConquerHeader, corralEnd), sequence_);
    for (const Queue& queue : queues_) {
        queue.file->view().publish64(offsetof(ConquerHeader, minimumSequence), backup.start);
    }
    active_ = {active_.version + 1, 1 - active_.value};
    // Readers follow the primary queue's word; the other file carries a copy for whoever looks at it alone.
    for (const Queue& queue : queues_) {
        queue.file->view().publish64(offsetof(ConquerHeader, tableId), active_.word());
    }
    // A reader that meets a record of the queue's new life sees the new tableId as well.
    Mem::Atomics::releaseFence();
}

std::uint32_t ConquerQueues::growths() const {
    return queues_[0].count.version + queues_[1].count.version - 2;
}

} // namespace Halyx::Writer
