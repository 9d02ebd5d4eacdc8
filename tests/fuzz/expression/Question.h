#pragma once

#include "fuzz/room/Archive.h"

#include <string>
#include <vector>

namespace Fuzz {

/// An input of the look-up: its first line is the expression, every other the name of a collection.
struct Question {
    std::string expression; ///< with "@" in place of the collections' root resolved
    std::vector<std::string> collections;

    Question(Bytes input, const std::string& root);
};

} // namespace Fuzz
