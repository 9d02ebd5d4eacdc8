#pragma once

#include <cstddef>
#include <cstdint>

// The values that `halyx-writer mirror-proc` writes: one process each, little-endian. A value is as long as its command
// needs: kProcessHeadSize bytes and the command, at most sizeof(ProcessRecord) in all.

namespace Halyx::Writer {

struct alignas(8) ProcessRecord {
    std::uint32_t pid;
    std::uint32_t parent;
    char state;
    char unused[3]; ///< 0
    std::uint32_t threads;
    std::uint64_t resident;  ///< bytes
    std::uint64_t startTime; ///< seconds since 1970
    char command[128];       ///< arguments separated by blanks, or the name in brackets when there are none
};

inline constexpr const char* kProcessType = "ProcessRecord";
inline constexpr std::uint32_t kProcessHeadSize = offsetof(ProcessRecord, command);

static_assert(sizeof(ProcessRecord) == 160);
static_assert(offsetof(ProcessRecord, pid) == 0);
static_assert(offsetof(ProcessRecord, parent) == 4);
static_assert(offsetof(ProcessRecord, state) == 8);
static_assert(offsetof(ProcessRecord, threads) == 12);
static_assert(offsetof(ProcessRecord, resident) == 16);
static_assert(offsetof(ProcessRecord, startTime) == 24);
static_assert(offsetof(ProcessRecord, command) == 32);

} // namespace Halyx::Writer
