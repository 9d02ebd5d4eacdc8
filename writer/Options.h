#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace Halyx::Writer {

/// Finds an element's key in its value's bytes. What it returns is used before the next call and before the next change of the
/// collection, so it may point into the value.
using KeyOf = std::function<std::string_view(std::string_view value)>;

/// How a collection is made. Sizes are in bytes.
struct Options {
    std::string valueType;       ///< at most 63 bytes; names the value's printer
    std::string classType;       ///< at most 63 bytes; may be empty
    std::uint32_t valueSize = 0; ///< of every value of a static collection, of the largest of a dynamic one
    bool dynamic = false;        ///< values live in slabs, each in an entry of about its size
    std::uint32_t slotSize = 0;  ///< 0: as small as can be; else a multiple of 8, at least that

    std::uint32_t buckets = 1024;
    bool growBuckets = true;    ///< whether the bucket table doubles when it has fewer buckets than elements
    std::uint32_t slots = 1024; ///< slots to begin with
    std::uint32_t maxSlots = 0; ///< 0: as many as a file can hold

    bool conquer = false;               ///< whether there are notification queues
    std::uint32_t notifications = 1024; ///< records of each queue to begin with
    std::uint32_t maxNotifications =
        0; ///< records to which a queue grows before the other takes over; 0: 8 times as many

    /// The payload sizes of slab0, slab1 and so on, at most 32 of them, each larger than the one before and a multiple of 8; the
    /// last at least valueSize. Empty: 16, 32, 64 and so on up to valueSize.
    std::vector<std::uint32_t> slabPayloads;
    std::uint32_t slabEntries = 64; ///< entries of a slab file to begin with

    std::uint16_t instance = 0; ///< the incarnation's instance id; 0: one that the collection did not have before
    mode_t fileMode = 0640;
    mode_t directoryMode = 0750;

    /// When it is set, elements are found by it and no memory is spent on keys; it is also what a restart needs. Otherwise every
    /// key is kept in the writer's memory.
    KeyOf keyOf;

    /// Throws RefusedException when these options contradict themselves or a format; fills in what 0 and empty stand for.
    void complete();
};

} // namespace Halyx::Writer
