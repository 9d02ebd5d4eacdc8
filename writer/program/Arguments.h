#pragma once

#include <cstdint>
#include <exception>
#include <map>
#include <string>
#include <vector>

namespace Halyx::Writer {

/// A command line that cannot be understood. The program prints it and returns 2.
class UsageError : public std::exception {
public:
    explicit UsageError(std::string text) : text_(std::move(text)) {}
    [[nodiscard]] const char* what() const noexcept override { return text_.c_str(); }

private:
    std::string text_;
};

/// One option of a command: "--name", with a value when `value` (its name in the help text) is not empty.
struct OptionDescription {
    const char* name;
    const char* value;
    const char* help;
};

/// The arguments of a command, taken apart: options (`--name VALUE`, `--name=VALUE`, `--name`) anywhere, `--` before
/// operands that look like options.
class Arguments {
public:
    /// Throws UsageError for an unknown option, a missing value and a wrong number of operands.
    Arguments(const std::vector<std::string>& words, const std::vector<OptionDescription>& known,
              std::size_t leastOperands, std::size_t mostOperands);

    [[nodiscard]] bool has(const std::string& name) const { return options_.count(name) != 0; }
    /// The option's value, or `otherwise`.
    [[nodiscard]] std::string text(const std::string& name, const std::string& otherwise = {}) const;
    /// The option's value as a number from `least` to `most`, or `otherwise`. Throws UsageError when it is none.
    [[nodiscard]] std::uint64_t number(const std::string& name, std::uint64_t otherwise, std::uint64_t least,
                                       std::uint64_t most) const;
    [[nodiscard]] std::uint32_t number32(const std::string& name, std::uint32_t otherwise, std::uint32_t least = 0,
                                         std::uint32_t most = 0xffffffff) const {
        return static_cast<std::uint32_t>(number(name, otherwise, least, most));
    }
    /// The option's value as a number of seconds, fractions allowed, or `otherwise`.
    [[nodiscard]] double seconds(const std::string& name, double otherwise) const;

    [[nodiscard]] const std::vector<std::string>& operands() const { return operands_; }

private:
    std::map<std::string, std::string> options_;
    std::vector<std::string> operands_;
};

} // namespace Halyx::Writer
