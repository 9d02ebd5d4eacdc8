#pragma once

#include "live/FileChanger.h"

#include <string>

/// What reports may say of a collection whose files are changed behind their backs.
namespace ChangeWords {

/// The kind of a read that met less of a file than there had been.
inline constexpr const char* kUnreadable = "Mem::Shared::checkRead() cannot read @ at offset: # real file size is #";

/// The kind of a corruption's reason: its text with "@" for the collection at `path` and its files, and "#" for numbers. Empty when
/// it cannot be true: without zeros only a file may be short of bytes, or not there, and by the very numbers in the text.
std::string kindOfReason(const std::string& reason, const std::string& path, Zeros zeros);

/// The same for a whole line of complaint about the collection `name`, on either stream.
std::string kindOfLine(const std::string& line, const std::string& name, const std::string& path, Zeros zeros);

} // namespace ChangeWords
