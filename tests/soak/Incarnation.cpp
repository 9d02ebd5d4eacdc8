#include "soak/Incarnation.h"

#include "fixtures/Bytes.h"
#include "soak/Value.h"

#include <algorithm>
#include <cstring>
#include <unistd.h>

namespace Soak {

namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;
constexpr useconds_t kWaitMicroseconds = 200;

Halyx::Writer::Options optionsOf(const Plan& plan) {
    Halyx::Writer::Options options;
    options.valueType = typeName(plan.dynamic);
    options.classType = "Soak";
    options.valueSize = plan.dynamic ? kMostBytes : kStaticBytes;
    options.dynamic = plan.dynamic;
    options.buckets = plan.growFrom;
    options.growBuckets = plan.growBuckets;
    options.slots = plan.growFrom;
    options.slabEntries = plan.growFrom;
    options.conquer = plan.conquer;
    options.notifications = plan.notifications;
    options.maxNotifications = plan.mostNotifications;
    options.keyOf = keyOf;
    return options;
}

} // namespace

Incarnation::Incarnation(Journal& journal, const Plan& plan, std::uint32_t seed)
    : journal_(&journal), counts_(&journal.counts()), plan_(plan), random_(seed),
      number_(counts_->begun.load(kRelaxed)), places_(plan.keys) {
    const std::uint64_t killedAt = number_ > counts_->done.load(kRelaxed) ? number_ : 0;
    begin(Event::Begin, 0, killedAt, {});
    end();
    collection_ = std::make_unique<Halyx::Writer::Collection>(plan_.collection, optionsOf(plan_));
    noteSizes();
    load();
}

Event& Incarnation::begin(Event::Kind kind, std::uint32_t key, std::uint64_t version, Place place) {
    if (!journal_->hasRoom(next())) {
        counts_->waits.fetch_add(1, kRelaxed);
        while (!journal_->hasRoom(next())) {
            ::usleep(kWaitMicroseconds);
        }
    }
    Event& event = journal_->at(++number_);
    event = {version, key, place.slot, place.bucket, kind, 0, 0};
    counts_->begun.store(number_, std::memory_order_release);
    return event;
}

void Incarnation::end() {
    counts_->done.store(number_, std::memory_order_release);
}

/// Free slots are handed out upwards when they are new, and the last freed first.
void Incarnation::noteSizes() {
    const Halyx::Writer::Stats stats = collection_->stats();
    for (std::uint32_t slot = stats.slots; slot > slots_; --slot) {
        free_.push_back(slot - 1);
    }
    slots_ = stats.slots;
    buckets_ = stats.buckets;
}

void Incarnation::noteCounts() {
    const Halyx::Writer::Stats now = collection_->stats();
    const auto growths = [](const Halyx::Writer::Stats& stats) {
        return stats.slotGrowths + stats.bucketGrowths + stats.queueGrowths;
    };
    counts_->growths.fetch_add(growths(now) - growths(noted_), kRelaxed);
    counts_->slabGrowths.fetch_add(now.slabGrowths - noted_.slabGrowths, kRelaxed);
    counts_->switches.fetch_add(now.queueSwitches - noted_.queueSwitches, kRelaxed);
    noted_ = now;
}

void Incarnation::store(std::uint32_t key, std::uint64_t version, bool there) {
    char bytes[kMostBytes];
    const std::string_view value = makeValue(bytes, key, version, plan_.dynamic);
    if (there) {
        begin(Event::Replace, key, version, places_[key]);
        collection_->put(keyOf(value), value);
        end();
        return;
    }
    const std::uint32_t slot = free_.empty() ? slots_ : free_.back();
    Event& event = begin(Event::Insert, key, version, {slot, kUnknown});
    collection_->put(keyOf(value), value);
    noteSizes();
    free_.pop_back();
    places_[key] = {slot, Fixtures::fnv1a(std::string(keyOf(value))) % buckets_};
    event.bucket = places_[key].bucket;
    event.slots = slots_;
    event.buckets = buckets_;
    end();
}

void Incarnation::load() {
    for (std::uint32_t key = 0; key < plan_.keys; ++key) {
        if (const std::uint64_t version = journal_->last(key)) {
            store(key, version, false);
        }
    }
    const std::uint64_t begun = next();
    Event& event = begin(Event::Publish, static_cast<std::uint32_t>(::getpid()), begun, {});
    event.slots = slots_;
    event.buckets = buckets_;
    collection_->publish();
    counts_->incarnations.fetch_add(1, kRelaxed);
    end();
    // Unless it has been told to end already.
    std::uint32_t coming = Journal::kComing;
    counts_->living.compare_exchange_strong(coming, static_cast<std::uint32_t>(::getpid()));
}

void Incarnation::step(std::uint32_t key) {
    std::uint64_t& last = journal_->last(key);
    if (last != 0 && (random_() & 255) < plan_.erases) {
        begin(Event::Erase, key, last, places_[key]);
        char bytes[sizeof(std::uint64_t)];
        const std::uint64_t wide = key;
        std::memcpy(bytes, &wide, sizeof bytes);
        collection_->erase({bytes, sizeof bytes});
        free_.push_back(places_[key].slot);
        last = 0;
        end();
        return;
    }
    const std::uint64_t version = next();
    store(key, version, last != 0);
    last = version;
}

void Incarnation::run() {
    constexpr std::uint32_t kBetweenCounts = 256;
    std::uint32_t burst = 1;
    for (std::uint64_t steps = 0; counts_->leave.load(kRelaxed) == 0 && counts_->stop.load(kRelaxed) == 0; ++steps) {
        const std::uint64_t inPlay = plan_.grow == 0 ? plan_.keys : 4 + steps / plan_.grow;
        step(static_cast<std::uint32_t>(random_() % std::min<std::uint64_t>(inPlay, plan_.keys)));
        if (steps % kBetweenCounts == 0) {
            noteCounts();
        }
        if (plan_.longestBurst != 0 && --burst == 0) {
            burst = 1 + static_cast<std::uint32_t>(random_() % plan_.longestBurst);
            ::usleep(static_cast<useconds_t>(random_() % plan_.longestPause));
        }
    }
    noteCounts();
    collection_->close();
}

} // namespace Soak
