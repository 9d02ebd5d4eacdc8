#include "Halyx/HalyxTextify.h"

#include "Norvu/Text.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

namespace Halyx {

namespace {

char* writeDecimal(char* out, std::uint32_t value) {
    return std::to_chars(out, out + 10, value).ptr;
}

/// A link's index as it is printed: bit 31 cleared, so that an ordinary end of chain reads 7fffffff.
std::uint32_t indexText(const SlotLink& link) {
    return static_cast<std::uint32_t>(link.index) & 0x7fffffffU;
}

/// Values up to this many bytes are put together with what stands before them.
constexpr unsigned kShortValue = 8;

/// A line buffer that one long chain has blown up is not kept for the rest of the walk.
constexpr std::size_t kMostKept = 1U << 20;

} // namespace

HalyxTextify::HalyxTextify(void* buffer, Style style, bool linkDetail,
                           std::shared_ptr<Norvu::Platform::ValuePrinter> printer, bool emptyBuckets)
    : ScanHandler(buffer, style == Style::Json || style == Style::Pretty ? printer->size() : 0),
      style_(style == Style::Json || style == Style::Pretty ? style : Style::Plain), linkDetail_(linkDetail),
      printer_(std::move(printer)), emptyBuckets_(emptyBuckets) {}

void HalyxTextify::beginLine(unsigned bucket) {
    char text[32] = "bucket[";
    char* end = Norvu::writeHex(text + 7, bucket);
    *end++ = ']';
    line_.append(text, end);
}

bool HalyxTextify::handleSlot(unsigned bucket, const SlotLink& link, bool lookaside, unsigned state, unsigned length) {
    if (line_.empty()) {
        beginLine(bucket);
    }
    // Pieces are put together here and appended once: an element is mostly the cost of its appends.
    char text[64];
    char* end = text;
    *end++ = ' ';
    if (linkDetail_) {
        end = writeDecimal(end, link.tag);
        *end++ = ':';
    }
    end = Norvu::writeHex(end, indexText(link));
    end = std::copy_n("-->", 3, end);
    if (linkDetail_) {
        end = writeDecimal(end, state);
        *end++ = ':';
    }
    if (lookaside) {
        *end++ = '*';
    }
    if (style_ == Style::Plain && length <= kShortValue) {
        end = Norvu::writeHexDump(end, valueBuffer(), length);
        line_.append(text, end);
        return true;
    }
    line_.append(text, end);
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
    char text[48];
    char* at = text;
    *at++ = ' ';
    if (linkDetail_) {
        at = writeDecimal(at, end.tag);
        *at++ = ':';
    }
    at = Norvu::writeHex(at, indexText(end));
    at = std::copy_n(" --> none\n", 10, at);
    line_.append(text, at);
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
