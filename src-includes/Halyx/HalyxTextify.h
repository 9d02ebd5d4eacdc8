#pragma once

#include "Halyx/HalyxReaderGeneric.h"
#include "Halyx/LineBuffer.h"
#include "Norvu/ValuePrinter.h"

#include <memory>
#include <string>
#include <string_view>

namespace Halyx {

/// Turns a walk into text: one line a bucket, made when its chain has ended or failed. Text of a walk that was abandoned never
/// gets out. The line buffer is kept from bucket to bucket, so that an element costs no allocation. Borrows the value buffer.
class HalyxTextify : public HalyxReaderGeneric::ScanHandler {
public:
    enum class Style { Plain = 0, Json = 1, Pretty = 2 };

    /// `buffer` has the printer's size. `linkDetail` adds tags and state words; `emptyBuckets` prints buckets without
    /// elements too.
    HalyxTextify(void* buffer, Style style, bool linkDetail, std::shared_ptr<Norvu::Platform::ValuePrinter> printer,
                 bool emptyBuckets);

    bool done(unsigned bucket, const SlotLink& end) override;
    bool handleSlot(unsigned bucket, const SlotLink& link, bool lookaside, unsigned state, unsigned length) override;
    void handleCorruption(unsigned bucket, const std::string& reason) override;
    void handleResize() override = 0;
    bool restart(unsigned bucket) override;

    /// Takes a finished line, its line end included; false stops the scan.
    virtual bool handleLineString(unsigned bucket, const std::string& line) = 0;

protected:
    /// The same for a line that is still where it was put together, for whoever needs no string of its own. Calls
    /// handleLineString.
    virtual bool handleLine(unsigned bucket, std::string_view line);

    ~HalyxTextify() = default;

private:
    void appendValue(unsigned length);
    bool finishLine(unsigned bucket);

    Style style_;
    bool linkDetail_;
    std::shared_ptr<Norvu::Platform::ValuePrinter> printer_;
    LineBuffer line_;   ///< the current bucket's line so far; empty until its first element
    std::string value_; ///< a value's text
    bool emptyBuckets_;
};

} // namespace Halyx
