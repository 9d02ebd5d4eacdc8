#pragma once

#include "Halyx/HalyxTextify.h"
#include "Norvu/Debug.h"

#include <cstddef>
#include <fstream>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

namespace Halyx {

/// What the reports share: whose they are, and where they go. Built, initialised once, used for one report, destroyed.
/// Borrows the path; owns the output file when one is named.
class HalyxScannerBase : public Norvu::Debuggable {
public:
    class MyScanner;

    /// `tablePath` is relative to the collections' root, null for reports on all collections. An empty `outputFile` means
    /// standard output.
    HalyxScannerBase(const std::string& outputFile, const char* tablePath);
    ~HalyxScannerBase() override = default;
    HalyxScannerBase(const HalyxScannerBase&) = delete;
    HalyxScannerBase& operator=(const HalyxScannerBase&) = delete;

    /// Opens the output, emptying a file that is there. False, and said on standard error, when it cannot be opened; the
    /// caller adds a line of its own.
    bool initialize();

    /// Where the report goes. Standard output until initialize() has said otherwise.
    [[nodiscard]] std::ostream& out() { return *out_; }
    [[nodiscard]] const char* tablePath() const { return tablePath_; }

private:
    const char* tablePath_;
    std::string outputFile_;
    std::ostream* out_;
    std::ofstream file_;
};

/// The handler of the element walk: finished lines go to the report's stream, many at a time.
class HalyxScannerBase::MyScanner final : public HalyxTextify {
public:
    MyScanner(std::ostream& out, void* buffer, Style style, std::shared_ptr<Norvu::Platform::ValuePrinter> printer,
              bool emptyBuckets);
    /// Writes what is still gathered.
    ~MyScanner();
    MyScanner(const MyScanner&) = delete;
    MyScanner& operator=(const MyScanner&) = delete;

    bool handleLineString(unsigned bucket, const std::string& line) override;
    void handleResize() override;

    /// Writes all lines so far to the stream.
    void drain();

protected:
    bool handleLine(unsigned bucket, std::string_view line) override;

private:
    std::ostream* out_;
    std::unique_ptr<char[]> lines_; ///< finished ones, as many as there is room for
    std::size_t used_ = 0;
};

} // namespace Halyx
