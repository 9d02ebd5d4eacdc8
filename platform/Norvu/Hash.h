#pragma once

#include <cstdint>

namespace Norvu::Util {

/// FNV-1a over `length` bytes: the checksum of every header, and what our writer spreads keys over buckets with.
std::uint32_t hash(const char* data, unsigned length);

} // namespace Norvu::Util
