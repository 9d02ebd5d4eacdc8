#include "soak/History.h"

#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace Soak {

namespace {

constexpr useconds_t kWaitMicroseconds = 100;
constexpr unsigned kMostWaits = 600000; ///< a minute

} // namespace

void Life::apply(std::uint64_t number, const Event& event) {
    last = number;
    slots = event.slots != 0 ? event.slots : slots;
    buckets = event.buckets != 0 ? event.buckets : buckets;
    switch (event.kind) {
    case Event::Insert:
        ++occupied;
        elements[event.key] = {event.version, event.slot, event.bucket};
        break;
    case Event::Replace:
        elements[event.key].version = event.version;
        break;
    case Event::Erase:
        --occupied;
        elements[event.key] = {};
        break;
    case Event::Begin:
    case Event::Publish:
        break;
    }
}

std::uint64_t Life::notificationOf(std::uint64_t step) const {
    // Every step but the putting in place appends one.
    return step - begin - (publish != 0 && step >= publish ? 1 : 0);
}

std::uint64_t Life::stepOf(std::uint64_t notification) const {
    const std::uint64_t step = begin + notification;
    return publish != 0 && step >= publish ? step + 1 : step;
}

History::History(const Journal& journal, std::uint32_t keys) : journal_(&journal), keys_(keys) {}

void History::apply(Lives& lives, std::uint64_t number) const {
    const Event& event = journal_->at(number);
    if (event.kind == Event::Begin) {
        if (event.version != 0 && lives.making && lives.pending.publish != 0) {
            // Killed while it was put in place: either may be there.
            lives.visible.push_back(lives.pending);
        }
        lives.making = true;
        lives.pending = Life{};
        lives.pending.elements.resize(keys_);
        lives.pending.begin = number;
        return;
    }
    // Whether the step is finished, or was the last one of a writer that was killed.
    const bool last = number + 1 <= journal_->counts().done.load(std::memory_order_acquire) &&
                      journal_->at(number + 1).kind == Event::Begin && journal_->at(number + 1).version == number;
    if (event.kind == Event::Publish) {
        lives.pending.apply(number, event);
        lives.pending.publish = number;
        lives.pending.process = event.key;
        if (!last) {
            lives.visible.clear();
            lives.visible.push_back(std::move(lives.pending));
            lives.making = false;
        }
    } else if (lives.making) {
        lives.pending.apply(number, event);
    } else if (last) {
        lives.visible.back().doubtful = number;
    } else {
        lives.visible.back().apply(number, event);
    }
}

void History::beginRun() {
    Journal::Counts& counts = journal_->counts();
    const std::uint64_t done = counts.done.load(std::memory_order_acquire);
    while (taken_ < done) {
        apply(now_, ++taken_);
    }
    counts.taken.store(taken_, std::memory_order_release);
    to_ = taken_;
}

const std::vector<View>& History::endRun() {
    Journal::Counts& counts = journal_->counts();
    to_ = counts.begun.load(std::memory_order_acquire);
    // What a killed writer had begun counts as done once the next one has begun; the last writer is not killed.
    for (unsigned waits = 0; counts.done.load(std::memory_order_acquire) < to_ && counts.failed.load() == 0; ++waits) {
        if (waits == kMostWaits) {
            std::snprintf(counts.failure, sizeof counts.failure, "stands still in step %llu",
                          static_cast<unsigned long long>(to_));
            counts.failed.store(1);
        }
        ::usleep(kWaitMicroseconds);
    }
    views_.clear();
    published_.clear();
    const auto view = [this](const Life& life, std::uint64_t from, std::uint64_t to) {
        // What a writer was killed in may have been the last growth.
        const std::uint32_t grown = life.doubtful != 0 ? 2 : 1;
        views_.push_back({&life, from, to, false, life.slots * grown + 16 * (grown - 1), life.buckets * grown});
    };
    for (const Life& life : now_.visible) {
        view(life, taken_, taken_);
    }
    bool writing = !now_.making; // the last view's incarnation
    Lives made;
    made.making = now_.making;
    made.pending = now_.making ? now_.pending : Life{};
    for (std::uint64_t number = taken_ + 1; number <= to_; ++number) {
        const Event& event = journal_->at(number);
        if (event.kind == Event::Begin) {
            writing = false;
            made.making = true;
            made.pending = Life{};
            made.pending.elements.resize(keys_);
            made.pending.begin = number;
        } else if (event.kind == Event::Publish) {
            made.pending.apply(number, event);
            made.pending.publish = number;
            made.pending.process = event.key;
            published_.push_back(std::move(made.pending));
            made.making = false;
            view(published_.back(), number, number);
            writing = true;
        } else if (writing) {
            views_.back().to = number;
            if (event.kind == Event::Insert) {
                // A killed writer's last one does not say.
                View& last = views_.back();
                last.mostSlots = event.slots != 0 ? event.slots : 2 * last.mostSlots + 16;
                last.mostBuckets = event.buckets != 0 ? event.buckets : 2 * last.mostBuckets;
            }
        } else {
            made.pending.apply(number, event);
        }
    }
    if (views_.size() == 1) {
        views_[0].alone = true;
    }
    return views_;
}

std::string describe(std::uint64_t number, const Event& event) {
    static constexpr const char* names[] = {"insert", "replace", "erase", "begin", "publish"};
    char text[160];
    std::snprintf(text, sizeof text, "%llu %s key %u version %llu slot %x bucket %x",
                  static_cast<unsigned long long>(number), names[event.kind], event.key,
                  static_cast<unsigned long long>(event.version), event.slot, event.bucket);
    return text;
}

std::string History::describe(const View& view, std::uint32_t key) const {
    std::string text = "  steps " + std::to_string(view.from) + " to " + std::to_string(view.to) +
                       " of the incarnation of " + std::to_string(view.life->begin) + ", of process " +
                       std::to_string(view.life->process) + "\n";
    if (key >= view.life->elements.size()) {
        return text + "  there is no such key\n";
    }
    const Life::Element& element = view.life->elements[key];
    char there[120];
    std::snprintf(there, sizeof there, "version %llu slot %x bucket %x",
                  static_cast<unsigned long long>(element.version), element.slot, element.bucket);
    text += std::string("  before: ") + (element.version == 0 ? "not there" : there) + "\n";
    unsigned shown = 0;
    const auto show = [&](std::uint64_t number) {
        if (journal_->at(number).key == key && shown++ < 40) {
            text += "  " + Soak::describe(number, journal_->at(number)) + "\n";
        }
    };
    if (view.life->doubtful != 0) {
        show(view.life->doubtful);
    }
    for (std::uint64_t number = view.from + 1; number <= view.to; ++number) {
        show(number);
    }
    return text;
}

} // namespace Soak
