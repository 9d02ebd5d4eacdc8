#include "Norvu/DescribedTypes.h"

#include "Norvu/Text.h"
#include "Norvu/Types/Layout.h"
#include "Norvu/Types/Parser.h"
#include "Norvu/Types/Program.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <iostream>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace Norvu::Platform {

namespace {

using Types::Abi;
using Types::DescriptionError;

/// A description longer than this is none.
constexpr std::size_t kMostBytes = 1U << 20;

/// Prints by the operations that a description was compiled to.
class DescribedPrinter final : public ValuePrinter {
public:
    DescribedPrinter(const Types::Declarations& declarations, const Types::Layout& layout, unsigned size)
        : ValuePrinter(size), pretty_(declarations, layout, ValueStyle::Pretty),
          json_(declarations, layout, ValueStyle::Json) {}

    void toString(const void* value, ValueStyle style, std::string& out) const override {
        (style == ValueStyle::Json ? json_ : pretty_).run(static_cast<const unsigned char*>(value), out);
    }

private:
    Types::Program pretty_;
    Types::Program json_;
};

/// Whether a type's name may be looked for: a name with a "/" could lead anywhere.
bool isFileName(const std::string& typeName) {
    const auto allowed = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               std::string_view("_:<>,.+-[] ").find(c) != std::string_view::npos;
    };
    return !typeName.empty() && typeName[0] != '.' && std::all_of(typeName.begin(), typeName.end(), allowed);
}

/// Beside the program that runs: PREFIX/bin/halyx finds PREFIX/share/halyx/types wherever PREFIX is.
std::string installedTypes() {
    char program[4096];
    const ssize_t length = ::readlink("/proc/self/exe", program, sizeof program);
    std::string path(program, length > 0 ? static_cast<std::size_t>(length) : 0);
    for (int up = 0; up < 2; ++up) {
        path.resize(std::min(path.rfind('/'), path.size()));
    }
    return path + "/share/halyx/types";
}

std::vector<std::string> directories() {
    const char* const setting = std::getenv("HALYX_TYPE_PATH");
    std::vector<std::string> found;
    std::string_view rest = setting != nullptr ? setting : "";
    if (setting == nullptr) {
        return {installedTypes()};
    }
    while (!rest.empty()) {
        const std::size_t length = std::min(rest.find(':'), rest.size());
        if (length != 0) {
            found.emplace_back(rest.substr(0, length));
        }
        rest.remove_prefix(std::min(length + 1, rest.size()));
    }
    return found;
}

/// The file's text; nothing when there is no such regular file. Throws DescriptionError when it cannot be read or is too long.
std::optional<std::string> readDescription(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (file < 0) {
        if (errno == ENOENT || errno == ENOTDIR || errno == ENAMETOOLONG) {
            return std::nullopt;
        }
        throw DescriptionError(1, "cannot be opened");
    }
    struct stat status {};
    std::string text;
    bool whole = ::fstat(file, &status) == 0 && S_ISREG(status.st_mode);
    if (!whole) {
        ::close(file);
        throw DescriptionError(1, "is not a regular file");
    }
    char piece[16384];
    for (;;) {
        const ssize_t got = ::read(file, piece, sizeof piece);
        if (got > 0) {
            text.append(piece, static_cast<std::size_t>(got));
            if (text.size() > kMostBytes) {
                break;
            }
        } else if (got == 0 || errno != EINTR) {
            whole = got == 0;
            break;
        }
    }
    ::close(file);
    if (text.size() > kMostBytes) {
        throw DescriptionError(1, "longer than " + std::to_string(kMostBytes) + " bytes");
    }
    if (!whole) {
        throw DescriptionError(1, "cannot be read");
    }
    return text;
}

} // namespace

std::shared_ptr<ValuePrinter> compilePrinter(std::string_view text, std::string_view typeName, unsigned size) {
    const Types::Declarations declarations = Types::parse(text, typeName);
    std::optional<DescriptionError> first;
    std::uint64_t sizes[Types::kAbis] = {};
    for (const Abi abi : {Abi::X86_64, Abi::I386}) {
        try {
            const Types::Layout layout(declarations, abi);
            const std::uint64_t its = layout.sizeOf(declarations.value);
            sizes[static_cast<unsigned>(abi)] = its;
            if (its == size) {
                return std::make_shared<DescribedPrinter>(declarations, layout, size);
            }
        } catch (const DescriptionError& error) {
            if (!first) {
                first = error;
            }
        }
    }
    if (first) {
        throw *first;
    }
    const Types::Type& type = declarations.at(declarations.value);
    throw DescriptionError(type.line, "'" + (type.name.empty() ? std::string(typeName) : type.name) + "' has " +
                                          std::to_string(sizes[0]) + " bytes (" + std::to_string(sizes[1]) +
                                          " by the 32-bit rules), the collection's values have " +
                                          std::to_string(size));
}

std::shared_ptr<ValuePrinter> makeDescribedPrinter(const std::string& typeName, unsigned size) {
    if (!isFileName(typeName)) {
        return nullptr;
    }
    for (const std::string& directory : directories()) {
        const std::string path = directory + "/" + typeName + ".h";
        try {
            if (const std::optional<std::string> text = readDescription(path)) {
                return compilePrinter(*text, typeName, size);
            }
        } catch (const DescriptionError& error) {
            std::cerr << "halyx: " << safeText(path) << ":" << error.line() << ": " << safeText(error.msg())
                      << std::endl;
            return nullptr;
        }
    }
    return nullptr;
}

} // namespace Norvu::Platform
