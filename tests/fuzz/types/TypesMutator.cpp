#include "fuzz/Targets.h"
#include "fuzz/room/Pieces.h"

#include <cctype>
#include <cstring>

namespace Fuzz {

namespace {

bool isWord(char byte) {
    return std::isalnum(static_cast<unsigned char>(byte)) != 0 || byte == '_';
}

/// Names, numbers, comments, blanks and single signs.
Pieces tokensOf(const std::string& text) {
    Pieces pieces;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at + 1;
        if (isWord(text[at])) {
            while (end < text.size() && isWord(text[end])) {
                ++end;
            }
        } else if (text.compare(at, 2, "/*") == 0) {
            const std::size_t close = text.find("*/", at + 2);
            end = close == std::string::npos ? text.size() : close + 2;
        }
        pieces.push_back(text.substr(at, end - at));
        at = end;
    }
    return pieces;
}

/// What a ";" or a brace ends: members, and the beginnings and ends of structures.
Pieces membersOf(const std::string& text) {
    Pieces pieces(1);
    for (const std::string& token : tokensOf(text)) {
        pieces.back() += token;
        if (token == ";" || token == "{" || token == "}" || token == ",") {
            pieces.emplace_back();
        }
    }
    return pieces;
}

/// Whole declarations: what a ";" outside all braces ends.
Pieces declarationsOf(const std::string& text) {
    Pieces pieces(1);
    int depth = 0;
    for (const std::string& token : tokensOf(text)) {
        pieces.back() += token;
        depth += token == "{" ? 1 : token == "}" ? -1 : 0;
        if (token == ";" && depth <= 0) {
            pieces.emplace_back();
        }
    }
    return pieces;
}

constexpr const char* kTokens[] = {
    "struct",   "union",      "enum",    "typedef",  "unsigned", "signed",  "char",
    "short",    "int",        "long",    "float",    "double",   "_Bool",   "const",
    "static",   "volatile",   "class",   "public",   "void",     "T",       "A",
    "x",        "{",          "}",       ";",        ":",        "[",       "]",
    "(",        ")",          "*",       "&",        ",",        "=",       "<",
    ">",        "-",          "<<",      ">>",       "-1",       "/",       "%",
    "+",        "0x7fffffff", "uint8_t", "uint64_t", "__int128", "virtual", "template<int N>",
    "operator", "std::",      "\n",      "..."};
constexpr const char* kMembers[] = {" int s[64 >> 2];",
                                    " int d[(7 - 1) / 2 % 4];",
                                    " char n[sizeof(int) * 2];",
                                    " enum { P = 1 << 3, Q = ~P, R = -1 } p;",
                                    " char s[4];",
                                    " unsigned b : 3;",
                                    " uint32_t ip; /* ipv4 */",
                                    " uint8_t m[6]; /* mac */",
                                    " struct { int x; } n;",
                                    " union { int i; float f; };",
                                    " enum E { A, B = 7 } e;",
                                    " void (*f)(int);",
                                    " T* self;",
                                    " uint64_t t; /* be time */",
                                    " int g[2][3];",
                                    " uint8_t z[16]; /* ipv6 */",
                                    " : 0;",
                                    " double d __attribute__((aligned(16)));"};
constexpr const char* kDeclarations[] = {
    "struct A { char c; int i; };",
    "typedef struct T { A a; } T;",
    "enum E : unsigned char { One = 1, Two };",
    "#pragma pack(push, 1)\n",
    "#pragma pack(pop)\n",
    "struct T : public A { int more; };",
    "struct T {\n\tint a; /*     0     4 */\n\t/* size: 4, cachelines: 1, members: 1 */\n};",
    "template <typename X> struct T<X> { X x; };",
    "typedef unsigned char byte[3];",
};

constexpr Grain kGrains[] = {{tokensOf, kTokens}, {membersOf, kMembers}, {declarationsOf, kDeclarations}};

} // namespace

std::size_t mutateTypes(unsigned char* data, std::size_t size, std::size_t room, unsigned seed) {
    return mutateText(data, size, room, seed, kGrains);
}

std::size_t crossTypes(Bytes one, Bytes other, unsigned char* out, std::size_t room, unsigned seed) {
    return crossTexts(one, other, out, room, seed, kGrains);
}

} // namespace Fuzz
