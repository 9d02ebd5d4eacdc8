#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <unordered_set>
#include <vector>

namespace Halyx {

/// The kinds of a collection's clients, as their numbers stand in other programs' records.
enum class HalyxType { Writer = 0, Shadow = 1, Reader = 2, Keyshadow = 3 };

/// "writer", "shadow", "reader" or "keyshadow".
const char* nameOf(HalyxType type);

namespace Model {

/// One process that has a collection's files mapped.
struct HalyxClient {
    std::int32_t pid = 0;
    std::string processName; ///< the file name of its executable
    std::string command;     ///< the first word of its command line, without the directory; empty until looked up

    friend bool operator<(const HalyxClient& left, const HalyxClient& right) {
        return std::tie(left.pid, left.processName, left.command) <
               std::tie(right.pid, right.processName, right.command);
    }
};

using HalyxClientList = std::vector<HalyxClient>;

/// Counts from a collection's headers; all ones: not known.
struct HeaderInfo {
    static constexpr std::uint32_t kUnknown = 0xffffffff;

    std::uint32_t bucketCapacity = kUnknown;
    std::uint32_t primaryNotificationCapacity = kUnknown;
    std::uint32_t secondaryNotificationCapacity = kUnknown;
    std::uint32_t slotCapacity = kUnknown;
    std::uint32_t occupiedSlots = kUnknown;

    /// Whether every count is known.
    [[nodiscard]] bool complete() const;
    /// Two lines.
    [[nodiscard]] std::string print() const;
};

/// One collection with its clients. Tables of one name are equal.
struct HalyxTable {
    explicit HalyxTable(const std::string& directory);
    HalyxTable(const std::string& directory, const HalyxClientList& writers, const HalyxClientList& shadowReaders,
               const HalyxClientList& keyShadowReaders, const HalyxClientList& passiveReaders);

    /// The collection's block of a report, with an empty line behind it.
    [[nodiscard]] std::string print() const;
    /// The clients of one kind, a blank behind each. A kind that is missing is said on standard error, and is empty.
    [[nodiscard]] std::string printClients(const HalyxType& type) const;

    friend bool operator==(const HalyxTable& left, const HalyxTable& right) { return left.name == right.name; }

    std::string name; ///< the collection's directory
    HeaderInfo headerInfo;
    std::map<HalyxType, HalyxClientList> clients;
};

} // namespace Model

} // namespace Halyx

template <>
struct std::hash<Halyx::Model::HalyxTable> {
    std::size_t operator()(const Halyx::Model::HalyxTable& table) const { return std::hash<std::string>()(table.name); }
};

namespace Halyx::Model {

using HalyxTables = std::unordered_set<HalyxTable>;

} // namespace Halyx::Model
