#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Norvu {

/// Writes `value` in lower-case hexadecimal, no prefix, no leading zeros: 8 characters at most. Behind the last.
char* writeHex(char* out, std::uint32_t value);

/// Writes two lower-case hexadecimal digits a byte, in memory order. Behind the last.
char* writeHexDump(char* out, const void* data, std::size_t length);

/// Appends two lower-case hexadecimal digits a byte, in memory order.
void appendHexDump(std::string& out, const void* data, std::size_t length);

/// Two lower-case hexadecimal digits a byte, in memory order; empty for length 0.
std::string dumpHex(const void* data, std::size_t length);

/// Text from outside, made safe for a terminal: every byte outside 0x20 to 0x7e becomes "\x" and two hexadecimal digits.
void appendSafe(std::string& out, std::string_view text);
std::string safeText(std::string_view text);

/// The text of a field of `size` bytes: up to its first NUL, never past the field.
std::string_view boundedText(const char* field, std::size_t size);

} // namespace Norvu
