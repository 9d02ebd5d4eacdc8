#pragma once

#include "Norvu/Types/Model.h"

#include <string_view>
#include <vector>

namespace Norvu::Types {

struct Token {
    enum class Kind : std::uint8_t { Name, Number, String, Punctuation, Comment, Pack, End };
    Kind kind;
    std::string_view text; ///< of the file; a comment's without its marks
    unsigned line;         ///< where it begins
    unsigned lastLine;     ///< where it ends
    std::uint32_t pack;    ///< Pack: the alignment limit that holds from here on
};

/// Takes a description apart. The tokens look into `text`, and the last of them is End. Preprocessor lines are skipped, except
/// that #pragma pack becomes a token. Throws DescriptionError for what can be no token, an unended comment, and a text of more
/// tokens than a description may have.
std::vector<Token> tokenize(std::string_view text);

} // namespace Norvu::Types
