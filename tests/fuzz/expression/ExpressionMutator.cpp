#include "fuzz/Targets.h"
#include "fuzz/room/Pieces.h"

namespace Fuzz {

namespace {

/// Names, and each sign that a pattern or a path may have.
Pieces tokensOf(const std::string& text) {
    Pieces pieces;
    bool plain = false;
    for (const char byte : text) {
        const bool sign = std::string("*?[]!-\\/\n.^:@").find(byte) != std::string::npos;
        if (plain && !sign) {
            pieces.back() += byte;
        } else {
            pieces.emplace_back(1, byte);
        }
        plain = !sign;
    }
    return pieces;
}

constexpr const char* kTokens[] = {"*",  "?",  "[",   "]",     "[!a]",    "[a-z]", "[[:alpha:]]",    "\\",
                                   "/",  ".",  "..",  "@/",    "@",       "a",     "prices",         "orders",
                                   "\n", "[]", "[]]", "[z-a]", "\x1b[2J", "\xff",  "[[.hyphen.]-z]", "[[=a=]]",
                                   " ",  "**", "\\*"};
constexpr const char* kLines[] = {"\n",     "a\n",    "prices\n", "prices/eu\n", "orders\n",  "a/b/c\n",
                                  "a*b\n",  "[x]\n",  "-x\n",     " \n",         "\x1b[2J\n", "@/prices\n",
                                  "pri*\n", "*/eu\n", "\\a\n",    "aprices\n",   "prices2\n"};
constexpr Grain kGrains[] = {{tokensOf, kTokens}, {linesOf, kLines}};

} // namespace

std::size_t mutateExpression(unsigned char* data, std::size_t size, std::size_t room, unsigned seed) {
    return mutateText(data, size, room, seed, kGrains);
}

std::size_t crossExpression(Bytes one, Bytes other, unsigned char* out, std::size_t room, unsigned seed) {
    return crossTexts(one, other, out, room, seed, kGrains);
}

} // namespace Fuzz
