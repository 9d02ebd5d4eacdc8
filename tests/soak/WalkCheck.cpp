#include "soak/WalkCheck.h"

#include "fixtures/GoneSlab.h"

#include <algorithm>
#include <cstdio>

namespace Soak {

WalkCheck::WalkCheck(const History& history, const View& view, const WalkText& text, const std::string& output)
    : history_(&history), view_(&view), text_(&text), output_(&output), first_(view.life->elements.size(), kNone),
      seen_(view.life->elements.size(), 0) {
    std::vector<std::uint32_t> last(first_.size(), kNone);
    const auto add = [&](std::uint64_t number) {
        const std::uint32_t key = history.journal().at(number).key;
        const auto step = static_cast<std::uint32_t>(steps_.size());
        steps_.push_back({number, kNone});
        (last[key] == kNone ? first_[key] : steps_[last[key]].next) = step;
        last[key] = step;
    };
    if (view.life->doubtful != 0) {
        add(view.life->doubtful);
    }
    for (std::uint64_t number = view.from + 1; number <= view.to; ++number) {
        if (history.journal().at(number).kind <= Event::Erase) {
            add(number);
        }
    }
}

WalkCheck::Match WalkCheck::match(const WalkText::Element& element) const {
    const auto key = static_cast<std::uint32_t>(element.key);
    const Life::Element& before = view_->life->elements[key];
    Match match{before.version != 0 && before.version == element.version, 0, before.slot, before.bucket, false};
    std::uint32_t insertion = 0;
    forSteps(key, [&](const Event& event) {
        insertion += event.kind == Event::Insert ? 1 : 0;
        if (event.kind != Event::Erase && event.version == element.version) {
            match = {true, insertion, event.slot, event.bucket, event.kind == Event::Replace};
        }
    });
    return match;
}

std::string WalkCheck::shown(const WalkText::Element& element) const {
    char where[160];
    std::snprintf(where, sizeof where, "key %llu version %llu%s, in bucket %x slot %x, at byte %zu: ",
                  static_cast<unsigned long long>(element.key), static_cast<unsigned long long>(element.version),
                  element.lookaside ? " (lookaside)" : "", element.bucket, element.slot, element.at);
    return where +
           output_->substr(element.at, std::min(output_->find('\n', element.at) - element.at, std::size_t{1200})) +
           "\n" + history_->describe(*view_, static_cast<std::uint32_t>(std::min<std::uint64_t>(element.key, kNone)));
}

void WalkCheck::checkElement(const WalkText::Element& element, bool counts, Faults& faults) {
    const bool known = element.key < first_.size();
    if (element.torn) {
        faults.add(Fault::Torn, shown(element));
        if (known) {
            seen_[static_cast<std::size_t>(element.key)] = 1; // as good as printed: one fault is enough
        }
        return;
    }
    const Match match = known ? this->match(element) : Match{};
    if (!match.found) {
        faults.add(Fault::Invented, shown(element));
        return;
    }
    if (match.slot != element.slot || (match.bucket != kUnknown && match.bucket != element.bucket)) {
        faults.add(Fault::Misplaced, shown(element));
    } else if (element.lookaside && !match.replacing) {
        faults.add(Fault::Misplaced, "taken from the lookaside value without need: " + shown(element));
    }
    if (!counts) {
        return;
    }
    if (match.insertion != 0) {
        inserted_.push_back(element.key << 32 | match.insertion);
    } else if (seen_[static_cast<std::size_t>(element.key)]++ != 0) {
        faults.add(Fault::Duplicated, shown(element));
        seen_[static_cast<std::size_t>(element.key)] = 1;
    }
}

void WalkCheck::checkLines(bool emptyBuckets, bool cut, Faults& faults) const {
    std::uint64_t next = 0;
    for (const WalkText::Line& line : text_->lines) {
        if (line.bucket < next || (emptyBuckets && line.bucket != next)) {
            faults.add(line.bucket < next ? Fault::Duplicated : Fault::Missing,
                       "bucket " + std::to_string(line.bucket) + " where " + std::to_string(next) + " was due");
        }
        next = std::uint64_t{line.bucket} + 1;
    }
    if (next > view_->mostBuckets || (emptyBuckets && !cut && next < view_->life->buckets)) {
        faults.add(next > view_->mostBuckets ? Fault::Invented : Fault::Missing,
                   std::to_string(next) + " buckets, there were " + std::to_string(view_->life->buckets) + " to " +
                       std::to_string(view_->mostBuckets));
    }
}

void WalkCheck::checkMissing(bool cut, Faults& faults) const {
    const std::uint64_t end = !cut                   ? std::uint64_t{kNone} + 1
                              : text_->lines.empty() ? 0
                                                     : std::uint64_t{text_->lines.back().bucket} + 1;
    std::vector<std::uint32_t> broken;
    for (const WalkText::Line& line : text_->lines) {
        if (line.broken) {
            broken.push_back(line.bucket);
        }
    }
    for (std::uint32_t key = 0; key < first_.size(); ++key) {
        const Life::Element& before = view_->life->elements[key];
        if (before.version == 0 || seen_[key] != 0 || before.bucket >= end) {
            continue;
        }
        bool stayed = true;
        forSteps(key, [&](const Event& event) { stayed = stayed && event.kind == Event::Replace; });
        if (stayed && !std::binary_search(broken.begin(), broken.end(), before.bucket)) {
            faults.add(Fault::Missing, "key " + std::to_string(key) + "\n" + history_->describe(*view_, key));
        }
    }
}

void WalkCheck::run(bool emptyBuckets, bool cut, Faults& faults) {
    for (const std::string& line : text_->corruptions) {
        faults.add(Fault::FalseCorruption, line);
    }
    for (const std::string& line : text_->strange) {
        faults.add(Fault::Failed, "a strange line: " + line);
    }
    long long lookaside = 0;
    for (const WalkText::Element& element : text_->elements) {
        checkElement(element, true, faults);
        lookaside += element.lookaside ? 1 : 0;
    }
    for (const WalkText::Element& element : text_->abandoned) {
        checkElement(element, false, faults);
    }
    std::sort(inserted_.begin(), inserted_.end());
    for (auto twice = std::adjacent_find(inserted_.begin(), inserted_.end()); twice != inserted_.end();
         twice = std::adjacent_find(twice + 1, inserted_.end())) {
        const auto key = static_cast<std::uint32_t>(*twice >> 32);
        faults.add(Fault::Duplicated,
                   "key " + std::to_string(key) + ", inserted during the run\n" + history_->describe(*view_, key));
    }
    checkLines(emptyBuckets, cut, faults);
    checkMissing(cut, faults);
    if (cut) {
        if (text_->lookasideHits >= 0 || text_->chainRestarts >= 0) {
            faults.add(Fault::Failed, "the statistics of a walk that did not end");
        }
    } else if (text_->lookasideHits < lookaside || text_->chainRestarts < 0) {
        faults.add(Fault::Failed, "the statistics are missing, or tell of too few lookaside hits: " +
                                      std::to_string(text_->lookasideHits) + " of " + std::to_string(lookaside));
    }
}

bool endedForGoneSlab(const Fixtures::Outcome& outcome, const std::string& path) {
    const std::string begin = "halyx: ";
    return outcome.clean() && outcome.status == 1 && outcome.err.rfind(begin, 0) == 0 && outcome.err.back() == '\n' &&
           Fixtures::tellsOfGoneSlab(outcome.err.substr(begin.size(), outcome.err.size() - begin.size() - 1), path);
}

} // namespace Soak
