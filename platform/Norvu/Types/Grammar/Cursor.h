#pragma once

#include "Norvu/Types/Lexer.h"
#include "Norvu/Types/Model.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Norvu::Types::Grammar {

/// How deep structures, declarators and expressions may nest, all counted together.
inline constexpr unsigned kMostDepth = 32;

/// Walks over a description's tokens. Comments are passed over, except by the functions that have Any in their names, and the
/// alignment limit that #pragma pack sets is kept on the way. Owns the tokens and borrows the text, which has to live as long.
class Cursor {
public:
    explicit Cursor(std::string_view text) : tokens_(tokenize(text)) {}
    Cursor(const Cursor&) = delete;
    Cursor& operator=(const Cursor&) = delete;

    const Token& peek() {
        while (isPassedOver(tokens_[at_])) {
            takeAny();
        }
        return tokens_[at_];
    }
    const Token& next() {
        const Token& token = peek();
        if (token.kind != Token::Kind::End) {
            ++at_;
        }
        return token;
    }
    bool at(std::string_view text) {
        const Token& token = peek();
        return token.kind != Token::Kind::End && token.text == text;
    }
    bool atName() { return peek().kind == Token::Kind::Name; }
    bool atEnd() { return peek().kind == Token::Kind::End; }
    bool accept(std::string_view text) {
        if (!at(text)) {
            return false;
        }
        ++at_;
        return true;
    }
    void expect(std::string_view text);
    /// The token `ahead` places behind the next one, comments left out.
    const Token& lookAhead(unsigned ahead);

    /// The next token, be it a comment, and the one behind it, which is there for any but the last.
    [[nodiscard]] const Token& peekAny() const { return tokens_[at_]; }
    [[nodiscard]] const Token& behindAny() const { return tokens_[at_ + 1]; }
    /// Takes a token that is not the last.
    void takeAny() {
        if (tokens_[at_].kind == Token::Kind::Pack) {
            pack_ = tokens_[at_].pack;
        }
        ++at_;
    }
    /// The token taken last; there is one.
    [[nodiscard]] const Token& taken() const { return tokens_[at_ - 1]; }

    /// For a second try from a place where the cursor was.
    [[nodiscard]] std::size_t position() const { return at_; }
    void rewind(std::size_t position) { at_ = position; }

    /// Skips one token, or a group in brackets, however deep.
    void skipGroup();
    /// Skips to the end of a declaration: a ";", or the end of a function's body.
    void skipItem();

    /// The alignment limit that holds here; 0: none.
    [[nodiscard]] std::uint32_t pack() const { return pack_; }
    /// How many Deepers there are.
    [[nodiscard]] unsigned depth() const { return depth_; }

    [[noreturn]] void fail(const std::string& reason) { throw DescriptionError(peek().line, reason); }
    [[noreturn]] void failBefore(const std::string& expected);

    /// Every function that can come to call itself holds one: what a text nests is bounded.
    class Deeper {
    public:
        explicit Deeper(Cursor& cursor);
        ~Deeper() { --cursor_.depth_; }
        Deeper(const Deeper&) = delete;
        Deeper& operator=(const Deeper&) = delete;

    private:
        Cursor& cursor_;
    };

private:
    static bool isPassedOver(const Token& token) {
        return token.kind == Token::Kind::Comment || token.kind == Token::Kind::Pack;
    }

    std::vector<Token> tokens_;
    std::size_t at_ = 0;
    unsigned depth_ = 0;
    std::uint32_t pack_ = 0;
};

/// How a token is named in a message.
std::string describe(const Token& token);

} // namespace Norvu::Types::Grammar
