#include "fuzz/room/Pieces.h"

#include "fuzz/Targets.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace Fuzz {

namespace {

std::string joined(const Pieces& pieces) {
    std::string text;
    for (const std::string& piece : pieces) {
        text += piece;
    }
    return text;
}

Pieces::iterator at(Pieces& pieces, std::size_t index) {
    return pieces.begin() + static_cast<std::ptrdiff_t>(index);
}

bool isDigit(char byte) {
    return byte >= '0' && byte <= '9';
}

constexpr const char* kNumbers[] = {"0",   "1",          "2",          "3",          "7",
                                    "8",   "16",         "31",         "64",         "65",
                                    "255", "4294967295", "2147483647", "1000000",    "18446744073709551615",
                                    "-1",  "4294967296", "0x10",       "0xffffffff", "99999999999999999999999"};

/// Another number in the place of one of the text's.
void changeNumber(std::string& text, Random& random) {
    std::vector<std::size_t> begins;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (isDigit(text[i]) && (i == 0 || !isDigit(text[i - 1]))) {
            begins.push_back(i);
        }
    }
    if (!begins.empty()) {
        const std::size_t begin = begins[random.below(begins.size())];
        std::size_t length = 1;
        while (begin + length < text.size() && isDigit(text[begin + length])) {
            ++length;
        }
        text.replace(begin, length, kNumbers[random.below(std::size(kNumbers))]);
    }
}

void changePieces(Pieces& pieces, std::span<const char* const> words, Random& random) {
    const std::size_t one = random.below(pieces.size());
    const std::size_t other = random.below(pieces.size());
    switch (random.below(7)) {
    case 0:
        pieces.erase(at(pieces, one));
        break;
    case 1:
        pieces.insert(at(pieces, other), std::string(pieces[one]));
        break;
    case 2:
        std::swap(pieces[one], pieces[other]);
        break;
    case 3: // a few at once
        pieces.erase(at(pieces, std::min(one, other)), at(pieces, std::max(one, other)));
        break;
    case 4:
        pieces[one] = words[random.below(words.size())];
        break;
    default:
        pieces.insert(at(pieces, one), words[random.below(words.size())]);
        break;
    }
}

std::size_t stored(const std::string& text, unsigned char* out, std::size_t room) {
    const std::size_t size = std::min(text.size(), room);
    std::memcpy(out, text.data(), size);
    return size;
}

} // namespace

Pieces linesOf(const std::string& text) {
    Pieces lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size() - 1) + 1;
        lines.push_back(text.substr(begin, end - begin));
        begin = end;
    }
    return lines;
}

std::string changeText(std::string text, std::span<const Grain> grains, Random& random) {
    for (std::size_t changes = 1 + random.below(4); changes != 0; --changes) {
        const std::size_t kind = random.below(10);
        if (kind < 2) {
            changeNumber(text, random);
        } else if (kind == 2) {
            const std::size_t size = text.size();
            text.resize(size + 32);
            text.resize(LLVMFuzzerMutate(reinterpret_cast<unsigned char*>(text.data()), size, size + 32));
        } else {
            const Grain& grain = grains[random.below(grains.size())];
            Pieces pieces = grain.split(text);
            if (pieces.empty()) {
                pieces.emplace_back();
            }
            changePieces(pieces, grain.words, random);
            text = joined(pieces);
        }
    }
    return text;
}

std::size_t mutateText(unsigned char* data, std::size_t size, std::size_t room, unsigned seed,
                       std::span<const Grain> grains) {
    Random random(seed);
    return stored(changeText(std::string(data, data + size), grains, random), data, room);
}

std::string crossText(const std::string& one, const std::string& other, std::span<const Grain> grains, Random& random) {
    const Grain& grain = grains[random.below(grains.size())];
    Pieces pieces = grain.split(one);
    const Pieces from = grain.split(other);
    const std::size_t begin = random.below(from.size());
    const std::size_t end = begin + random.below(from.size() - begin + 1);
    const std::size_t place = random.below(pieces.size() + 1);
    const std::size_t gone = random.once(2) ? 0 : random.below(pieces.size() - place + 1);
    pieces.erase(at(pieces, place), at(pieces, place + gone));
    pieces.insert(at(pieces, place), from.begin() + static_cast<std::ptrdiff_t>(begin),
                  from.begin() + static_cast<std::ptrdiff_t>(end));
    return joined(pieces);
}

std::size_t crossTexts(Bytes one, Bytes other, unsigned char* out, std::size_t room, unsigned seed,
                       std::span<const Grain> grains) {
    Random random(seed);
    return stored(crossText({one.begin(), one.end()}, {other.begin(), other.end()}, grains, random), out, room);
}

} // namespace Fuzz
