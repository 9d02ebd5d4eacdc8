#pragma once

#include "soak/Value.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Soak {

/// What a walk printed, taken apart and held against the bytes that a value of each key and version has.
struct WalkText {
    struct Element {
        std::uint64_t key = 0;
        std::uint64_t version = 0;
        std::uint32_t bucket = 0;
        std::uint32_t slot = 0;
        bool lookaside = false;
        bool torn = false;  ///< the text is not the one of that key and version
        std::size_t at = 0; ///< where it stands
    };
    /// A bucket's line.
    struct Line {
        std::uint32_t bucket = 0;
        bool broken = false; ///< its elements could not be told apart to the end
    };

    std::vector<Element> elements;
    std::vector<Line> lines;
    std::vector<std::string> corruptions; ///< whole lines
    std::vector<std::string> strange;     ///< lines that have no business there
    unsigned resizes = 0;                 ///< what stood above the last "Resize detected" is in `abandoned`
    std::vector<Element> abandoned;
    long long lookasideHits = -1; ///< as printed, -1 when missing
    long long chainRestarts = -1;

    /// Keeps the memory of what was parsed before.
    void parse(std::string_view text, Style style, bool dynamic);

private:
    bool parseBucket(std::string_view line, std::size_t at, Style style, bool dynamic);
    std::string expected_;
};

} // namespace Soak
