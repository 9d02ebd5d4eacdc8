#include "Norvu/Types/Grammar/Cursor.h"

namespace Norvu::Types::Grammar {

std::string describe(const Token& token) {
    return token.kind == Token::Kind::End ? "the end of the file" : "'" + std::string(token.text) + "'";
}

void Cursor::expect(std::string_view text) {
    if (!accept(text)) {
        failBefore("'" + std::string(text) + "'");
    }
}

const Token& Cursor::lookAhead(unsigned ahead) {
    peek();
    std::size_t at = at_;
    while (ahead != 0 && tokens_[at].kind != Token::Kind::End) {
        ++at;
        if (!isPassedOver(tokens_[at])) {
            --ahead;
        }
    }
    return tokens_[at];
}

void Cursor::skipGroup() {
    std::size_t depth = 0;
    do {
        const Token& token = next();
        if (token.kind == Token::Kind::End) {
            fail("brackets that do not match");
        }
        if (token.text == "(" || token.text == "[" || token.text == "{") {
            ++depth;
        } else if (token.text == ")" || token.text == "]" || token.text == "}") {
            if (depth == 0) {
                throw DescriptionError(token.line, "brackets that do not match");
            }
            --depth;
        }
    } while (depth != 0);
}

void Cursor::skipItem() {
    for (;;) {
        const Token& token = peek();
        if (token.kind == Token::Kind::End || token.text == "}") {
            return;
        }
        if (token.text == ";") {
            next();
            return;
        }
        const bool body = token.text == "{";
        skipGroup();
        if (body && !at("{") && !at(",")) { // in front of a constructor's body others may initialize members
            accept(";");
            return;
        }
    }
}

void Cursor::failBefore(const std::string& expected) {
    fail("expected " + expected + " before " + describe(peek()));
}

Cursor::Deeper::Deeper(Cursor& cursor) : cursor_(cursor) {
    if (++cursor.depth_ > kMostDepth) {
        cursor.fail("nested more than " + std::to_string(kMostDepth) + " deep");
    }
}

} // namespace Norvu::Types::Grammar
