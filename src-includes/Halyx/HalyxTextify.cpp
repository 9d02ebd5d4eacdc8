#include "Halyx/HalyxTextify.h"

#include "Norvu/Text.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

namespace Halyx {

namespace {

/// Room for what a line has besides values: "bucket[" to "] ", link, state, and the marks between them, or its end.
constexpr std::size_t kRoom = 96;

/// A tag or a state word, in front of what it belongs to.
[[gnu::noinline]] char* writeDetail(char* out, std::uint32_t value) {
    out = std::to_chars(out, out + 10, value).ptr;
    *out = ':';
    return out + 1;
}

template <std::size_t Size>
char* write(char* out, const char (&text)[Size]) {
    std::memcpy(out, text, Size - 1);
    return out + Size - 1;
}

inline char* writeBucket(char* out, unsigned bucket) {
    return write(Norvu::writeHex(write(out, "bucket["), bucket), "]");
}

/// A link's index as it is printed: bit 31 cleared, so that an ordinary end of chain reads 7fffffff.
std::uint32_t indexText(const SlotLink& link) {
    return static_cast<std::uint32_t>(link.index) & 0x7fffffffU;
}

/// Memory that one long chain or value has blown up is not kept for the rest of the walk.
void shed(std::string& text) {
    if (text.capacity() > LineBuffer::kMostKept) [[unlikely]] {
        text = std::string();
    }
}

} // namespace

HalyxTextify::HalyxTextify(void* buffer, Style style, bool linkDetail,
                           std::shared_ptr<Norvu::Platform::ValuePrinter> printer, bool emptyBuckets)
    : ScanHandler(buffer, style == Style::Json || style == Style::Pretty ? printer->size() : 0),
      style_(style == Style::Json || style == Style::Pretty ? style : Style::Plain), linkDetail_(linkDetail),
      printer_(std::move(printer)), emptyBuckets_(emptyBuckets) {}

bool HalyxTextify::handleSlot(unsigned bucket, const SlotLink& link, bool lookaside, unsigned state, unsigned length) {
    const bool plain = style_ == Style::Plain;
    char* at = line_.room(kRoom + (plain ? 2 * std::size_t{length} : 0));
    if (line_.empty()) {
        at = writeBucket(at, bucket);
    }
    at = write(at, " ");
    if (linkDetail_) [[unlikely]] {
        at = writeDetail(at, link.tag);
    }
    at = Norvu::writeHex(at, indexText(link));
    at = write(at, "-->");
    if (linkDetail_) [[unlikely]] {
        at = writeDetail(at, state);
    }
    if (lookaside) [[unlikely]] {
        at = write(at, "*");
    }
    if (plain) [[likely]] {
        line_.take(Norvu::writeHexDump(at, valueBuffer(), length));
        return true;
    }
    line_.take(at);
    appendValue(length);
    return true;
}

void HalyxTextify::appendValue(unsigned length) {
    if (length < printer_->size()) {
        // A value may be shorter than its type; the bytes that it does not have read as zero.
        std::memset(static_cast<char*>(valueBuffer()) + length, 0, printer_->size() - length);
    }
    value_.clear(); // a printer may have given up in the middle of the last one
    printer_->toString(valueBuffer(),
                       style_ == Style::Json ? Norvu::Platform::ValueStyle::Json : Norvu::Platform::ValueStyle::Pretty,
                       value_);
    line_.append(value_);
    shed(value_);
}

bool HalyxTextify::done(unsigned bucket, const SlotLink& end) {
    const bool empty = line_.empty();
    if (empty && !emptyBuckets_) {
        return true;
    }
    char* at = line_.room(kRoom);
    if (empty) {
        at = writeBucket(at, bucket);
    }
    at = write(at, " ");
    if (linkDetail_) {
        at = writeDetail(at, end.tag);
    }
    at = end.index == kEndOfChain ? write(at, "7fffffff") : Norvu::writeHex(at, indexText(end));
    line_.take(write(at, " --> none\n"));
    return finishLine(bucket);
}

void HalyxTextify::handleCorruption(unsigned bucket, const std::string& reason) {
    if (line_.empty()) {
        line_.take(writeBucket(line_.room(kRoom), bucket));
    } else {
        line_.append(" -->");
    }
    std::string safe; // it may name files
    Norvu::appendSafe(safe, reason);
    line_.append(" [corrupted] " + safe + "\n");
    finishLine(bucket);
}

bool HalyxTextify::finishLine(unsigned bucket) {
    const bool goOn = handleLine(bucket, line_.text());
    line_.clear();
    return goOn;
}

bool HalyxTextify::handleLine(unsigned bucket, std::string_view line) {
    return handleLineString(bucket, std::string(line));
}

bool HalyxTextify::restart(unsigned /*bucket*/) {
    line_.clear();
    return true;
}

} // namespace Halyx
