#pragma once

#include <cstdint>
#include <string>

namespace Halyx::Compatibility {

/// The name of a writer's platform: "x86-linux" for 1, "unknown(N)" for any other.
std::string platformType(std::uint32_t platform);

} // namespace Halyx::Compatibility
