#include "Halyx/Compatibility.h"

namespace Halyx::Compatibility {

std::string platformType(std::uint32_t platform) {
    return platform == 1 ? "x86-linux" : "unknown(" + std::to_string(platform) + ")";
}

} // namespace Halyx::Compatibility
