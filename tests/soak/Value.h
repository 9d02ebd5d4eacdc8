#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// What the writers store. Every byte of a value follows from its key and version, so whoever meets one can tell whether all
// of its bytes belong together. Little-endian: 8 bytes of key, 8 of version, and then filler.

namespace Soak {

inline constexpr std::uint32_t kHeadBytes = 16;
inline constexpr std::uint32_t kStaticBytes = 1000;
inline constexpr std::uint32_t kMostBytes = 1000; ///< of any value

enum class Style { Plain, Json, Pretty };

/// A value's length: always kStaticBytes, or one of many when values are dynamic.
std::uint32_t lengthOf(std::uint64_t key, std::uint64_t version, bool dynamic);

/// Writes the value to `out`, which has kMostBytes; what was written.
std::string_view makeValue(char* out, std::uint64_t key, std::uint64_t version, bool dynamic);

/// The key's bytes in a value: its first 8.
std::string_view keyOf(std::string_view value);

/// Appends the value's text as the tool must print it.
void appendText(std::string& text, Style style, std::uint64_t key, std::uint64_t version, bool dynamic);

/// Finds out what a text says its key and version are; false when it does not begin like a value's text.
bool readHead(std::string_view text, Style style, bool dynamic, std::uint64_t& key, std::uint64_t& version);

/// The name of the values' type, and what a file of that name must hold for -p and -j.
const char* typeName(bool dynamic);
std::string typeDescription(bool dynamic);

} // namespace Soak
