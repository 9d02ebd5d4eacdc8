#pragma once

#include "fixtures/CollectionBuilder.h"

#include <map>
#include <string>

namespace Hostile {

/// A collection's files as bytes, by name, before anything of them is on disk.
using Files = std::map<std::string, std::string>;

/// The sound collections that every broken one starts from. All have both queues and a file "fenix".
enum class Kind { Static, Dynamic };

/// The builder of a sound collection: chains of several slots, one end that names a bucket, a value in the lookaside slot, and
/// in the dynamic kind two slabs and an entry that nobody uses.
Fixtures::CollectionBuilder soundBuilder(Kind kind);
Files soundFiles(Kind kind);
Files filesOf(const Fixtures::CollectionBuilder& builder, Kind kind);

/// Makes the checksums of the slot table and of every slab fit what their headers hold now, where there is a header.
void fitChecksums(Files& files);

/// One 32-bit word of a file; past the end it is 0 and storing it does nothing.
std::uint32_t wordAt(const std::string& bytes, std::size_t offset);
void storeWord(std::string& bytes, std::size_t offset, std::uint32_t word);

/// Throws when this machine could not make `what`.
void must(bool good, const std::string& what);

/// Writes the files into a directory that is made for them.
Fixtures::Collection writeFiles(const Fixtures::ScratchRoot& root, const std::string& name, const Files& files);

} // namespace Hostile
