#pragma once

#include "Report.h"
#include "Table.h"

#include <string>
#include <vector>

namespace Bench {

/// Another tool that dumps a store of its own: the elements of a table, each under its number as the key.
struct Peer {
    std::string name;
    std::string package;        ///< Debian's, for those who lack it
    unsigned elementLines;      ///< lines of text that an element has
    std::uint32_t mostElements; ///< more take minutes to store
    /// Makes the store of the elements in `directory`; the program that dumps it.
    Program (*make)(const Table& table, const std::string& directory);
    std::vector<std::string> needs; ///< programs
};

/// mdb_dump and tdbdump.
const std::vector<Peer>& peers();

/// What is hoped for beside a peer, as texts; empty: nothing.
struct PeerGoals {
    std::string elements;
    std::string text;
};

/// Adds to `sides` a side for each peer, with its store made and its dump counted; says in the report which peers are not
/// installed, or that there are too many elements.
void addPeers(const Table& table, const std::string& directory, std::vector<Side>& sides, Report& report);

/// The rows that compare the measured `sides[0]`, the tool, with the peers among `sides`. `goals` are in the order of peers().
void reportPeers(const std::vector<Side>& sides, double elements, const std::vector<PeerGoals>& goals, Report& report);

} // namespace Bench
