#pragma once

#include "fuzz/room/Archive.h"
#include "fuzz/room/Random.h"

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace Fuzz {

/// A text cut into parts that follow each other without a gap.
using Pieces = std::vector<std::string>;

/// One way to look at a text: how it is cut, and what may stand in the place of a piece.
struct Grain {
    Pieces (*split)(const std::string& text);
    std::span<const char* const> words;
};

/// Texts by lines, line ends included.
Pieces linesOf(const std::string& text);

/// Removes, doubles, exchanges, moves or replaces pieces of a text, changes a number in it, or, now and then, bytes.
std::string changeText(std::string text, std::span<const Grain> grains, Random& random);

/// The same for a whole input.
std::size_t mutateText(unsigned char* data, std::size_t size, std::size_t room, unsigned seed,
                       std::span<const Grain> grains);

/// Pieces of the other text within the one.
std::string crossText(const std::string& one, const std::string& other, std::span<const Grain> grains, Random& random);
std::size_t crossTexts(Bytes one, Bytes other, unsigned char* out, std::size_t room, unsigned seed,
                       std::span<const Grain> grains);

} // namespace Fuzz
