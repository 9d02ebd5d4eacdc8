#include "soak/QueueCheck.h"

namespace Soak {

using Queue = Fixtures::QueueOutput::Queue;
using Record = Fixtures::QueueOutput::Record;

std::string QueueCheck::shown(const Queue& queue, const Record& record) const {
    return std::string(queue.primary ? "primary" : "secondary") + (queue.active ? " active" : " backup") + " pos " +
           std::to_string(record.position) + " of " + std::to_string(queue.currentPos) + " valid, slot " +
           (record.slot ? std::to_string(*record.slot) : "none") + " sequence " + std::to_string(record.sequence) +
           ", of " + std::to_string(view_->leastNotification()) + " to " + std::to_string(view_->mostNotification());
}

void QueueCheck::checkQueue(const Queue& queue, bool validOnly, Faults& faults) const {
    const std::uint64_t most = view_->mostNotification();
    const std::size_t records = validOnly ? queue.currentPos : queue.count;
    if (queue.count < plan_->notifications || queue.count > plan_->mostNotifications ||
        queue.currentPos > queue.count) {
        faults.add(Fault::Failed, "a queue of " + std::to_string(queue.count) + " with " +
                                      std::to_string(queue.currentPos) + " valid records");
    }
    if (queue.records.size() != records) {
        faults.add(queue.records.size() < records ? Fault::Missing : Fault::Invented,
                   std::to_string(queue.records.size()) + " records of " + std::to_string(records));
    }
    std::uint32_t position = 0;
    for (const Record& record : queue.records) {
        if (record.position != position++) {
            faults.add(record.position < position ? Fault::Duplicated : Fault::Missing,
                       "pos " + std::to_string(position - 1) + " was due: " + shown(queue, record));
            position = record.position + 1;
        }
        if (record.position == queue.currentPos) {
            continue; // the writer may be in the middle of it
        }
        const bool valid = record.position < queue.currentPos;
        if (!valid && record.sequence == 0 && !record.slot) {
            continue;
        }
        if (record.sequence == 0 || record.sequence > most) {
            faults.add(Fault::Invented, shown(queue, record));
            continue;
        }
        if (valid && record.sequence != queue.records[0].sequence - queue.records[0].position + record.position) {
            faults.add(Fault::Misplaced, "not in order: " + shown(queue, record));
        }
        const std::uint64_t step = view_->life->stepOf(record.sequence);
        const Event event = history_->journal().at(step);
        if (history_->journal().counts().begun.load(std::memory_order_acquire) >= step + Journal::kCapacity - 1) {
            ++faults.unverifiable;
        } else if (!record.slot || *record.slot != event.slot) {
            faults.add(Fault::Torn, shown(queue, record) + "\n  " + describe(step, event));
        }
    }
}

void QueueCheck::checkNewest(std::uint64_t newest, Faults& faults) const {
    if (newest < view_->leastNotification()) {
        faults.add(Fault::Missing, "the newest notification is " + std::to_string(newest) + ", " +
                                       std::to_string(view_->leastNotification()) + " was there before");
    } else if (newest > view_->mostNotification()) {
        faults.add(Fault::Invented, "the newest notification is " + std::to_string(newest) + ", " +
                                        std::to_string(view_->mostNotification()) + " was the last");
    }
}

void QueueCheck::checkPair(const Queue& active, const Queue& backup, Faults& faults) const {
    // A queue gives way when it cannot grow any more. It is empty before its first use, and in the moment between being
    // emptied and becoming the active one.
    if (backup.currentPos != 0 && backup.currentPos != plan_->mostNotifications) {
        faults.add(Fault::Missing, "the backup has " + std::to_string(backup.currentPos) + " valid records");
    }
    if (backup.currentPos > backup.records.size() || active.currentPos > active.records.size()) {
        return; // said before
    }
    if (active.currentPos != 0 && backup.currentPos != 0 &&
        backup.records[backup.currentPos - 1].sequence + 1 != active.records[0].sequence) {
        faults.add(Fault::Missing, "between the two queues: " + shown(backup, backup.records[backup.currentPos - 1]) +
                                       " and " + shown(active, active.records[0]));
    }
    const Queue& newest = active.currentPos != 0 ? active : backup;
    checkNewest(newest.currentPos != 0 ? newest.records[newest.currentPos - 1].sequence : 0, faults);
}

void QueueCheck::run(const Fixtures::QueueOutput& output, bool validOnly, Faults& faults) const {
    if (!output.strange.empty() || output.queues.size() != (validOnly ? 1U : 2U)) {
        faults.add(Fault::Failed,
                   "a strange line, or " + std::to_string(output.queues.size()) + " queues: " + output.strange);
        return;
    }
    for (const Queue& queue : output.queues) {
        checkQueue(queue, validOnly, faults);
    }
    if (validOnly) {
        const Queue& queue = output.queues[0];
        if (!queue.active) {
            faults.add(Fault::Failed, "the backup is called valid");
        }
        if (!queue.records.empty()) {
            checkNewest(queue.records.back().sequence, faults);
        }
        return;
    }
    if (output.queues[0].active == output.queues[1].active || !output.queues[0].primary || output.queues[1].primary) {
        faults.add(Fault::Failed, "two queues of one kind");
        return;
    }
    const unsigned active = output.queues[0].active ? 0 : 1;
    checkPair(output.queues[active], output.queues[1 - active], faults);
}

} // namespace Soak
