#include "HalyxClientScanner.h"

#include "NotBuilt.h"

namespace Halyx {

int HalyxClientScanner::doGetClientInfo() {
    return reportNotBuilt("-w");
}

int HalyxClientScanner::doGetAllClientInfo() {
    return reportNotBuilt("-a");
}

int HalyxClientScanner::doGetTableInfo(int /*pid*/) {
    return reportNotBuilt("-c");
}

} // namespace Halyx
