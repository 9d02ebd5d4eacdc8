#pragma once

#include "Norvu/Hash.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

// The values that `halyx-writer churn` writes. Each tells its own key and sequence number and carries a checksum, so that
// whoever reads or prints one can tell whether it was ever written like that. Little-endian.
//
//   static, 24 bytes             dynamic, 24 to 256 bytes
//    0  8  key                    0  8  key
//    8  8  sequence               8  8  sequence
//   16  4  extra                 16  4  length: bytes of the whole value
//   20  4  checksum              20  4  checksum
//                                24     filler, length - 24 bytes
//
// The checksum is Norvu::Util::hash of everything else: of the 20 bytes before it, and in a dynamic value of those 20 bytes
// followed by the filler. `extra` is (key ^ sequence * 2654435761) modulo 2^32; filler byte i is churnFiller(key, sequence, i).

namespace Halyx::Writer {

struct ChurnHead {
    std::uint64_t key;
    std::uint64_t sequence;
    std::uint32_t extraOrLength;
    std::uint32_t checksum;
};

inline constexpr const char* kChurnType = "ChurnValue";
inline constexpr const char* kDynamicChurnType = "ChurnRecord";
inline constexpr std::uint32_t kChurnHeadSize = sizeof(ChurnHead);
inline constexpr std::uint32_t kChurnMostBytes = 256;

static_assert(kChurnHeadSize == 24);
static_assert(offsetof(ChurnHead, sequence) == 8);
static_assert(offsetof(ChurnHead, extraOrLength) == 16);
static_assert(offsetof(ChurnHead, checksum) == 20);

constexpr std::uint32_t churnExtra(std::uint64_t key, std::uint64_t sequence) {
    return static_cast<std::uint32_t>(key ^ (sequence * 2654435761U));
}

constexpr unsigned char churnFiller(std::uint64_t key, std::uint64_t sequence, std::uint32_t index) {
    return static_cast<unsigned char>((key * 31 + sequence * 7 + index) % 251);
}

/// Of `bytes`, which are at least kChurnHeadSize and at most kChurnMostBytes.
inline std::uint32_t churnChecksum(std::string_view bytes) {
    char covered[kChurnMostBytes];
    constexpr std::size_t before = offsetof(ChurnHead, checksum);
    std::memcpy(covered, bytes.data(), before);
    std::memcpy(covered + before, bytes.data() + kChurnHeadSize, bytes.size() - kChurnHeadSize);
    return Norvu::Util::hash(covered, static_cast<unsigned>(bytes.size() - (kChurnHeadSize - before)));
}

/// Writes a value of `length` bytes (kChurnHeadSize for a static collection) to `out`, which has kChurnMostBytes.
inline std::string_view makeChurnValue(char* out, std::uint64_t key, std::uint64_t sequence, std::uint32_t length,
                                       bool dynamic) {
    ChurnHead head{key, sequence, dynamic ? length : churnExtra(key, sequence), 0};
    std::memcpy(out, &head, sizeof head);
    for (std::uint32_t index = 0; index < length - kChurnHeadSize; ++index) {
        out[kChurnHeadSize + index] = static_cast<char>(churnFiller(key, sequence, index));
    }
    const std::string_view bytes(out, length);
    head.checksum = churnChecksum(bytes);
    std::memcpy(out, &head, sizeof head);
    return bytes;
}

/// Whether `bytes` are a value as makeChurnValue made it, and which.
inline bool readChurnValue(std::string_view bytes, bool dynamic, ChurnHead& head) {
    if (bytes.size() < kChurnHeadSize || bytes.size() > kChurnMostBytes) {
        return false;
    }
    std::memcpy(&head, bytes.data(), sizeof head);
    const std::uint32_t expected =
        dynamic ? static_cast<std::uint32_t>(bytes.size()) : churnExtra(head.key, head.sequence);
    return (dynamic || bytes.size() == kChurnHeadSize) && head.extraOrLength == expected &&
           head.checksum == churnChecksum(bytes);
}

/// The key bytes of a value: its first 8.
inline std::string_view churnKeyOf(std::string_view bytes) {
    return bytes.substr(0, sizeof(std::uint64_t));
}

} // namespace Halyx::Writer
