#include "Norvu/Types/Grammar/Scope.h"

#include "Norvu/Types/Scalars.h"

#include <utility>

namespace Norvu::Types::Grammar {

namespace {

constexpr std::size_t kMostTypes = 100000;

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
    const auto named = names_.find(std::string(wanted));
    const TypeId its = tagged(std::string(wanted));
    if (named != names_.end()) {
        out_.value = named->second;
    } else if (its != kNoType && out_.at(its).complete) {
        out_.value = its;
    } else if (last_ != kNoType) {
        out_.value = last_;
    } else {
        throw DescriptionError(1, "no struct, union, enum or typedef in the file");
    }
    return std::move(out_);
}

} // namespace Norvu::Types::Grammar
