// Queues whose files lose bytes behind the reader's back.

#include "Halyx/ConquerReaderGeneric.h"
#include "unit/ReaderTest.h"

#include <sstream>

using namespace Fixtures;
using Halyx::ConquerReaderGeneric;
using Halyx::Layout::kConquerHeaderSize;
using Halyx::Layout::kConquerRecordsOffset;

namespace {

class ConquerReader : public ReaderTest {
protected:
    /// What a scan prints when `file` is cut to `size` right before it; "refused" when it throws.
    std::string scanOfCut(const CollectionBuilder& builder, const std::string& file, std::size_t size, bool validOnly) {
        const Collection collection = builder.build(root_, "c");
        ConquerReaderGeneric reader(handler(), Halyx::RootPath(handler(), "c", false));
        std::string error;
        if (!reader.attach() || !reader.validate(handler(), error)) {
            return "not sound: " + error;
        }
        reader.sample();
        collection.truncate(file, size);
        std::ostringstream out;
        try {
            reader.scan(out, validOnly);
        } catch (const Norvu::Exception&) {
            EXPECT_EQ(out.str(), "");
            return "refused";
        }
        return out.str();
    }
};

TEST_F(ConquerReader, BelievesNoHeaderThatWasCutAfterItsCheck) {
    CollectionBuilder queues;
    queues.conquer(3, 3).notify(0, 7, 1).notify(1, 6, 2);
    for (const std::string file : {"conquer.1", "conquer.2"}) {
        for (std::size_t size = 0; size < kConquerHeaderSize; ++size) {
            EXPECT_EQ(scanOfCut(queues, file, size, false), "refused") << file << " cut to " << size;
        }
    }
    for (std::size_t size = 0; size < kConquerHeaderSize; ++size) {
        EXPECT_EQ(scanOfCut(queues, "conquer.1", size, true), "refused") << size;
    }
}

TEST_F(ConquerReader, BelievesNoHeaderOfAnEmptyQueueThatWasCutAfterItsCheck) {
    CollectionBuilder queues;
    queues.conquer();
    for (std::size_t size = 0; size < kConquerRecordsOffset; ++size) {
        EXPECT_EQ(scanOfCut(queues, "conquer.1", size, true), "refused") << size;
    }
}

} // namespace
