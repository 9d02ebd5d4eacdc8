#pragma once

#include "soak/Journal.h"

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace Soak {

/// What one incarnation held at some step.
struct Life {
    struct Element {
        std::uint64_t version = 0; ///< 0: not there
        std::uint32_t slot = 0;
        std::uint32_t bucket = 0;
    };

    std::vector<Element> elements; ///< by key
    std::uint32_t occupied = 0;
    std::uint64_t begin = 0;   ///< its event
    std::uint64_t publish = 0; ///< its event, 0 until then
    std::uint64_t last = 0;    ///< the last step that is part of this
    std::uint32_t process = 0;
    std::uint32_t slots = 0;
    std::uint32_t buckets = 0;
    std::uint64_t doubtful =
        0; ///< the step in which its writer was killed: nobody knows whether it can be seen; 0: none

    void apply(std::uint64_t number, const Event& event);
    /// The number of the notification that belongs to a step of this life, counted from 1; 0: none does.
    [[nodiscard]] std::uint64_t notificationOf(std::uint64_t step) const;
    /// The other way round.
    [[nodiscard]] std::uint64_t stepOf(std::uint64_t notification) const;
};

/// One incarnation that a run of the tool can have met: what it held when the run began (or when it was put in place, if that
/// was later), and the steps that it may have seen besides.
struct View {
    const Life* life = nullptr;
    std::uint64_t from = 0; ///< every step up to this one must have been seen
    std::uint64_t to = 0;   ///< no later step can have been seen
    bool alone = false;     ///< no other incarnation can have been met
    std::uint32_t mostSlots = 0;
    std::uint32_t mostBuckets = 0;

    /// The last notification that a reader must have seen, and the last that it can have seen.
    [[nodiscard]] std::uint64_t leastNotification() const { return life->notificationOf(life->last); }
    [[nodiscard]] std::uint64_t mostNotification() const {
        return to > from ? life->notificationOf(to) : leastNotification() + (life->doubtful != 0 ? 1 : 0);
    }
};

/// Follows the journal.
class History {
public:
    History(const Journal& journal, std::uint32_t keys);

    /// Takes all that was done so far, and remembers it as the beginning of a run.
    void beginRun();
    /// What the run can have met. Waits until the steps that were under way are finished. Good until beginRun().
    [[nodiscard]] const std::vector<View>& endRun();

    [[nodiscard]] const Journal& journal() const { return *journal_; }
    [[nodiscard]] std::uint64_t from() const { return taken_; }
    [[nodiscard]] std::uint64_t to() const { return to_; }

    /// A key's part of the journal, for a person: what it was in this view, and the steps that may be seen besides.
    [[nodiscard]] std::string describe(const View& view, std::uint32_t key) const;

private:
    struct Lives {
        std::vector<Life> visible; ///< more than one when a writer was killed while it put its own in place
        Life pending;              ///< what is being made
        bool making = false;
    };

    void apply(Lives& lives, std::uint64_t number) const;

    const Journal* journal_;
    std::uint32_t keys_;
    Lives now_;
    std::uint64_t taken_ = 0;
    std::uint64_t to_ = 0;
    std::deque<Life> published_; ///< during the run
    std::vector<View> views_;
};

std::string describe(std::uint64_t number, const Event& event);

} // namespace Soak
