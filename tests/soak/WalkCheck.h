#pragma once

#include "fixtures/Process.h"
#include "soak/Faults.h"
#include "soak/History.h"
#include "soak/WalkText.h"

#include <string>
#include <vector>

namespace Soak {

/// Holds every element that a walk printed against what one incarnation held: it must have been there, like that and in that place,
/// at some moment of the run; once for each time that it was inserted; and none may be missing that was there all the
/// time.
class WalkCheck {
public:
    WalkCheck(const History& history, const View& view, const WalkText& text, const std::string& output);

    /// `emptyBuckets`: whether every bucket has a line. `cut`: whether the walk ended behind the last line, so that nothing is
    /// missing behind that.
    void run(bool emptyBuckets, bool cut, Faults& faults);

private:
    /// Where and when an element was as it was printed.
    struct Match {
        bool found = false;
        std::uint32_t insertion = 0; ///< 0: it was there before the run; n: the n-th insertion of this key during it
        std::uint32_t slot = 0;
        std::uint32_t bucket = 0;
        bool replacing = false; ///< its replacement was under way during the run
    };

    [[nodiscard]] Match match(const WalkText::Element& element) const;
    void checkElement(const WalkText::Element& element, bool counts, Faults& faults);
    void checkLines(bool emptyBuckets, bool cut, Faults& faults) const;
    void checkMissing(bool cut, Faults& faults) const;
    [[nodiscard]] std::string shown(const WalkText::Element& element) const;

    template <typename Visit>
    void forSteps(std::uint32_t key, Visit visit) const {
        for (std::uint32_t step = first_[key]; step != kNone; step = steps_[step].next) {
            visit(history_->journal().at(steps_[step].number));
        }
    }

    static constexpr std::uint32_t kNone = 0xffffffff;
    struct Step {
        std::uint64_t number;
        std::uint32_t next; ///< of the same key
    };

    const History* history_;
    const View* view_;
    const WalkText* text_;
    const std::string* output_;
    std::vector<Step> steps_;
    std::vector<std::uint32_t> first_;    ///< by key
    std::vector<char> seen_;              ///< by key: what was there before the run was printed, or cannot be told
    std::vector<std::uint64_t> inserted_; ///< key and insertion of what was printed besides
};

/// Whether a walk of the collection at `path` ended, and said so, because a slab file that its writer had made meanwhile had gone
/// with the incarnation before it was opened.
bool endedForGoneSlab(const Fixtures::Outcome& outcome, const std::string& path);

} // namespace Soak
