#pragma once

#include "HalyxScannerBase.h"

namespace Halyx {

/// The reports on the processes that have collections mapped. Each returns the exit status.
class HalyxClientScanner : public HalyxScannerBase {
public:
    using HalyxScannerBase::HalyxScannerBase;
    ~HalyxClientScanner() override = default;

    int doGetClientInfo();
    int doGetAllClientInfo();
    int doGetTableInfo(int pid);
};

} // namespace Halyx
