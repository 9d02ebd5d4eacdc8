#include "NotBuilt.h"

#include <iostream>

namespace Halyx {

int reportNotBuilt(const char* option) {
    std::cerr << "halyx: the report of " << option << " is not built yet" << std::endl;
    return 1;
}

} // namespace Halyx
