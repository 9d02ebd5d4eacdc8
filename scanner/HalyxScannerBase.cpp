#include "HalyxScannerBase.h"

#include "Norvu/Text.h"

#include <cstring>
#include <iostream>
#include <utility>

namespace Halyx {

namespace {

/// Lines are handed to the stream in pieces of this many bytes, so that one costs a copy and no call.
constexpr std::size_t kPiece = std::size_t{64} * 1024;

} // namespace

HalyxScannerBase::HalyxScannerBase(const std::string& outputFile, const char* tablePath)
    : Debuggable("HalyxScanner"), tablePath_(tablePath), outputFile_(outputFile), out_(&std::cout) {}

bool HalyxScannerBase::initialize() {
    if (outputFile_.empty()) {
        out_ = &std::cout;
        return true;
    }
    file_.open(outputFile_, std::ios::out | std::ios::trunc);
    if (file_.good()) {
        out_ = &file_;
        return true;
    }
    std::cerr << "Error opening " << outputFile_ << std::endl;
    return false;
}

HalyxScannerBase::MyScanner::MyScanner(std::ostream& out, void* buffer, Style style,
                                       std::shared_ptr<Norvu::Platform::ValuePrinter> printer, bool emptyBuckets)
    : HalyxTextify(buffer, style, false, std::move(printer), emptyBuckets), out_(&out), lines_(new char[kPiece]) {}

HalyxScannerBase::MyScanner::~MyScanner() {
    drain();
}

bool HalyxScannerBase::MyScanner::handleLineString(unsigned bucket, const std::string& line) {
    return handleLine(bucket, line);
}

bool HalyxScannerBase::MyScanner::handleLine(unsigned /*bucket*/, std::string_view line) {
    if (used_ + line.size() > kPiece) [[unlikely]] {
        drain();
    }
    if (line.size() > kPiece) [[unlikely]] {
        out_->write(line.data(), static_cast<std::streamsize>(line.size()));
    } else {
        std::memcpy(lines_.get() + used_, line.data(), line.size());
        used_ += line.size();
    }
    return true;
}

void HalyxScannerBase::MyScanner::handleResize() {
    drain();
    *out_ << "Resize detected, restarting from beginning\n" << std::flush;
}

void HalyxScannerBase::MyScanner::drain() {
    out_->write(lines_.get(), static_cast<std::streamsize>(used_));
    used_ = 0;
}

} // namespace Halyx
