#include "Norvu/Hash.h"

namespace Norvu::Util {

std::uint32_t hash(const char* data, unsigned length) {
    std::uint32_t sum = 2166136261U;
    for (unsigned i = 0; i < length; ++i) {
        sum = (sum ^ static_cast<unsigned char>(data[i])) * 16777619U;
    }
    return sum;
}

} // namespace Norvu::Util
