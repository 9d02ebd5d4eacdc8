#pragma once

#include "Halyx/ClientModel.h"
#include "Halyx/ConquerReaderGeneric.h"
#include "Halyx/HalyxReaderGeneric.h"

#include <string>

// Questions about a collection's headers, and their text. Nothing here validates; each function appends to `out` what continues
// its block's title line.

namespace Halyx::HalyxTest {

void formatBucketsHeader(const BucketTable::Header& header, std::string& out);

/// `lookaside` has the bytes of the header's lookaside value: header.valueSize of them, or 4 in a dynamic table.
void formatSlotsHeader(const SlotTable<EmptyValue>::Header& header, const void* lookaside, std::string& out);

/// One slab file's header, title included.
void formatSlabHeader(unsigned number, const Plask::Slab::SlabHeader& header, std::string& out);

/// The part of the block that either queue has of its own.
void formatIndividualConquerHeader(const Conquer::Header& header, std::string& out);

/// Both queues; what they share is taken from the primary one.
void formatConquerHeader(const Conquer::Header& primary, const Conquer::Header& secondary, std::string& out);

/// Whether the collection has notification queues, as its attached reader's slot table header says.
bool halyxHasConquer(const HalyxReaderGeneric& reader);

/// Fills in `table.headerInfo` from readers that are not attached yet. A group of counts that cannot be read stays unknown, and
/// nothing is said of it.
void populateHalyxTableHeaderInfo(HalyxReaderGeneric& reader, ConquerReaderGeneric& conquerReader,
                                  Model::HalyxTable& table);

/// Fills in the text of every header of a collection whose readers are attached; `conquerText` is empty when the collection has
/// no queues. Throws CorruptionDetectedException for a slab file that is empty, unmappable or has a bad header, and for
/// files that are cut short meanwhile.
void getHeaders(const HalyxReaderGeneric& reader, const ConquerReaderGeneric& conquer, std::string& buckets,
                std::string& slots, std::string& conquerText, const RootPath& root,
                Norvu::Platform::DebugHandler& handler);

} // namespace Halyx::HalyxTest
