#include "Norvu/Types/Description.h"

#include "Norvu/Types/Parser.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Norvu::Types {

namespace {

/// A description longer than this is none.
constexpr std::size_t kMostBytes = 1U << 20;

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

/// Closes a file when it is left.
class OpenFile {
public:
    explicit OpenFile(const std::string& path)
        : descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)) {}
    ~OpenFile() {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    [[nodiscard]] int descriptor() const { return descriptor_; }

private:
    int descriptor_;
};

} // namespace

Description::Description(std::string_view text, std::string_view typeName, std::optional<std::uint32_t> size)
    : declarations_(parse(text, typeName)) {
    std::optional<DescriptionError> first;
    std::string sizes;
    for (const Abi abi : {Abi::X86_64, Abi::I386}) {
        try {
            layout_.emplace(declarations_, abi);
            const std::uint64_t its = layout_->sizeOf(declarations_.value);
            if (!size || its == *size) {
                return;
            }
            const std::string number = std::to_string(its);
            sizes += abi == Abi::X86_64 ? number + " bytes"
                     : sizes.empty()    ? number + " bytes by the 32-bit rules"
                                        : " (" + number + " by the 32-bit rules)";
        } catch (const DescriptionError& error) {
            if (!first) {
                first = error;
            }
        }
    }
    // What comments of tools say may rule one of the two out; the fault then is what the other one has.
    if (sizes.empty()) {
        throw *first;
    }
    const Type& type = declarations_.at(declarations_.value);
    throw DescriptionError(type.line, "'" + (type.name.empty() ? std::string(typeName) : type.name) + "' has " + sizes +
                                          ", the collection's values have " + std::to_string(*size));
}

std::vector<std::string> descriptionDirectories() {
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

std::optional<std::string> findDescription(const std::string& typeName) {
    if (!isFileName(typeName)) {
        return std::nullopt;
    }
    for (const std::string& directory : descriptionDirectories()) {
        std::string path = directory + "/" + typeName + ".h";
        struct stat status {};
        // What is there but cannot be looked at is not passed over: reading it says why.
        if (::stat(path.c_str(), &status) == 0 || (errno != ENOENT && errno != ENOTDIR && errno != ENAMETOOLONG)) {
            return path;
        }
    }
    return std::nullopt;
}

std::string readDescription(const std::string& path) {
    const char* const noFile = "is not a regular file";
    struct stat status {};
    // Opening a device may do something to it: that must not happen to what only bears a type's name.
    if (::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        throw DescriptionError(1, noFile);
    }
    const OpenFile file(path);
    if (file.descriptor() < 0) {
        throw DescriptionError(1, "cannot be opened");
    }
    if (::fstat(file.descriptor(), &status) != 0 || !S_ISREG(status.st_mode)) {
        throw DescriptionError(1, noFile);
    }
    std::string text;
    char piece[16384];
    for (;;) {
        const ssize_t got = ::read(file.descriptor(), piece, sizeof piece);
        if (got == 0) {
            return text;
        }
        if (got < 0 && errno != EINTR) {
            throw DescriptionError(1, "cannot be read");
        }
        text.append(piece, got > 0 ? static_cast<std::size_t>(got) : 0);
        if (text.size() > kMostBytes) {
            throw DescriptionError(1, "longer than " + std::to_string(kMostBytes) + " bytes");
        }
    }
}

} // namespace Norvu::Types
