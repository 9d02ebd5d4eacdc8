#include "Norvu/Types/Grammar/Scope.h"

#include "Norvu/Types/Scalars.h"

#include <algorithm>
#include <utility>

namespace Norvu::Types::Grammar {

namespace {

constexpr std::size_t kMostTypes = 100000;

std::string withoutBlanks(std::string_view name) {
    std::string left(name);
    left.erase(std::remove(left.begin(), left.end(), ' '), left.end());
    return left;
}

} // namespace

TypeId Scope::add(Type type) {
    if (out_.types.size() == kMostTypes) {
        cursor_.fail("too many types");
    }
    out_.types.push_back(std::move(type));
    return static_cast<TypeId>(out_.types.size() - 1);
}

TypeId Scope::named(const std::string& name, unsigned line) {
    if (const auto known = names_.find(name); known != names_.end()) {
        return known->second;
    }
    if (const TypeId known = tagged(name); known != kNoType) {
        return known;
    }
    if (const std::optional<Type> scalar = scalarNamed(name)) {
        return names_[name] = add(*scalar);
    }
    return taggedOrUnknown(name, line);
}

TypeId Scope::tagged(const std::string& tag) const {
    const auto known = tags_.find(tag);
    return known == tags_.end() ? kNoType : known->second;
}

TypeId Scope::taggedOrUnknown(const std::string& tag, unsigned line) {
    if (const TypeId known = tagged(tag); known != kNoType) {
        return known;
    }
    // Perhaps it is only pointed at, or a comment says how large it is; the layout will ask.
    Type unknown;
    unknown.kind = Kind::Opaque;
    unknown.name = tag;
    unknown.line = line;
    return tags_[tag] = add(std::move(unknown));
}

std::optional<std::int64_t> Scope::constant(std::string_view name) const {
    const auto known = constants_.find(std::string(name));
    return known == constants_.end() ? std::nullopt : std::optional(known->second);
}

Declarations Scope::take(std::string_view wanted) {
    // Where blanks are in a template's arguments is a matter of taste.
    const std::string name = withoutBlanks(wanted);
    const auto called = [&](const auto& known) { return withoutBlanks(known.first) == name; };
    const auto named = std::find_if(names_.begin(), names_.end(), called);
    const auto its = std::find_if(tags_.begin(), tags_.end(), called);
    if (named != names_.end()) {
        out_.value = named->second;
    } else if (its != tags_.end() && out_.at(its->second).complete) {
        out_.value = its->second;
    } else if (last_ != kNoType) {
        out_.value = last_;
    } else {
        throw DescriptionError(1, "no struct, union, enum or typedef in the file");
    }
    return std::move(out_);
}

} // namespace Norvu::Types::Grammar
