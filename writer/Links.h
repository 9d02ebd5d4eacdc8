#pragma once

#include "Halyx/SlotLink.h"
#include "Mem/View.h"

#include <cstddef>
#include <cstdint>

namespace Halyx::Writer {

/// Where a link is stored: a bucket's entry or a slot's next. Borrows the view, which outlives it and follows its file's
/// growth.
struct LinkPlace {
    const Mem::MutableView* view = nullptr;
    std::size_t offset = 0;

    [[nodiscard]] SlotLink load() const { return SlotLink::fromWord(view->word64(offset)); }

    /// W1 of docs/protocol.md. Stores a link to `index` as one word, release, with the tag that follows this link's own last one. A tag is never reset,
    /// not by reuse of the slot either: a reader that follows a link and finds its tag unchanged afterwards must be sure that
    /// the link was not rewritten in between (the slot would be another element's by then).
    void publish(std::int32_t index) const {
        const SlotLink last = load();
        view->publish64(offset, SlotLink{last.tag + 1, index}.word());
    }
};

} // namespace Halyx::Writer
