#pragma once

#include "Norvu/Exception.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What a description file says, after parsing. Types refer to each other by number, so nothing here is nested without bound.

namespace Norvu::Types {

/// Why a description cannot be used, and where.
class DescriptionError : public Exception {
public:
    DescriptionError(unsigned line, const std::string& reason) : Exception(reason), line_(line) {}
    [[nodiscard]] unsigned line() const { return line_; }

private:
    unsigned line_;
};

/// The rules by which sizes and places follow from declarations.
enum class Abi : unsigned { X86_64 = 0, I386 = 1 };
inline constexpr unsigned kAbis = 2;

using TypeId = std::uint32_t;
inline constexpr TypeId kNoType = 0xffffffff;

enum class Kind : std::uint8_t { Void, Bool, Character, Integer, Float, Enum, Pointer, Array, Struct, Union, Opaque };

struct Enumerator {
    std::string name;
    std::int64_t value;
};

/// How a field asks to be shown, in a comment behind it.
struct Notes {
    bool ipv4 = false;
    bool ipv6 = false;
    bool mac = false;
    bool hex = false;
    bool time = false;
    bool string = false;
    bool bigEndian = false;
};

/// What a tool wrote in a comment beside a member: where it is, in bytes and bits from there, and its size in bytes.
struct Claim {
    std::uint32_t offset = 0;
    std::uint32_t bit = 0;
    std::optional<std::uint32_t> size;
    unsigned line = 0;
};

struct Member {
    std::string name; ///< empty for an anonymous structure, and for a bit-field that only fills
    TypeId type = kNoType;
    std::optional<std::uint32_t> bits; ///< of a bit-field
    std::uint32_t align = 0;           ///< asked for with an attribute; 0: not
    bool packed = false;
    bool ancestor = false; ///< a base class
    Notes notes;
    std::optional<Claim> claim;
    unsigned line = 0;
};

struct Type {
    Kind kind = Kind::Void;
    std::string name; ///< its tag, or the name that a typedef gave it; empty when it has none
    unsigned line = 0;

    // Scalars; by Abi.
    std::uint32_t size[kAbis] = {0, 0};
    std::uint32_t align[kAbis] = {1, 1};
    bool isSigned = false;
    bool bigEndian = false;

    // Arrays, and what an enumeration is stored as.
    TypeId element = kNoType;
    std::uint32_t count = 0;

    std::vector<Enumerator> enumerators;

    // Structures and unions.
    std::vector<Member> members;
    bool complete = false;
    bool packed = false;
    bool hasVirtual = false; ///< functions: a pointer to their table is then a member, named or not
    bool inlined = false;    ///< defined where it is used: comments in it may count from the outermost structure
    std::uint32_t askedAlign = 0;
    std::uint32_t pack = 0; ///< the most that a member may be aligned to; 0: no such limit
    std::optional<Claim> claimedSize;
};

struct Declarations {
    std::vector<Type> types;
    TypeId value = kNoType; ///< what the file describes

    [[nodiscard]] const Type& at(TypeId id) const { return types[id]; }
    [[nodiscard]] Type& at(TypeId id) { return types[id]; }
};

} // namespace Norvu::Types
