#include "Norvu/Pattern.h"

#include <fnmatch.h>

namespace Norvu::Util {

bool matchesPattern(const std::string& pattern, const std::string& text) {
    return ::fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
}

std::string literalPattern(const std::string& text) {
    std::string pattern;
    for (const char c : text) {
        if (c == '*' || c == '?' || c == '[' || c == '\\') {
            pattern += '\\';
        }
        pattern += c;
    }
    return pattern;
}

} // namespace Norvu::Util
