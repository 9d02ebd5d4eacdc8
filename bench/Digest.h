#pragma once

#include "Process.h"

#include <cstdint>
#include <string_view>

namespace Bench {

/// What was written, by its size and a hash, with the first and the last bytes as they are.
struct Digest {
    std::uint64_t bytes = 0;
    std::uint64_t lines = 0;
    std::uint64_t hash = 14695981039346656037ULL;
    std::string head;
    std::string tail;
};

/// The digest of what `program` writes, or of those of its lines that begin with `prefix`.
Digest digestOf(const Program& program, int status = 0, std::string_view prefix = {});

/// Throws when the texts differ or are empty.
void expectSame(const std::string& what, const Digest& tool, const Digest& bare);

} // namespace Bench
