#pragma once

#include "HalyxScannerBase.h"

namespace Halyx {

/// The report on the two conquer queues of one collection; it also lends its stream to the element walk.
class HalyxConquerScanner : public HalyxScannerBase {
public:
    using HalyxScannerBase::HalyxScannerBase;
    ~HalyxConquerScanner() override = default;

    /// False when the queues were printed, true when they were not.
    bool doScanConquer(bool validOnly);
};

} // namespace Halyx
