#include "HalyxHeaderScanner.h"

#include "NotBuilt.h"

namespace Halyx {

int HalyxHeaderScanner::doGetHeaders() {
    return reportNotBuilt("-x");
}

} // namespace Halyx
