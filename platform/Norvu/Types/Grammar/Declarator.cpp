#include "Norvu/Types/Grammar/Declarator.h"

#include "Norvu/Types/Grammar/Expression.h"
#include "Norvu/Types/Grammar/Names.h"
#include "Norvu/Types/Scalars.h"

#include <limits>
#include <utility>
#include <vector>

namespace Norvu::Types::Grammar {

namespace {

/// Takes "Class::*", which makes what follows a pointer to a member. How large it is, only a comment can tell.
bool memberPointer(Cursor& cursor, Scope& scope, Declarator& made) {
    if (!cursor.atName() || cursor.lookAhead(1).text != ":" || cursor.lookAhead(2).text != ":" ||
        cursor.lookAhead(3).text != "*") {
        return false;
    }
    Type pointer;
    pointer.kind = Kind::Opaque;
    pointer.name = std::string(cursor.next().text) + "::*";
    pointer.line = cursor.peek().line;
    for (int i = 0; i < 3; ++i) {
        cursor.next();
    }
    made.type = scope.add(std::move(pointer));
    return true;
}

void pointers(Cursor& cursor, Scope& scope, Declarator& made) {
    for (;;) {
        if (cursor.at("*") || cursor.at("&") || cursor.at("^")) {
            cursor.next();
            made.type = scope.add(pointerType());
        } else if (memberPointer(cursor, scope, made)) {
            continue;
        } else if (cursor.atName() && isQualifier(cursor.peek().text)) {
            cursor.next();
        } else {
            attributeList(cursor, scope, made.attributes);
            if (!cursor.at("*") && !cursor.at("&")) {
                return;
            }
        }
    }
}

std::vector<std::uint32_t> dimensions(Cursor& cursor, const Scope& scope) {
    std::vector<std::uint32_t> counts;
    while (cursor.at("[")) {
        const unsigned line = cursor.peek().line;
        if (cursor.lookAhead(1).text == "[") { // [[attribute]]
            cursor.skipGroup();
            continue;
        }
        cursor.next();
        std::int64_t count = 0;
        if (!cursor.at("]")) {
            count = expression(cursor, scope);
        }
        cursor.expect("]");
        if (count < 0 || count > std::numeric_limits<std::int32_t>::max()) {
            throw DescriptionError(line, "an array of " + std::to_string(count) + " elements");
        }
        if (counts.size() == kMostDepth) {
            throw DescriptionError(line, "an array of too many dimensions");
        }
        counts.push_back(static_cast<std::uint32_t>(count));
    }
    return counts;
}

} // namespace

Declarator declare(Cursor& cursor, Scope& scope, TypeId type) {
    const Cursor::Deeper deeper(cursor);
    Declarator made;
    made.type = type;
    made.line = cursor.peek().line;
    attributeList(cursor, scope, made.attributes);
    // pahole writes a pointer to functions as "int ()(void) * * name".
    if (cursor.at("(") && cursor.lookAhead(1).text == ")") {
        cursor.skipGroup();
        if (cursor.at("(")) {
            cursor.skipGroup();
        }
        made.type = scope.add(voidType());
    }
    pointers(cursor, scope, made);
    std::vector<std::uint32_t> inner;
    bool indirect = false;
    bool toMember = false;
    if (cursor.at("(") && cursor.lookAhead(1).kind == Token::Kind::Name && cursor.lookAhead(2).text == ":" &&
        cursor.lookAhead(3).text == ":") {
        cursor.next();
        toMember = memberPointer(cursor, scope, made);
        if (toMember && cursor.atName()) {
            made.name = memberName(cursor);
        }
        cursor.expect(")");
    } else if (cursor.at("(") && (cursor.lookAhead(1).text == "*" || cursor.lookAhead(1).text == "&" ||
                                  cursor.lookAhead(1).text == "^")) {
        cursor.next();
        while (cursor.at("*") || cursor.at("&") || cursor.at("^") ||
               (cursor.atName() && isQualifier(cursor.peek().text))) {
            cursor.next();
        }
        indirect = true;
        if (cursor.atName()) {
            made.name = memberName(cursor);
        }
        inner = dimensions(cursor, scope);
        while (cursor.at("(")) {
            cursor.skipGroup();
        }
        cursor.expect(")");
    } else if (cursor.atName()) {
        made.line = cursor.peek().line;
        made.name = memberName(cursor);
    }
    if (cursor.at("(")) {
        cursor.skipGroup();
        made.function = !indirect && !toMember;
        while (cursor.atName() &&
               (cursor.at("const") || cursor.at("noexcept") || cursor.at("override") || cursor.at("final"))) {
            cursor.next();
        }
    }
    std::vector<std::uint32_t> outer = dimensions(cursor, scope);
    if (indirect) {
        made.type = scope.add(pointerType());
        outer = std::move(inner);
    }
    for (auto count = outer.rbegin(); count != outer.rend(); ++count) {
        Type array;
        array.kind = Kind::Array;
        array.element = made.type;
        array.count = *count;
        array.line = made.line;
        made.type = scope.add(std::move(array));
    }
    attributeList(cursor, scope, made.attributes);
    return made;
}

} // namespace Norvu::Types::Grammar
