#pragma once

// Layout of a collection's file "fenix". Described byte by byte in docs/format/fenix.md.

#include "SharedMem/FenixId.h"

#include <cstddef>
#include <cstdint>

namespace Halyx::Layout {

struct FenixFile {
    std::uint32_t magic;
    SharedMem::FenixId fenix;
};

inline constexpr const char* kFenixFile = "fenix";
inline constexpr std::uint32_t kFenixMagic = 0x584e4546; // "FENX"

static_assert(sizeof(FenixFile) == 8);
static_assert(offsetof(FenixFile, magic) == 0);
static_assert(offsetof(FenixFile, fenix) == 4);

} // namespace Halyx::Layout
