#pragma once

#include "Norvu/Types/Layout.h"
#include "Norvu/Types/Model.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Norvu::Types {

/// A type as a description says it is: its declarations, and where everything lies by the rules that give the size of its
/// values. Owns both.
class Description {
public:
    /// Parses `text` and lays out the type named `typeName`, or the last, by the 64-bit rules or, when those do not give `size`
    /// bytes, the 32-bit ones. Without a size, by the first rules that the description does not contradict. Throws
    /// DescriptionError.
    Description(std::string_view text, std::string_view typeName, std::optional<std::uint32_t> size);
    Description(const Description&) = delete;
    Description& operator=(const Description&) = delete;

    [[nodiscard]] const Declarations& declarations() const { return declarations_; }
    [[nodiscard]] const Layout& layout() const { return *layout_; }
    /// Bytes of a value; of the largest when they differ.
    [[nodiscard]] std::uint32_t size() const {
        return static_cast<std::uint32_t>(layout_->sizeOf(declarations_.value));
    }

private:
    Declarations declarations_;
    std::optional<Layout> layout_; ///< looks into declarations_
};

/// The directories of HALYX_TYPE_PATH; when that is not set, the one where the product's own descriptions are installed.
std::vector<std::string> descriptionDirectories();

/// The path of the file that describes a type, the first of those in descriptionDirectories(). Nothing when there is none, or
/// when the name can be no file's.
std::optional<std::string> findDescription(const std::string& typeName);

/// The text of a description. Throws DescriptionError when it cannot be read, is too long, or is no regular file.
std::string readDescription(const std::string& path);

} // namespace Norvu::Types
