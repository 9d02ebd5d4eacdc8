// The functions that libFuzzer calls, for the target that the build names.

#include "fuzz/Targets.h"

#define FUZZ_JOINED(verb, target) Fuzz::verb##target
#define FUZZ_NAME(verb, target) FUZZ_JOINED(verb, target)

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    FUZZ_NAME(run, FUZZ_TARGET)(Fuzz::Bytes(data, size));
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(unsigned char* data, std::size_t size, std::size_t room, unsigned seed) {
    return FUZZ_NAME(mutate, FUZZ_TARGET)(data, size, room, seed);
}

extern "C" std::size_t LLVMFuzzerCustomCrossOver(const unsigned char* one, std::size_t oneSize,
                                                 const unsigned char* other, std::size_t otherSize, unsigned char* out,
                                                 std::size_t room, unsigned seed) {
    return FUZZ_NAME(cross, FUZZ_TARGET)(Fuzz::Bytes(one, oneSize), Fuzz::Bytes(other, otherSize), out, room, seed);
}
