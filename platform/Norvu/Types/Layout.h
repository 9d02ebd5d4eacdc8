#pragma once

#include "Norvu/Types/Model.h"

namespace Norvu::Types {

/// Where a member is: bytes from its structure's begin, and for a bit-field the bits from there, the low ones first.
struct Place {
    std::uint64_t offset = 0;
    std::uint32_t bit = 0;
};

/// Sizes, alignments and places of a description's types by the rules of one Abi.
class Layout {
public:
    /// Lays out the value and everything in it. Throws DescriptionError for a type that is not known, or too large, and for a
    /// comment that says another place or size.
    Layout(const Declarations& declarations, Abi abi);

    [[nodiscard]] std::uint64_t sizeOf(TypeId id) const { return types_[id].size; }
    [[nodiscard]] const std::vector<Place>& placesOf(TypeId id) const { return types_[id].places; }

private:
    struct Laid {
        enum class State : std::uint8_t { Not, Begun, Done } state = State::Not;
        std::uint64_t size = 0;
        std::uint64_t dataEnd = 0; ///< where the last member ends: a derived class may begin there
        std::uint32_t align = 1;
        unsigned height = 0; ///< types that are inside of each other in it
        std::vector<Place> places;
    };

    void layOut(TypeId id, unsigned line, unsigned depth);
    void layOutStructure(TypeId id, unsigned depth);
    bool layOutUnknown(const Member& member);
    void checkClaims(TypeId id, std::uint64_t base, unsigned depth) const;

    const Declarations& declarations_;
    unsigned abi_;
    std::vector<Laid> types_;
};

} // namespace Norvu::Types
