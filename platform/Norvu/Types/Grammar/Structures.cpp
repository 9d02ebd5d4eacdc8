#include "Norvu/Types/Grammar/Structures.h"

#include "Norvu/Types/Grammar/Comments.h"
#include "Norvu/Types/Grammar/Specifiers.h"

#include <algorithm>
#include <string>
#include <utility>

namespace Norvu::Types::Grammar {

void Structures::read(TypeId id, Kind kind, Attributes attributes) {
    const Cursor::Deeper deeper(cursor_);
    if (scope_.at(id).complete) {
        cursor_.fail("'" + scope_.at(id).name + "' is defined twice");
    }
    Type made;
    made.kind = kind;
    made.name = scope_.at(id).name;
    made.pack = cursor_.pack();
    std::vector<Member> bases;
    if (cursor_.accept(":")) {
        bases = baseClasses();
    }
    cursor_.expect("{");
    bool saidAncestors = false;
    while (!atBodyEnd(made, saidAncestors)) {
        members_.read(made, std::exchange(leading_, std::nullopt));
        if (made.members.size() > kMostMembers) {
            cursor_.fail("too many members");
        }
    }
    cursor_.expect("}");
    leading_.reset(); // it was about nothing
    attributeList(cursor_, scope_, attributes);
    saidAncestors = saidAncestors || std::any_of(made.members.begin(), made.members.end(),
                                                 [](const Member& its) { return its.ancestor; });
    if (!saidAncestors) {
        made.members.insert(made.members.begin(), bases.begin(), bases.end());
    }
    const bool saysTable = std::any_of(made.members.begin(), made.members.end(), [](const Member& its) {
        return its.ancestor || its.name.rfind("_vptr", 0) == 0;
    });
    if (made.hasVirtual && !saysTable) {
        throw DescriptionError(scope_.at(id).line, "virtual functions, but no member '_vptr' for their table");
    }
    Type& type = scope_.at(id);
    type.kind = kind;
    type.complete = true;
    type.inlined = cursor_.depth() > 1;
    type.members = std::move(made.members);
    type.pack = made.pack;
    type.packed = attributes.packed;
    type.askedAlign = attributes.align;
    type.claimedSize = made.claimedSize;
}

std::vector<Member> Structures::baseClasses() {
    std::vector<Member> bases;
    do {
        while (cursor_.at("public") || cursor_.at("private") || cursor_.at("protected") || cursor_.at("virtual")) {
            if (cursor_.next().text == "virtual") {
                cursor_.fail("virtual base classes are not supported");
            }
        }
        Member base;
        base.line = cursor_.peek().line;
        if (!cursor_.atName()) {
            cursor_.failBefore("a base class");
        }
        base.ancestor = true;
        base.type = specifiers_.byName();
        base.name = scope_.at(base.type).name;
        bases.push_back(std::move(base));
    } while (cursor_.accept(","));
    return bases;
}

/// Whether the body ends here; takes the comments on the way, of which some tell a size or a base class.
bool Structures::atBodyEnd(Type& made, bool& saidAncestors) {
    while (cursor_.peekAny().kind == Token::Kind::Comment || cursor_.peekAny().kind == Token::Kind::Pack) {
        const Token& token = cursor_.peekAny();
        if (token.kind == Token::Kind::Pack) {
            cursor_.takeAny();
            continue;
        }
        if (const auto size = sizeClaimIn(token)) {
            made.claimedSize = size;
        } else if (ancestor(token, made)) {
            saidAncestors = true;
            continue;
        } else if (cursor_.behindAny().kind != Token::Kind::Comment && cursor_.behindAny().line == token.lastLine &&
                   claimIn(token)) {
            leading_ = claimIn(token); // gdb writes it in front of the member
        }
        cursor_.takeAny();
    }
    if (cursor_.peekAny().kind == Token::Kind::End) {
        cursor_.fail("'{' without '}'");
    }
    return cursor_.at("}");
}

/// pahole: /* class Base <ancestor>; */ followed by its place and size.
bool Structures::ancestor(const Token& comment, Type& made) {
    const std::optional<std::string> name = ancestorIn(comment);
    if (!name) {
        return false;
    }
    Member base;
    base.ancestor = true;
    base.line = comment.line;
    base.name = *name;
    base.type = scope_.taggedOrUnknown(*name, comment.line);
    cursor_.takeAny();
    if (cursor_.peekAny().kind == Token::Kind::Comment && cursor_.peekAny().line == comment.lastLine) {
        base.claim = claimIn(cursor_.peekAny());
        cursor_.takeAny();
    }
    made.members.push_back(std::move(base));
    return true;
}

} // namespace Norvu::Types::Grammar
