#include "Norvu/Types/Field.h"

#include <set>
#include <string>
#include <utility>

namespace Norvu::Types {

namespace {

using Code = Field::Code;

bool isByte(const Declarations& declarations, const Layout& layout, TypeId id) {
    const Type& type = declarations.at(id);
    return (type.kind == Kind::Integer || type.kind == Kind::Character) && layout.sizeOf(id) == 1;
}

/// Bytes that an annotation for addresses needs; 0: there is none.
std::uint64_t addressSize(const Notes& notes) {
    return notes.ipv4 ? 4 : notes.ipv6 ? 16 : notes.mac ? 6 : 0;
}

/// A field that an annotation says how to show, whatever its type is: addresses and text are bytes in the order of memory.
Code shapeOf(const Member& member, std::uint64_t size, bool bytes) {
    const auto need = [&](const char* note, std::uint64_t wanted) {
        if (size != wanted || member.bits) {
            throw DescriptionError(member.line, std::string("/* ") + note + " */ needs a field of " +
                                                    std::to_string(wanted) + " bytes");
        }
    };
    if (member.notes.ipv4) {
        need("ipv4", 4);
        return Code::Ipv4;
    }
    if (member.notes.ipv6) {
        need("ipv6", 16);
        return Code::Ipv6;
    }
    if (member.notes.mac) {
        need("mac", 6);
        return Code::Mac;
    }
    if (!bytes) {
        throw DescriptionError(member.line, "/* string */ needs an array of bytes");
    }
    return Code::Text;
}

Code scalarCode(const Type& type, const Member& member, std::uint64_t size) {
    const bool number = type.kind == Kind::Integer || type.kind == Kind::Enum || type.kind == Kind::Character;
    if (member.notes.time && !number) {
        throw DescriptionError(member.line, "/* time */ needs an integer");
    }
    if (member.notes.hex && !number && type.kind != Kind::Pointer && type.kind != Kind::Opaque) {
        throw DescriptionError(member.line, "/* hex */ needs an integer or bytes");
    }
    if (number && (member.notes.time || member.notes.hex)) {
        return member.notes.time ? Code::Time : Code::HexNumber;
    }
    switch (type.kind) {
    case Kind::Bool:
        return Code::Bool;
    case Kind::Character:
        return !member.bits ? Code::Text : type.isSigned ? Code::Signed : Code::Unsigned;
    case Kind::Float:
        return size == 4 ? Code::Float : size == 8 ? Code::Double : Code::LongDouble;
    case Kind::Enum:
        return Code::Enum;
    case Kind::Pointer:
        return Code::Pointer;
    case Kind::Opaque:
        return member.bits ? Code::Unsigned : Code::Bytes;
    default:
        return type.isSigned ? Code::Signed : Code::Unsigned;
    }
}

bool isAnonymous(const Declarations& declarations, const Member& member) {
    const Kind kind = declarations.at(member.type).kind;
    return member.name.empty() && !member.bits && (kind == Kind::Struct || kind == Kind::Union);
}

/// The members that are shown: those with a name and anonymous structures, of a union the first of them.
std::vector<std::size_t> shownMembers(const Declarations& declarations, const Type& type) {
    std::vector<std::size_t> shown;
    for (std::size_t i = 0; i < type.members.size(); ++i) {
        if (!type.members[i].name.empty() || isAnonymous(declarations, type.members[i])) {
            shown.push_back(i);
            if (type.kind == Kind::Union) {
                break;
            }
        }
    }
    return shown;
}

/// Each name is one part's: JSON allows no other. A base class may have a member's name, and then gets a stroke, which no
/// member's has.
void makeUnique(std::vector<Part>& parts) {
    std::set<std::string> names;
    const auto claim = [&names](const Part& part) {
        if (!names.insert(part.member.name).second) {
            throw DescriptionError(part.member.line, "'" + part.member.name + "' is declared twice");
        }
    };
    for (const Part& part : parts) {
        if (!part.member.ancestor) {
            claim(part);
        }
    }
    const std::set<std::string> members = names;
    for (Part& part : parts) {
        if (part.member.ancestor) {
            part.member.name += members.count(part.member.name) != 0 ? "'" : "";
            claim(part);
        }
    }
}

Part inside(const Part& outer, const Member& member, const Place& place) {
    Part part{member, outer.offset + place.offset, place.bit};
    part.member.notes.bigEndian = member.notes.bigEndian || outer.member.notes.bigEndian;
    return part;
}

void gather(const Declarations& declarations, const Layout& layout, const Part& structure, std::vector<Part>& parts) {
    const Type& type = declarations.at(structure.member.type);
    for (const std::size_t i : shownMembers(declarations, type)) {
        Part part = inside(structure, type.members[i], layout.placesOf(structure.member.type)[i]);
        if (part.member.name.empty()) {
            gather(declarations, layout, part, parts);
        } else {
            parts.push_back(std::move(part));
        }
    }
}

} // namespace

Part wholeOf(const Declarations& declarations) {
    Part whole;
    whole.member.type = declarations.value;
    whole.member.line = declarations.at(declarations.value).line;
    return whole;
}

std::optional<Field> fieldOf(const Declarations& declarations, const Layout& layout, const Part& part) {
    const Member& member = part.member;
    const Notes& notes = member.notes;
    const Type& type = declarations.at(member.type);
    const std::uint64_t size = layout.sizeOf(member.type);
    Field field;
    field.offset = static_cast<std::uint32_t>(part.offset);
    field.size = static_cast<std::uint32_t>(size);
    const bool array = type.kind == Kind::Array;
    const bool bytes = array && isByte(declarations, layout, type.element);
    // Of an array it holds for each element, unless only the whole is such an address.
    const bool whole = array && size == addressSize(notes) && layout.sizeOf(type.element) != size;
    if ((addressSize(notes) != 0 || notes.string) && (!array || bytes || whole)) {
        field.code = shapeOf(member, size, bytes || type.kind == Kind::Character);
        return field;
    }
    if (array) {
        if (!notes.hex && !notes.time && declarations.at(type.element).kind == Kind::Character) {
            field.code = Code::Text;
            return field;
        }
        return bytes && notes.hex ? std::optional(field) : std::nullopt;
    }
    if (type.kind == Kind::Struct || type.kind == Kind::Union) {
        if (notes.time || notes.hex) {
            throw DescriptionError(member.line,
                                   std::string("/* ") + (notes.time ? "time" : "hex") + " */ is not for structures");
        }
        return std::nullopt;
    }
    field.code = scalarCode(type, member, size);
    field.isSigned = type.isSigned;
    field.bigEndian = (type.bigEndian || notes.bigEndian) && size > 1;
    if (member.bits) {
        if (field.bigEndian && notes.bigEndian) {
            throw DescriptionError(member.line, "/* be */ of a bit-field is not supported");
        }
        field.bigEndian = false;
        field.bit = static_cast<std::uint8_t>(part.bit);
        field.bits = static_cast<std::uint8_t>(*member.bits);
    }
    return field;
}

std::vector<Part> partsOf(const Declarations& declarations, const Layout& layout, const Part& structure) {
    std::vector<Part> parts;
    gather(declarations, layout, structure, parts);
    makeUnique(parts);
    return parts;
}

std::optional<Part> onlyPartOf(const Declarations& declarations, const Layout& layout, const Part& unionPart) {
    const Type& type = declarations.at(unionPart.member.type);
    const std::vector<std::size_t> shown = shownMembers(declarations, type);
    if (shown.empty()) {
        return std::nullopt;
    }
    return inside(unionPart, type.members[shown[0]], layout.placesOf(unionPart.member.type)[shown[0]]);
}

Part elementOf(const Declarations& declarations, const Layout& layout, const Part& array, std::uint32_t index) {
    const TypeId element = declarations.at(array.member.type).element;
    Part part = array;
    part.member.type = element;
    part.offset += layout.sizeOf(element) * index;
    return part;
}

} // namespace Norvu::Types
