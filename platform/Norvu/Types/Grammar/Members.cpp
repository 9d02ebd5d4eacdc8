#include "Norvu/Types/Grammar/Members.h"

#include "Norvu/Types/Grammar/Comments.h"
#include "Norvu/Types/Grammar/Declarator.h"
#include "Norvu/Types/Grammar/Expression.h"
#include "Norvu/Types/Grammar/Specifiers.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

namespace Norvu::Types::Grammar {

void Members::read(Type& made, const std::optional<Claim>& leading) {
    if (cursor_.accept(";")) {
        return;
    }
    if ((cursor_.at("public") || cursor_.at("private") || cursor_.at("protected")) &&
        cursor_.lookAhead(1).text == ":") {
        cursor_.next();
        cursor_.next();
        return;
    }
    if (isSkipped()) {
        made.hasVirtual = made.hasVirtual || cursor_.at("virtual");
        cursor_.skipItem();
        return;
    }
    const std::size_t begin = cursor_.position();
    const std::size_t firstMember = made.members.size();
    Attributes attributes;
    const TypeId type = specifiers_.read(attributes);
    if (cursor_.at("(") && isConstructorOf(made, type)) {
        cursor_.skipItem();
        return;
    }
    if (cursor_.at("<") && cursor_.lookAhead(1).text == "ancestor") {
        expandedAncestor(made, type);
        return;
    }
    if (cursor_.at(";") && (!scope_.isStructure(type) || !scope_.at(type).name.empty())) {
        cursor_.next(); // declares a type, and no member of it
        return;
    }
    do {
        Member its;
        if (cursor_.at("operator") || cursor_.at("~") || !declareMember(type, attributes, its)) {
            cursor_.rewind(begin);
            made.members.resize(firstMember);
            cursor_.skipItem();
            return;
        }
        its.claim = leading;
        made.members.push_back(std::move(its));
    } while (cursor_.accept(","));
    cursor_.expect(";");
    trailing(made, firstMember);
    // pahole lists the types without a name that are defined in a structure before it comes to the members.
    const Member& last = made.members.back();
    if (last.name.empty() && !last.bits && !last.claim && scope_.isStructure(type) &&
        std::any_of(scope_.at(type).members.begin(), scope_.at(type).members.end(),
                    [](const Member& inner) { return inner.claim.has_value(); })) {
        made.members.pop_back();
    }
}

/// Whether `type`, which a "(" follows, is the structure itself: its name without scope and template arguments.
bool Members::isConstructorOf(const Type& made, TypeId type) const {
    const std::string own = made.name.substr(0, made.name.find('<'));
    const std::size_t scope = own.rfind(':');
    return !own.empty() && scope_.at(type).name == own.substr(scope == std::string::npos ? 0 : scope + 1);
}

/// pahole's way to show a base class with its members, of which the lexer has taken the outer comment's begin away.
void Members::expandedAncestor(Type& made, TypeId type) {
    Member base;
    base.ancestor = true;
    base.name = scope_.at(type).name;
    base.type = type;
    base.line = cursor_.peek().line;
    for (const std::string_view part : {"<", "ancestor", ">", ";", "*", "/"}) {
        cursor_.expect(part);
    }
    if (cursor_.peekAny().kind == Token::Kind::Comment && cursor_.peekAny().line == cursor_.taken().line) {
        base.claim = claimIn(cursor_.peekAny());
        cursor_.takeAny();
    }
    made.members.push_back(std::move(base));
}

/// Comments behind a member's end, on its line.
void Members::trailing(Type& made, std::size_t firstMember) {
    const unsigned line = cursor_.taken().line;
    Notes notes;
    while (cursor_.peekAny().kind == Token::Kind::Comment && cursor_.peekAny().line == line) {
        if (const auto claim = claimIn(cursor_.peekAny())) {
            made.members.back().claim = claim;
        } else {
            addNotes(cursor_.peekAny(), notes);
        }
        cursor_.takeAny();
    }
    for (std::size_t i = firstMember; i < made.members.size(); ++i) {
        made.members[i].notes = notes;
    }
}

/// One declarator of a member declaration; false for a member function.
bool Members::declareMember(TypeId type, const Attributes& attributes, Member& member) {
    Declarator declarator;
    if (cursor_.at(":")) {
        declarator.type = type;
        declarator.line = cursor_.peek().line;
    } else if (cursor_.at(";")) {
        declarator.type = type; // an anonymous structure
        declarator.line = cursor_.peek().line;
    } else {
        declarator = declare(cursor_, scope_, type);
    }
    if (declarator.function && declarator.name.empty()) { // a macro's call, or a name in parentheses: perhaps a member
        throw DescriptionError(declarator.line, "expected a member's name before '('");
    }
    if (declarator.function || declarator.name == "operator") {
        return false;
    }
    member.name = declarator.name;
    member.type = declarator.type;
    member.line = declarator.line;
    member.packed = attributes.packed || declarator.attributes.packed;
    member.align = std::max(attributes.align, declarator.attributes.align);
    if (cursor_.accept(":")) {
        const std::int64_t bits = expression(cursor_, scope_);
        if (bits < 0 || bits > 64 || (bits == 0 && !member.name.empty())) {
            throw DescriptionError(member.line, "a bit-field of " + std::to_string(bits) + " bits");
        }
        member.bits = static_cast<std::uint32_t>(bits);
        Attributes more;
        attributeList(cursor_, scope_, more);
        member.packed = member.packed || more.packed;
        member.align = std::max(member.align, more.align);
    }
    if (cursor_.at("{")) { // a default member initializer
        cursor_.skipGroup();
    } else if (cursor_.accept("=")) {
        while (!cursor_.at(",") && !cursor_.at(";") && !cursor_.atEnd()) {
            cursor_.skipGroup();
        }
    }
    return true;
}

bool Members::isSkipped() {
    constexpr std::string_view words[] = {"static",   "using",   "friend",   "virtual",       "explicit",      "extern",
                                          "template", "typedef", "operator", "static_assert", "_Static_assert"};
    return cursor_.at("~") ||
           (cursor_.atName() && std::find(std::begin(words), std::end(words), cursor_.peek().text) != std::end(words));
}

} // namespace Norvu::Types::Grammar
