#pragma once

#include <halyx/Errors.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace halyx {

/// Finds an element's key in its value's bytes. What it returns is used before the next call and before the next change of the
/// collection, so it may point into the value.
using KeyOf = std::function<std::string_view(std::string_view value)>;

/// The key is `size` bytes of the value from `offset` on, or as many of them as a shorter value has.
HALYX_API KeyOf keyAt(std::uint32_t offset, std::uint32_t size);

/// How a collection is made. Sizes are in bytes. What is set here is part of the library's binary interface: a member more or
/// less is another libhalyxwriter.so.N.
struct Options {
    /// Names the value's type for those who read, at most 63 bytes: a built-in one (U8 to U64, S8 to S64, the <cstdint> names,
    /// float, double, bool, char[N]) or one that a file TYPE.h describes, which readers look for in the directories of
    /// HALYX_TYPE_PATH or among the installed ones. Required.
    std::string valueType;
    /// The path of that description, when it is to be held against valueSize; it is read once. Empty: it is not.
    std::string description;
    std::string classType; ///< at most 63 bytes; may be empty
    /// Of every value of a static collection, of the largest of a dynamic one; at most 16 MiB. 0: as the description, or the
    /// built-in type, says.
    std::uint32_t valueSize = 0;
    /// A static collection keeps values in its slots, all of one size; while one is replaced, its former bytes stand in the
    /// table's lookaside slot, so that no reader meets half of each. A dynamic one keeps them in slabs, each in an entry of about
    /// its size, and replaces a value by another entry.
    bool dynamic = false;
    std::uint32_t slotSize = 0; ///< 0: as small as can be; else a multiple of 8, at least that and at most 32 MiB

    std::uint32_t buckets = 1024;
    bool growBuckets = true;    ///< whether the bucket table doubles when it has fewer buckets than elements
    std::uint32_t slots = 1024; ///< slots to begin with, or maxSlots if that is less
    std::uint32_t maxSlots = 0; ///< 0: as many as a file can hold

    bool conquer = false; ///< whether there are notification queues: every change of an element is noted there
    std::uint32_t notifications = 1024; ///< records of each queue to begin with
    std::uint32_t maxNotifications =
        0; ///< records to which a queue grows before the other takes over; 0: 8 times as many

    /// The payload sizes of slab0, slab1 and so on, at most 32 of them, each larger than the one before and a multiple of 8; the
    /// last at least valueSize and at most 32 MiB. Empty: 16, 32, 64 and so on up to valueSize.
    std::vector<std::uint32_t> slabPayloads;
    std::uint32_t slabEntries = 64; ///< entries of a slab file to begin with

    std::uint16_t instance = 0; ///< the incarnation's instance id; 0: one that the collection did not have before
    mode_t fileMode = 0640;     ///< whatever the process's mask: who may read the files may read the collection
    mode_t directoryMode = 0750;

    /// When it is set, elements are found by it and no memory is spent on keys; it is also what Writer::open() needs. Otherwise
    /// every key is kept in the writer's memory, and a collection cannot be gone on with by another process.
    KeyOf keyOf;
};

} // namespace halyx
