#pragma once

#include <cstddef>
#include <map>
#include <span>
#include <string>

namespace Fuzz {

using Bytes = std::span<const unsigned char>;

/// Several files as one input: for each a byte that names it, two of its length, low byte first, and its bytes. What a name
/// stands for is the target's matter. Any bytes are an archive: a length past the end means the rest, and of two files of one
/// name the last stays.
class Archive {
public:
    Archive() = default;
    explicit Archive(Bytes input);

    std::map<unsigned char, std::string> files;

    [[nodiscard]] std::string encode() const;
    /// Puts the archive into a buffer of libFuzzer's: its length, or 0 when there is no room for it.
    std::size_t store(unsigned char* data, std::size_t room) const;
};

} // namespace Fuzz
