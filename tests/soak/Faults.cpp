#include "soak/Faults.h"

namespace Soak {

const char* nameOf(Fault fault) {
    static constexpr const char* names[kFaults] = {"torn",    "misplaced",        "duplicated", "invented",
                                                   "missing", "false corruption", "hangs",      "failed",
                                                   "unnamed", "writers failed"};
    return names[static_cast<unsigned>(fault)];
}

} // namespace Soak
