#include "Halyx/HalyxTextify.h"

#include "Norvu/Text.h"

#include <charconv>
#include <cstring>
#include <utility>

namespace Halyx {

namespace {

void appendDecimal(std::string& out, std::uint32_t value) {
    char digits[10];
    out.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

/// A line buffer that one long chain has blown up is not kept for the rest of the walk.
constexpr std::size_t kMostKept = 1U << 20;

} // namespace

HalyxTextify::HalyxTextify(void* buffer, Style style, bool linkDetail,
                           std::shared_ptr<Norvu::Platform::ValuePrinter> printer, bool emptyBuckets)
    : ScanHandler(buffer), style_(style), linkDetail_(linkDetail), printer_(std::move(printer)),
      emptyBuckets_(emptyBuckets) {}

void HalyxTextify::beginLine(unsigned bucket) {
    line_ += "bucket[";
    Norvu::appendHex(line_, bucket);
    line_ += ']';
}

bool HalyxTextify::handleSlot(unsigned bucket, const SlotLink& link, bool lookaside, unsigned state, unsigned length) {
    if (line_.empty()) {
        beginLine(bucket);
    }
    line_ += ' ';
    if (linkDetail_) {
        appendDecimal(line_, link.tag);
        line_ += ':';
    }
    Norvu::appendHex(line_, static_cast<std::uint32_t>(link.index) & 0x7fffffffU);
    line_ += "-->";
    if (linkDetail_) {
        appendDecimal(line_, state);
        line_ += ':';
    }
    if (lookaside) {
        line_ += '*';
    }
    appendValue(length);
    return true;
}

void HalyxTextify::appendValue(unsigned length) {
    if (style_ == Style::Plain) {
        Norvu::appendHexDump(line_, valueBuffer(), length);
        return;
    }
    if (length < printer_->size()) {
        // A value may be shorter than its type; the bytes that it does not have read as zero.
        std::memset(static_cast<char*>(valueBuffer()) + length, 0, printer_->size() - length);
    }
    printer_->toString(valueBuffer(),
                       style_ == Style::Json ? Norvu::Platform::ValueStyle::Json : Norvu::Platform::ValueStyle::Pretty,
                       line_);
}

bool HalyxTextify::done(unsigned bucket, const SlotLink& end) {
    if (line_.empty()) {
        if (!emptyBuckets_) {
            return true;
        }
        beginLine(bucket);
    }
    line_ += ' ';
    if (linkDetail_) {
        appendDecimal(line_, end.tag);
        line_ += ':';
    }
    Norvu::appendHex(line_, static_cast<std::uint32_t>(end.index) & 0x7fffffffU);
    line_ += " --> none\n";
    return finishLine(bucket);
}

void HalyxTextify::handleCorruption(unsigned bucket, const std::string& reason) {
    if (line_.empty()) {
        beginLine(bucket);
    } else {
        line_ += " -->";
    }
    line_ += " [corrupted] ";
    Norvu::appendSafe(line_, reason); // it may name files
    line_ += '\n';
    finishLine(bucket);
}

bool HalyxTextify::finishLine(unsigned bucket) {
    const bool goOn = handleLineString(bucket, line_);
    restart(bucket);
    return goOn;
}

bool HalyxTextify::restart(unsigned /*bucket*/) {
    line_.clear();
    if (line_.capacity() > kMostKept) {
        line_.shrink_to_fit();
    }
    return true;
}

} // namespace Halyx
