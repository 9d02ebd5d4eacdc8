#include "Norvu/Types/Field.h"

#include <algorithm>
#include <string>
#include <utility>

namespace Norvu::Types {

namespace {

using Code = Field::Code;

bool isByte(const Declarations& declarations, const Layout& layout, TypeId id) {
    const Type& type = declarations.at(id);
    return (type.kind == Kind::Integer || type.kind == Kind::Character) && layout.sizeOf(id) == 1;
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
    const bool number = type.kind == Kind::Integer || type.kind == Kind::Enum;
    if (member.notes.time && !number) {
        throw DescriptionError(member.line, "/* time */ needs an integer");
    }
    if (number && (member.notes.time || member.notes.hex)) {
        return member.notes.time ? Code::Time : Code::HexNumber;
    }
    switch (type.kind) {
    case Kind::Bool:
        return Code::Bool;
    case Kind::Character:
        return member.bits ? Code::Signed : Code::Text;
    case Kind::Float:
        return size == 4 ? Code::Float : size == 8 ? Code::Double : Code::LongDouble;
    case Kind::Enum:
        return Code::Enum;
    case Kind::Pointer:
        return Code::Pointer;
    case Kind::Opaque:
        return Code::Bytes;
    default:
        return type.isSigned ? Code::Signed : Code::Unsigned;
    }
}

Part inside(const Part& outer, const Member& member, const Place& place) {
    Part part{member, outer.offset + place.offset, place.bit};
    part.member.notes.bigEndian = member.notes.bigEndian || outer.member.notes.bigEndian;
    return part;
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
    if ((notes.ipv4 || notes.ipv6 || notes.mac || notes.string) && (!array || bytes)) {
        field.code = shapeOf(member, size, bytes || type.kind == Kind::Character);
        return field;
    }
    if (array) {
        if (!notes.hex && declarations.at(type.element).kind == Kind::Character) {
            field.code = Code::Text;
            return field;
        }
        return bytes && notes.hex ? std::optional(field) : std::nullopt;
    }
    if (type.kind == Kind::Struct || type.kind == Kind::Union) {
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
    const Type& type = declarations.at(structure.member.type);
    const std::size_t shown =
        type.kind == Kind::Union ? std::min<std::size_t>(1, type.members.size()) : type.members.size();
    std::vector<Part> parts;
    for (std::size_t i = 0; i < shown; ++i) {
        const Member& member = type.members[i];
        Part part = inside(structure, member, layout.placesOf(structure.member.type)[i]);
        if (!member.name.empty()) {
            parts.push_back(std::move(part));
            continue;
        }
        const Kind kind = declarations.at(member.type).kind;
        if (!member.bits && (kind == Kind::Struct || kind == Kind::Union)) {
            for (Part& inner : partsOf(declarations, layout, part)) {
                parts.push_back(std::move(inner));
            }
        }
    }
    return parts;
}

std::optional<Part> onlyPartOf(const Declarations& declarations, const Layout& layout, const Part& unionPart) {
    const Type& type = declarations.at(unionPart.member.type);
    if (type.members.empty()) {
        return std::nullopt;
    }
    return inside(unionPart, type.members.front(), layout.placesOf(unionPart.member.type).front());
}

Part elementOf(const Declarations& declarations, const Layout& layout, const Part& array, std::uint32_t index) {
    const TypeId element = declarations.at(array.member.type).element;
    Part part = array;
    part.member.type = element;
    part.offset += layout.sizeOf(element) * index;
    return part;
}

} // namespace Norvu::Types
