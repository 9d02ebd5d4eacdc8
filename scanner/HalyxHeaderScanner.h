#pragma once

#include "HalyxScannerBase.h"
#include "Mem/RootPath.h"

namespace Halyx {

/// The report on the headers of one collection's files.
class HalyxHeaderScanner : public HalyxScannerBase {
public:
    using HalyxScannerBase::HalyxScannerBase;
    ~HalyxHeaderScanner() override = default;

    /// The exit status.
    int doGetHeaders();

    /// Writes the report: the texts of the buckets', the slots' and the queues' headers. Empty queue text prints nothing.
    void printHeaders(const RootPath& root, const std::string& buckets, const std::string& slots,
                      const std::string& conquerText);
};

} // namespace Halyx
