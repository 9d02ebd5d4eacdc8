#include "fuzz/expression/Question.h"

#include <algorithm>
#include <sstream>

namespace Fuzz {

namespace {

constexpr std::size_t kMostCollections = 8;
constexpr std::size_t kMostComponent = 48;
constexpr std::size_t kMostName = 200;

/// The name without what no directory is called, and without what would lead out of the root.
std::string directoryName(const std::string& line) {
    std::string name;
    std::istringstream components(line.substr(0, std::min(line.find('\0'), kMostName)));
    for (std::string component; std::getline(components, component, '/');) {
        component.resize(std::min(component.size(), kMostComponent));
        if (!component.empty() && component != "." && component != "..") {
            name += (name.empty() ? "" : "/") + component;
        }
    }
    return name;
}

/// Whether the one lies below the other, or is it: a collection's own directory is not searched further, and which of two is
/// seen first is the directory's matter.
bool overlap(const std::string& one, const std::string& other) {
    const std::string& shorter = one.size() < other.size() ? one : other;
    const std::string& longer = one.size() < other.size() ? other : one;
    return (longer + "/").compare(0, shorter.size() + 1, shorter + "/") == 0;
}

} // namespace

Question::Question(Bytes input, const std::string& root) {
    std::istringstream lines(std::string(input.begin(), input.end()));
    std::getline(lines, expression);
    expression.resize(std::min(expression.find('\0'), expression.size()));
    if (!expression.empty() && expression[0] == '@') {
        expression.replace(0, 1, root);
    }
    for (std::string line; collections.size() < kMostCollections && std::getline(lines, line);) {
        const std::string name = directoryName(line);
        if (!name.empty() && std::none_of(collections.begin(), collections.end(),
                                          [&](const std::string& known) { return overlap(name, known); })) {
            collections.push_back(name);
        }
    }
}

} // namespace Fuzz
