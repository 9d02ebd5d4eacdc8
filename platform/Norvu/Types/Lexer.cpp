#include "Norvu/Types/Lexer.h"

#include <algorithm>
#include <charconv>

namespace Norvu::Types {

namespace {

constexpr std::size_t kMostTokens = 200000;
constexpr std::size_t kMostPacks = 100;

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '$';
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

class Lexer {
public:
    explicit Lexer(std::string_view text) : rest_(text) {}

    std::vector<Token> run() {
        while (!rest_.empty()) {
            step();
            if (tokens_.size() > kMostTokens) {
                throw DescriptionError(line_, "too long");
            }
        }
        add(Token::Kind::End, 0);
        return std::move(tokens_);
    }

private:
    void add(Token::Kind kind, std::size_t length) {
        tokens_.push_back({kind, rest_.substr(0, length), line_, line_, 0});
        rest_.remove_prefix(length);
        lineBegins_ = false;
    }

    void step() {
        const char c = rest_[0];
        if (c == '\n') {
            ++line_;
            rest_.remove_prefix(1);
            lineBegins_ = true;
        } else if (c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v') {
            rest_.remove_prefix(1);
        } else if (c == '#' && lineBegins_) {
            preprocessorLine();
        } else if (rest_.substr(0, 2) == "/*") {
            blockComment();
        } else if (rest_.substr(0, 2) == "//") {
            lineComment();
        } else if (isLetter(c)) {
            add(Token::Kind::Name, nameLength());
        } else if (isDigit(c)) {
            add(Token::Kind::Number, numberLength());
        } else if (c == '"') {
            string();
        } else {
            punctuation(c);
        }
    }

    /// A name, its scopes included: std::chrono::seconds.
    [[nodiscard]] std::size_t nameLength() const {
        std::size_t length = 0;
        for (;;) {
            while (length < rest_.size() && (isLetter(rest_[length]) || isDigit(rest_[length]))) {
                ++length;
            }
            if (rest_.substr(length, 2) != "::" || length + 2 >= rest_.size() || !isLetter(rest_[length + 2])) {
                return length;
            }
            length += 2;
        }
    }

    [[nodiscard]] std::size_t numberLength() const {
        std::size_t length = 0;
        while (length < rest_.size() && (isLetter(rest_[length]) || isDigit(rest_[length]))) {
            ++length;
        }
        return length;
    }

    /// A message of an assertion or attribute; nothing that a layout depends on.
    void string() {
        std::size_t length = 1;
        while (length < rest_.size() && rest_[length] != '"' && rest_[length] != '\n') {
            length += rest_[length] == '\\' ? 2U : 1U;
        }
        if (length >= rest_.size() || rest_[length] != '"') {
            throw DescriptionError(line_, "string without end");
        }
        add(Token::Kind::String, length + 1);
    }

    void punctuation(char c) {
        constexpr std::string_view known = "{}()[];:,*&=<>+-/%|^~.!";
        if (known.find(c) == std::string_view::npos) {
            throw DescriptionError(line_,
                                   "unexpected character with code " + std::to_string(static_cast<unsigned char>(c)));
        }
        add(Token::Kind::Punctuation, 1);
    }

    void blockComment() {
        const std::size_t end = rest_.find("*/", 2);
        if (end == std::string_view::npos) {
            throw DescriptionError(line_, "comment without end");
        }
        // pahole puts a base class's members, comments and all, into a comment: "/* struct Base {" to "}<ancestor>; */".
        const std::string_view text = rest_.substr(2, end - 2);
        const bool base = text.substr(0, 8) == " struct " || text.substr(0, 7) == " class ";
        if (base && text.find('{') != std::string_view::npos && text.find("<ancestor>") == std::string_view::npos) {
            rest_.remove_prefix(2);
            return;
        }
        comment(2, end - 2, end + 2);
    }

    void lineComment() {
        comment(2, std::min(rest_.find('\n'), rest_.size()) - 2, std::min(rest_.find('\n'), rest_.size()));
    }

    void comment(std::size_t begin, std::size_t length, std::size_t whole) {
        const bool beginsLine = lineBegins_;
        const std::string_view text = rest_.substr(begin, length);
        const auto lines = static_cast<unsigned>(std::count(text.begin(), text.end(), '\n'));
        tokens_.push_back({Token::Kind::Comment, text, line_, line_ + lines, 0});
        line_ += lines;
        rest_.remove_prefix(whole);
        lineBegins_ = beginsLine;
    }

    void preprocessorLine() {
        std::size_t length = 0;
        for (;;) {
            length = std::min(rest_.find('\n', length), rest_.size());
            if (length == rest_.size() || length == 0 || rest_[length - 1] != '\\') {
                break;
            }
            ++length;
        }
        const std::string_view text = rest_.substr(0, length);
        pragma(text);
        line_ += static_cast<unsigned>(std::count(text.begin(), text.end(), '\n'));
        rest_.remove_prefix(length);
    }

    /// #pragma pack(N), pack(push), pack(push, N), pack(pop), pack().
    void pragma(std::string_view text) {
        std::vector<std::string_view> words;
        for (std::size_t at = 1; at < text.size();) {
            std::size_t end = at;
            while (end < text.size() && (isLetter(text[end]) || isDigit(text[end]))) {
                ++end;
            }
            if (end > at) {
                words.push_back(text.substr(at, end - at));
            }
            at = std::max(end, at + 1);
        }
        if (words.size() < 2 || words[0] != "pragma" || words[1] != "pack") {
            return;
        }
        std::uint32_t limit = words.size() == 2 ? 0 : pack_;
        for (std::size_t i = 2; i < words.size(); ++i) {
            if (words[i] == "push") {
                if (packs_.size() == kMostPacks) {
                    throw DescriptionError(line_, "too many #pragma pack(push)");
                }
                packs_.push_back(pack_);
            } else if (words[i] == "pop") {
                if (packs_.empty()) {
                    throw DescriptionError(line_, "#pragma pack(pop) without push");
                }
                limit = packs_.back();
                packs_.pop_back();
            } else if (isDigit(words[i][0])) {
                const auto [end, error] = std::from_chars(words[i].data(), words[i].data() + words[i].size(), limit);
                if (error != std::errc{} || end != words[i].data() + words[i].size() || limit == 0 || limit > 16 ||
                    (limit & (limit - 1)) != 0) {
                    throw DescriptionError(line_, "#pragma pack takes 1, 2, 4, 8 or 16");
                }
            }
        }
        pack_ = limit;
        tokens_.push_back({Token::Kind::Pack, {}, line_, line_, pack_});
    }

    std::string_view rest_;
    std::vector<Token> tokens_;
    std::vector<std::uint32_t> packs_;
    std::uint32_t pack_ = 0;
    unsigned line_ = 1;
    bool lineBegins_ = true;
};

} // namespace

std::vector<Token> tokenize(std::string_view text) {
    return Lexer(text).run();
}

} // namespace Norvu::Types
