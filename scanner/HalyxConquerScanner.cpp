#include "HalyxConquerScanner.h"

#include "NotBuilt.h"

namespace Halyx {

bool HalyxConquerScanner::doScanConquer(bool /*validOnly*/) {
    return reportNotBuilt("-q") != 0;
}

} // namespace Halyx
