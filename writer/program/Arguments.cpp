#include "writer/program/Arguments.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace Halyx::Writer {

Arguments::Arguments(const std::vector<std::string>& words, const std::vector<OptionDescription>& known,
                     std::size_t leastOperands, std::size_t mostOperands) {
    bool options = true;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (!options || word.size() < 2 || word[0] != '-') {
            operands_.push_back(word);
            continue;
        }
        if (word == "--") {
            options = false;
            continue;
        }
        const std::size_t equals = word.find('=');
        const std::string name = word.substr(0, equals);
        const auto found = std::find_if(known.begin(), known.end(),
                                        [&](const OptionDescription& option) { return name == option.name; });
        if (found == known.end()) {
            throw UsageError("unknown option '" + name + "'");
        }
        const bool wantsValue = *found->value != '\0';
        if (!wantsValue && equals != std::string::npos) {
            throw UsageError("option '" + name + "' takes no value");
        }
        if (wantsValue && equals == std::string::npos && i + 1 == words.size()) {
            throw UsageError("option '" + name + "' needs a value: " + found->value);
        }
        options_[name] = !wantsValue                   ? std::string()
                         : equals != std::string::npos ? word.substr(equals + 1)
                                                       : words[++i];
    }
    if (operands_.size() < leastOperands) {
        throw UsageError("an argument is missing");
    }
    if (operands_.size() > mostOperands) {
        throw UsageError("unexpected argument '" + operands_[mostOperands] + "'");
    }
}

std::string Arguments::text(const std::string& name, const std::string& otherwise) const {
    const auto option = options_.find(name);
    return option == options_.end() ? otherwise : option->second;
}

std::uint64_t Arguments::number(const std::string& name, std::uint64_t otherwise, std::uint64_t least,
                                std::uint64_t most) const {
    const auto option = options_.find(name);
    if (option == options_.end()) {
        return otherwise;
    }
    const std::string& digits = option->second;
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc{} || end != digits.data() + digits.size() || value < least || value > most) {
        throw UsageError("option '" + name + "' needs a number from " + std::to_string(least) + " to " +
                         std::to_string(most) + ", not '" + digits + "'");
    }
    return value;
}

double Arguments::seconds(const std::string& name, double otherwise) const {
    const auto option = options_.find(name);
    if (option == options_.end()) {
        return otherwise;
    }
    const std::string& digits = option->second;
    double value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc{} || end != digits.data() + digits.size() || !std::isfinite(value) || value < 0 ||
        value > 1e9) {
        throw UsageError("option '" + name + "' needs a number of seconds, not '" + digits + "'");
    }
    return value;
}

} // namespace Halyx::Writer
