#pragma once

#include "soak/Journal.h"
#include "soak/Plan.h"
#include "writer/Collection.h"

#include <memory>
#include <random>
#include <vector>

namespace Soak {

/// One writer's life: makes the collection with the elements that the journal says are there, publishes it, and changes it as
/// fast as it can, each step noted in the journal. Where an element lies is worked out here a second time: slots are taken from
/// a stack of free ones, and a new element's bucket is its key's hash by the number of buckets.
class Incarnation {
public:
    Incarnation(Journal& journal, const Plan& plan, std::uint32_t seed);

    /// Until the journal says that this writer is to leave, or all of them are to stop.
    void run();

private:
    struct Place {
        std::uint32_t slot = 0;
        std::uint32_t bucket = 0;
    };

    void load();
    void step(std::uint32_t key);
    Event& begin(Event::Kind kind, std::uint32_t key, std::uint64_t version, Place place);
    void end();
    void store(std::uint32_t key, std::uint64_t version, bool there);
    void noteSizes();
    void noteCounts();
    [[nodiscard]] std::uint64_t next() const { return number_ + 1; }

    Journal* journal_;
    Journal::Counts* counts_;
    Plan plan_;
    std::mt19937 random_;
    std::uint64_t number_; ///< of the last step
    std::unique_ptr<Halyx::Writer::Collection> collection_;
    std::vector<Place> places_;
    std::vector<std::uint32_t> free_; ///< the next one at the end
    std::uint32_t slots_ = 0;
    std::uint32_t buckets_ = 0;
    Halyx::Writer::Stats noted_;
};

} // namespace Soak
