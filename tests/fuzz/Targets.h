#pragma once

#include "fuzz/room/Archive.h"

#include <cstddef>

// One function of each name for every target. The runs are in the unit tests, too; the mutators need libFuzzer.

namespace Fuzz {

void runTypes(Bytes input);
void runCollection(Bytes input);
void runQueues(Bytes input);
void runMaps(Bytes input);
void runExpression(Bytes input);

/// Changes the `size` bytes of an input in place, `room` at most; the new length.
using Mutator = std::size_t(unsigned char* data, std::size_t size, std::size_t room, unsigned seed);
Mutator mutateTypes;
Mutator mutateCollection;
Mutator mutateQueues;
Mutator mutateMaps;
Mutator mutateExpression;

/// Puts an input with something of both into `out`; its length.
using Crossing = std::size_t(Bytes one, Bytes other, unsigned char* out, std::size_t room, unsigned seed);
Crossing crossTypes;
Crossing crossCollection;
Crossing crossQueues;
Crossing crossMaps;
Crossing crossExpression;

} // namespace Fuzz

/// Of libFuzzer.
extern "C" std::size_t LLVMFuzzerMutate(unsigned char* data, std::size_t size, std::size_t room);
