#include "Norvu/Types/Grammar/Expression.h"

#include <charconv>
#include <limits>
#include <string_view>

namespace Norvu::Types::Grammar {

namespace {

std::int64_t apply(unsigned line, char sign, std::int64_t left, std::int64_t right) {
    std::int64_t result = 0;
    bool bad = false;
    switch (sign) {
    case '|':
        return left | right;
    case '^':
        return left ^ right;
    case '&':
        return left & right;
    case '+':
        bad = __builtin_add_overflow(left, right, &result);
        break;
    case '-':
        bad = __builtin_sub_overflow(left, right, &result);
        break;
    case '*':
        bad = __builtin_mul_overflow(left, right, &result);
        break;
    case '<':
        bad = right < 0 || right > 62 || left < 0 || left > std::numeric_limits<std::int64_t>::max() >> right;
        result = bad ? 0 : left << right;
        break;
    case '>':
        bad = right < 0 || right > 62;
        result = bad ? 0 : left >> right;
        break;
    default:
        bad = right == 0 || (left == std::numeric_limits<std::int64_t>::min() && right == -1);
        result = bad ? 0 : sign == '/' ? left / right : left % right;
    }
    if (bad) {
        throw DescriptionError(line, "a constant that cannot be computed");
    }
    return result;
}

std::uint64_t number(const Token& token) {
    std::string_view digits = token.text;
    int base = 10;
    if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
        base = 16;
        digits.remove_prefix(2);
    } else if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'b' || digits[1] == 'B')) {
        base = 2;
        digits.remove_prefix(2);
    } else if (digits.size() > 1 && digits[0] == '0') {
        base = 8;
    }
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
    const std::string_view suffix = digits.substr(static_cast<std::size_t>(end - digits.data()));
    if (error != std::errc{} || suffix.find_first_not_of("uUlL") != std::string_view::npos || suffix.size() > 3) {
        throw DescriptionError(token.line, "bad number '" + std::string(token.text) + "'");
    }
    return value;
}

/// By precedence. Borrows both for the length of one expression.
class Expression {
public:
    Expression(Cursor& cursor, const Scope& scope) : cursor_(cursor), scope_(scope) {}

    std::int64_t binary(unsigned level) {
        const Cursor::Deeper deeper(cursor_);
        constexpr unsigned levels = 6;
        if (level == levels) {
            return unary();
        }
        std::int64_t left = binary(level + 1);
        for (;;) {
            const unsigned line = cursor_.peek().line;
            const std::string_view text = cursor_.peek().text;
            const bool shift = (text == "<" || text == ">") && cursor_.lookAhead(1).text == text;
            const char sign = text.size() == 1 ? text[0] : '\0';
            const unsigned its = sign == '|'                                 ? 0
                                 : sign == '^'                               ? 1
                                 : sign == '&'                               ? 2
                                 : shift                                     ? 3
                                 : sign == '+' || sign == '-'                ? 4
                                 : sign == '*' || sign == '/' || sign == '%' ? 5
                                                                             : levels;
            if (its != level) {
                return left;
            }
            cursor_.next();
            if (shift) {
                cursor_.next();
            }
            left = apply(line, sign, left, binary(level + 1));
        }
    }

private:
    std::int64_t unary() {
        const Cursor::Deeper deeper(cursor_);
        const unsigned line = cursor_.peek().line;
        if (cursor_.accept("-")) {
            return apply(line, '-', 0, unary());
        }
        if (cursor_.accept("+")) {
            return unary();
        }
        if (cursor_.accept("~")) {
            return ~unary();
        }
        if (cursor_.accept("(")) {
            const std::int64_t value = binary(0);
            cursor_.expect(")");
            return value;
        }
        const Token& token = cursor_.next();
        if (token.kind == Token::Kind::Number) {
            return static_cast<std::int64_t>(number(token)); // what C makes of it in 64 bits with a sign
        }
        if (token.kind == Token::Kind::Name) {
            if (const auto known = scope_.constant(token.text)) {
                return *known;
            }
        }
        throw DescriptionError(token.line, "expected a number before " + describe(token));
    }

    Cursor& cursor_;
    const Scope& scope_;
};

} // namespace

bool isUnsignedLiteral(Cursor& cursor) {
    const Token& token = cursor.peek();
    const std::string_view behind = cursor.lookAhead(1).text;
    return token.kind == Token::Kind::Number && (behind == "," || behind == "}") &&
           number(token) > std::uint64_t{std::numeric_limits<std::int64_t>::max()};
}

std::int64_t expression(Cursor& cursor, const Scope& scope) {
    return Expression(cursor, scope).binary(0);
}

} // namespace Norvu::Types::Grammar
