#include "Norvu/Types/Grammar/Attributes.h"

#include "Norvu/Types/Grammar/Expression.h"

#include <algorithm>
#include <string_view>

namespace Norvu::Types::Grammar {

namespace {

constexpr std::uint32_t kMostAlign = 1U << 16;

std::uint32_t alignment(Cursor& cursor, const Scope& scope) {
    const unsigned line = cursor.peek().line;
    const std::int64_t align = expression(cursor, scope);
    if (align <= 0 || align > kMostAlign || (align & (align - 1)) != 0) {
        throw DescriptionError(line, "an alignment of " + std::to_string(align));
    }
    return static_cast<std::uint32_t>(align);
}

bool attribute(Cursor& cursor, const Scope& scope, Attributes& attributes) {
    if (cursor.accept(",")) {
        return true;
    }
    if (!cursor.atName()) {
        return false;
    }
    const std::string_view name = cursor.next().text;
    if (name == "packed" || name == "__packed__") {
        attributes.packed = true;
    } else if (name == "aligned" || name == "__aligned__") {
        if (cursor.accept("(")) {
            attributes.align = std::max(attributes.align, alignment(cursor, scope));
            cursor.expect(")");
        } else {
            attributes.align = std::max(attributes.align, 16U);
        }
        return true;
    }
    if (cursor.at("(")) {
        cursor.skipGroup();
    }
    return true;
}

} // namespace

void attributeList(Cursor& cursor, const Scope& scope, Attributes& attributes) {
    for (;;) {
        if (cursor.at("__attribute__") || cursor.at("__attribute")) {
            cursor.next();
            cursor.expect("(");
            cursor.expect("(");
            while (!cursor.at(")")) {
                if (!attribute(cursor, scope, attributes)) {
                    cursor.failBefore("an attribute");
                }
                cursor.accept(",");
            }
            cursor.expect(")");
            cursor.expect(")");
        } else if (cursor.at("alignas") || cursor.at("_Alignas")) {
            cursor.next();
            cursor.expect("(");
            if (cursor.atName() && !scope.constant(cursor.peek().text)) {
                while (!cursor.at(")")) {
                    cursor.skipGroup(); // of a type: its members tell
                }
            } else {
                attributes.align = std::max(attributes.align, alignment(cursor, scope));
            }
            cursor.expect(")");
        } else if (cursor.at("[") && cursor.lookAhead(1).text == "[") {
            cursor.skipGroup();
        } else {
            return;
        }
    }
}

} // namespace Norvu::Types::Grammar
