#pragma once

#include <cstdint>
#include <string>

namespace Halyx::Util {

/// Whether the last component of `path` is the name of a collection's file.
bool isHalyxFile(const std::string& path);

/// The name of the trace handler of the collection at `path`: type + "-" + the collection relative to the root.
std::string traceHandleName(const std::string& path, const std::string& type, bool flag);

/// A magic's eight bytes in memory order; a byte that is not printable, `"` and `\` are ".".
std::string decodeMagic(std::uint64_t magic);

} // namespace Halyx::Util
