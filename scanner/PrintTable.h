#pragma once

#include "Halyx/HalyxTextify.h"

#include <string>

namespace Halyx {

/// Runs one report on one collection: its clients, its headers, its queues, or else the walk of its elements, the first of
/// these that is asked for. `tablePath` is relative to the collections' root. The exit status. What the readers throw passes.
int printTable(std::string outputFile, const char* tablePath, bool who, bool headers, bool queues,
               HalyxTextify::Style style, bool emptyBuckets, bool validOnly);

} // namespace Halyx
