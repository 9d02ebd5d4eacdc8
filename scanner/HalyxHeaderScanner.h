#pragma once

#include "HalyxScannerBase.h"

namespace Halyx {

/// The report on the headers of one collection's files.
class HalyxHeaderScanner : public HalyxScannerBase {
public:
    using HalyxScannerBase::HalyxScannerBase;
    ~HalyxHeaderScanner() override = default;

    /// The exit status.
    int doGetHeaders();
};

} // namespace Halyx
