#pragma once

#include "Norvu/Types/Grammar/Cursor.h"
#include "Norvu/Types/Model.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace Norvu::Types::Grammar {

/// The most members that a structure may have, and enumerators an enumeration.
inline constexpr std::size_t kMostMembers = 65536;

/// The types that the text has declared so far, and what its names stand for: types and constants. All of C's scopes are one
/// here: what is declared inside of a structure can be used behind it. Owns the types; borrows the cursor, for the line of an
/// error.
class Scope {
public:
    explicit Scope(Cursor& cursor) : cursor_(cursor) {}
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

    TypeId add(Type type);
    [[nodiscard]] Type& at(TypeId id) { return out_.at(id); }
    [[nodiscard]] const Type& at(TypeId id) const { return out_.at(id); }
    [[nodiscard]] bool isStructure(TypeId id) const {
        return out_.at(id).kind == Kind::Struct || out_.at(id).kind == Kind::Union;
    }

    /// The type that goes by a name: a typedef's, a tag's or a known scalar's; else one that is not known yet.
    TypeId named(const std::string& name, unsigned line);
    void name(const std::string& name, TypeId type) { names_[name] = type; }

    /// The type with a tag; kNoType when there is none.
    [[nodiscard]] TypeId tagged(const std::string& tag) const;
    /// The type with a tag, which may be one that is not known yet.
    TypeId taggedOrUnknown(const std::string& tag, unsigned line);
    void tag(const std::string& tag, TypeId type) { tags_[tag] = type; }

    [[nodiscard]] std::optional<std::int64_t> constant(std::string_view name) const;
    void defineConstant(const std::string& name, std::int64_t value) { constants_[name] = value; }

    /// Makes `type` what the text describes when it ends here.
    void setLast(TypeId type) { last_ = type; }
    /// Ends it: the value is the type that is called `wanted`, or the last one.
    Declarations take(std::string_view wanted);

private:
    Cursor& cursor_;
    Declarations out_;
    TypeId last_ = kNoType;
    std::map<std::string, TypeId> tags_;
    std::map<std::string, TypeId> names_;
    std::map<std::string, std::int64_t> constants_;
};

} // namespace Norvu::Types::Grammar
