#pragma once

#include "hostile/Case.h"

namespace Hostile {

/// Every case there is: the systematic ones first, then as many random ones as one cares to ask for.
class Generator {
public:
    explicit Generator(std::uint64_t seed);

    [[nodiscard]] std::uint64_t systematicCases() const { return systematic_; }
    /// Builds the case below an empty root.
    [[nodiscard]] Case make(std::uint64_t index, const Fixtures::ScratchRoot& root) const;

private:
    std::uint64_t seed_;
    std::vector<Group> groups_;
    std::uint64_t systematic_ = 0;
};

// The systematic groups, by what they break.
void addHeaderGroups(std::vector<Group>& groups);    ///< bytes, words and lengths of every file
void addContentGroups(std::vector<Group>& groups);   ///< links, payloads, slab offsets, names
void addFileGroups(std::vector<Group>& groups);      ///< what stands in place of a file, and sparse files
void addDirectoryGroups(std::vector<Group>& groups); ///< where collections lie and how they are called

/// One random case.
void makeRandom(std::uint64_t seed, const Fixtures::ScratchRoot& root, Case& made);

} // namespace Hostile
