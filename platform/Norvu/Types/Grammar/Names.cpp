#include "Norvu/Types/Grammar/Names.h"

#include <algorithm>
#include <iterator>

namespace Norvu::Types::Grammar {

namespace {

std::string angles(Cursor& cursor) {
    std::string text;
    int depth = 0;
    do {
        const Token& token = cursor.next();
        if (token.kind == Token::Kind::End || token.text == ";" || token.text == "{") {
            throw DescriptionError(token.line, "'<' without '>'");
        }
        depth += token.text == "<" ? 1 : token.text == ">" ? -1 : 0;
        text += token.text;
        if (token.text == "," || (token.kind == Token::Kind::Name && (cursor.peek().kind == Token::Kind::Name ||
                                                                      cursor.peek().kind == Token::Kind::Number))) {
            text += " ";
        }
    } while (depth > 0);
    return text;
}

} // namespace

bool isQualifier(std::string_view word) {
    constexpr std::string_view words[] = {"const",    "volatile",   "restrict",      "__restrict", "register",
                                          "mutable",  "__const",    "__extension__", "constexpr",  "inline",
                                          "__signed", "__volatile", "_Atomic",       "typename"};
    return std::find(std::begin(words), std::end(words), word) != std::end(words);
}

std::string typeName(Cursor& cursor) {
    std::string name(cursor.next().text);
    while (cursor.at("<")) {
        name += angles(cursor);
        if (cursor.at(":") && cursor.lookAhead(1).text == ":") {
            cursor.next();
            cursor.next();
            name += "::";
            if (!cursor.atName()) {
                cursor.failBefore("a name");
            }
            name += cursor.next().text;
        }
    }
    return name;
}

std::string memberName(Cursor& cursor) {
    std::string name(cursor.next().text);
    while (cursor.at(".") && cursor.lookAhead(1).kind == Token::Kind::Name) {
        cursor.next();
        name += ".";
        name += cursor.next().text;
    }
    return name;
}

void skipAngles(Cursor& cursor) {
    if (cursor.at("<")) {
        (void)angles(cursor);
    }
}

} // namespace Norvu::Types::Grammar
