#include "Norvu/Types/Layout.h"

#include <algorithm>

namespace Norvu::Types {

namespace {

constexpr std::uint64_t kMostBytes = 0xffffffff;
constexpr unsigned kMostDepth = 64;

std::uint64_t roundUp(std::uint64_t value, std::uint64_t to) {
    return (value + to - 1) / to * to;
}

std::string placeText(std::uint64_t bits, bool isBitField) {
    return std::to_string(bits / 8) + (isBitField ? ":" + std::to_string(bits % 8) : "");
}

} // namespace

Layout::Layout(const Declarations& declarations, Abi abi)
    : declarations_(declarations), abi_(static_cast<unsigned>(abi)), types_(declarations.types.size()) {
    layOut(declarations.value, declarations.at(declarations.value).line, 0);
    for (TypeId id = 0; id < types_.size(); ++id) {
        const Type& type = declarations.at(id);
        if (types_[id].state == Laid::State::Done && type.complete && !type.inlined) {
            checkClaims(id, 0, 0);
        }
    }
}

void Layout::layOut(TypeId id, unsigned line, unsigned depth) {
    Laid& laid = types_[id];
    const Type& type = declarations_.at(id);
    if (laid.state == Laid::State::Begun) {
        throw DescriptionError(line, "'" + type.name + "' contains itself");
    }
    // What is laid out already counts with all that is in it: it may have been met nearer to the value than here.
    if (depth + laid.height > kMostDepth) {
        throw DescriptionError(line, "nested more than " + std::to_string(kMostDepth) + " deep");
    }
    if (laid.state == Laid::State::Done) {
        return;
    }
    laid.state = Laid::State::Begun;
    switch (type.kind) {
    case Kind::Void:
        throw DescriptionError(line, "a member of type void");
    case Kind::Opaque:
        throw DescriptionError(line, "type '" + type.name + "' is not known");
    case Kind::Array: {
        layOut(type.element, line, depth + 1);
        const Laid& element = types_[type.element];
        laid.size = element.size * type.count;
        laid.align = element.align;
        laid.height = element.height + 1;
        break;
    }
    case Kind::Struct:
    case Kind::Union:
        if (!type.complete) {
            throw DescriptionError(line, "type '" + type.name + "' is not known");
        }
        layOutStructure(id, depth);
        break;
    default:
        laid.size = type.size[abi_];
        laid.align = type.align[abi_];
    }
    if (laid.size > kMostBytes) {
        throw DescriptionError(line, "too large");
    }
    laid.dataEnd = std::max(laid.dataEnd, type.kind == Kind::Struct || type.kind == Kind::Union ? 0 : laid.size);
    laid.state = Laid::State::Done;
}

/// Whether a member's type, or that of its elements, is one that nothing declares but of which a comment tells place and size:
/// it is shown as bytes, or as a number when it is known to be an enumeration.
bool Layout::layOutUnknown(const Member& member) {
    TypeId id = member.type;
    std::uint64_t count = 1;
    while (declarations_.at(id).kind == Kind::Array && count <= kMostBytes) {
        count *= declarations_.at(id).count;
        id = declarations_.at(id).element;
    }
    const bool told = member.claim && member.claim->size && count != 0 && *member.claim->size % count == 0;
    const Type& type = declarations_.at(id);
    const bool declared = type.kind != Kind::Opaque && (type.kind != Kind::Enum || type.complete);
    if (declared || !told) {
        return false;
    }
    Laid& laid = types_[id];
    if (laid.state != Laid::State::Done) {
        laid.size = *member.claim->size / count;
        laid.dataEnd = laid.size;
        laid.align = 1;
        laid.state = Laid::State::Done;
    }
    return true;
}

void Layout::layOutStructure(TypeId id, unsigned depth) {
    const Type& type = declarations_.at(id);
    Laid& laid = types_[id]; // the vector does not grow any more
    const bool isUnion = type.kind == Kind::Union;
    const std::uint32_t most = type.packed ? 1 : type.pack != 0 ? type.pack : ~0U;
    std::uint64_t end = 0; // in bits
    std::uint64_t size = 0;
    bool afterUnknown = false;
    bool anyUnknown = false;
    std::uint64_t spare =
        ~std::uint64_t{0}; // where the data of the base class before ends, when it ends before its size
    laid.align = std::max(1U, type.askedAlign);
    for (const Member& member : type.members) {
        const Type& its = declarations_.at(member.type);
        const bool unknown = layOutUnknown(member);
        layOut(member.type, member.line, depth + 1);
        const Laid& inner = types_[member.type];
        laid.height = std::max(laid.height, inner.height + 1);
        std::uint32_t align = std::min(inner.align, member.packed ? 1U : most);
        align = std::max(align, member.align);
        const std::uint64_t begin = isUnion ? 0 : end;
        Place place;
        std::uint64_t bits = 8 * inner.size;
        if (member.bits) {
            bits = *member.bits;
            if (bits > 8 * inner.size || (its.kind != Kind::Integer && its.kind != Kind::Bool &&
                                          its.kind != Kind::Enum && its.kind != Kind::Character && !unknown)) {
                throw DescriptionError(member.line, "a bit-field of " + std::to_string(bits) + " bits of such a type");
            }
            std::uint64_t at = begin;
            const bool tight = type.packed || member.packed;
            const std::uint64_t unit = 8 * std::uint64_t{std::min(inner.align, most)};
            if (unknown && !isUnion) {
                at = std::max(at,
                              8 * std::uint64_t{member.claim->offset} + member.claim->bit); // only the comment can tell
            } else if (bits == 0) {
                at = roundUp(at, 8 * std::uint64_t{inner.align});
            } else if (member.align != 0) {
                at = roundUp(at, 8 * std::uint64_t{member.align});
            } else if (!tight && (at % unit + bits + unit - 1) / unit > 8 * inner.size / unit) {
                at = roundUp(at, unit); // it would lie across the edge of its type
            }
            place = {at / 8, static_cast<std::uint32_t>(at % 8)};
            end = at + bits;
            if (!member.name.empty()) {
                laid.align = std::max(laid.align, tight ? std::max(1U, member.align) : align);
            }
        } else {
            std::uint64_t at = roundUp(begin, 8 * std::uint64_t{align});
            if (member.ancestor && its.members.empty() && its.kind == Kind::Struct) {
                bits = 0; // an empty base takes no room
            }
            if (!isUnion && member.claim && member.claim->offset % align == 0) {
                // A class may put its own members into its base's padding, and a type that nothing declares may have any
                // alignment: only the comment can tell.
                const std::uint64_t claimed = 8 * std::uint64_t{member.claim->offset};
                if ((claimed < at && claimed >= spare) || (claimed > at && (unknown || afterUnknown))) {
                    at = claimed;
                }
            }
            place = {at / 8, 0};
            end = at + bits;
            laid.align = std::max(laid.align, align);
        }
        spare = ~std::uint64_t{0};
        if (member.ancestor && (unknown || inner.dataEnd < inner.size)) {
            spare = 8 * (place.offset + (unknown ? 0 : inner.dataEnd));
        }
        afterUnknown = unknown;
        anyUnknown = anyUnknown || unknown;
        laid.places.push_back(place);
        laid.dataEnd = std::max(laid.dataEnd, member.ancestor ? place.offset + inner.dataEnd : roundUp(end, 8) / 8);
        size = std::max(size, roundUp(end, 8) / 8);
        if (size > kMostBytes) {
            throw DescriptionError(member.line, "too large");
        }
    }
    laid.size = roundUp(size, laid.align);
    if (anyUnknown && type.claimedSize) {
        laid.size = std::max<std::uint64_t>(laid.size, *type.claimedSize->size);
    }
    if (type.members.empty()) {
        laid.size = type.claimedSize ? *type.claimedSize->size : 1; // as C++ has it
        laid.size = std::min<std::uint64_t>(laid.size, laid.align);
    }
}

/// Holds what comments say against the layout. In a structure that is defined inside of another they may count from the outer
/// one's begin, which is at -`base` from here.
void Layout::checkClaims(TypeId id, std::uint64_t base, unsigned depth) const {
    const Type& type = declarations_.at(id);
    if (depth > kMostDepth || (type.kind != Kind::Struct && type.kind != Kind::Union)) {
        return;
    }
    const Laid& laid = types_[id];
    unsigned lineBefore = 0;
    for (std::size_t i = 0; i < type.members.size(); ++i) {
        const Member& member = type.members[i];
        const Place& place = laid.places[i];
        if (member.claim) {
            const Claim& claim = *member.claim;
            const std::uint64_t bits = 8 * place.offset + place.bit;
            const std::uint64_t claimed = 8 * std::uint64_t{claim.offset} + claim.bit;
            if (claimed != bits && claimed != bits + 8 * base) {
                throw DescriptionError(claim.line, "'" + member.name + "' is at offset " +
                                                       placeText(bits + 8 * base, member.bits.has_value()) +
                                                       ", the comment says " +
                                                       placeText(claimed, member.bits.has_value()));
            }
            const std::uint64_t size = sizeOf(member.type);
            const bool empty = *claim.size == 0 && (declarations_.at(member.type).members.empty());
            if (*claim.size != size && !empty) {
                throw DescriptionError(claim.line, "'" + member.name + "' has " + std::to_string(size) +
                                                       " bytes, the comment says " + std::to_string(*claim.size));
            }
        }
        TypeId inner = member.type;
        while (declarations_.at(inner).kind == Kind::Array) {
            inner = declarations_.at(inner).element;
        }
        // Where it is defined: the comments in it need not hold for others of its type.
        const Type& its = declarations_.at(inner);
        if (its.inlined && its.line <= member.line && its.line > lineBefore) {
            checkClaims(inner, base + place.offset, depth + 1);
        }
        lineBefore = member.line;
    }
    if (type.claimedSize && *type.claimedSize->size != laid.size) {
        throw DescriptionError(type.claimedSize->line, "'" + type.name + "' has " + std::to_string(laid.size) +
                                                           " bytes, the comment says " +
                                                           std::to_string(*type.claimedSize->size));
    }
}

} // namespace Norvu::Types
