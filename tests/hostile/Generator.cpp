#include "hostile/Generator.h"

namespace Hostile {

namespace {

/// The seed of one random case: neighbouring indices must have nothing in common.
std::uint64_t mixed(std::uint64_t seed, std::uint64_t index) {
    std::uint64_t z = seed + 0x9e3779b97f4a7c15U * (index + 1);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
    return z ^ (z >> 31);
}

} // namespace

Generator::Generator(std::uint64_t seed) : seed_(seed) {
    addHeaderGroups(groups_);
    addContentGroups(groups_);
    addFileGroups(groups_);
    addDirectoryGroups(groups_);
    for (const Group& group : groups_) {
        systematic_ += group.count;
    }
}

Case Generator::make(std::uint64_t index, const Fixtures::ScratchRoot& root) const {
    Case made;
    made.index = index;
    std::uint64_t rest = index;
    for (const Group& group : groups_) {
        if (rest < group.count) {
            made.category = group.category;
            group.make(static_cast<std::size_t>(rest), root, made);
            return made;
        }
        rest -= group.count;
    }
    made.category = "random";
    makeRandom(mixed(seed_, index), root, made);
    return made;
}

} // namespace Hostile
