#include "Mem/VerU32.h"

namespace Mem {

std::ostream& operator<<(std::ostream& out, const VerU32& pair) {
    const std::ios::fmtflags flags = out.flags();
    out << std::hex << pair.version << ':' << std::dec << pair.value;
    out.flags(flags);
    return out;
}

} // namespace Mem
