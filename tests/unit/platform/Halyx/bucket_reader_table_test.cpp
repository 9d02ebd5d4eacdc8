#include "Halyx/BucketReaderTable.h"
#include "Norvu/Exception.h"
#include "fixtures/CollectionBuilder.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <optional>

using namespace Fixtures;
using Norvu::CorruptionDetectedException;

namespace {

class BucketReaderTableTest : public ::testing::Test {
protected:
    void SetUp() override { ::setenv("Q7_CHROOT", root_.path().c_str(), 1); }
    void TearDown() override { ::unsetenv("Q7_CHROOT"); }

    /// A table on a collection with that many buckets.
    Halyx::BucketReaderTable& table(const CollectionBuilder& builder) {
        collection_.emplace(builder.build(root_, "c"));
        path_.emplace(Norvu::Platform::getDebugHandler("test"), "c", false);
        table_.emplace(Norvu::Platform::getDebugHandler("test"), *path_, counters_);
        return *table_;
    }

    template <typename Call>
    static std::string corruption(Call call) {
        try {
            call();
        } catch (const CorruptionDetectedException& exception) {
            return exception.msg();
        }
        return "nothing was thrown";
    }

    ScratchRoot root_;
    std::optional<Collection> collection_;
    std::optional<Halyx::RootPath> path_;
    Halyx::Reader::Counters counters_;
    std::optional<Halyx::BucketReaderTable> table_;
};

TEST_F(BucketReaderTableTest, MapsOnlyTheHeaderUntilItIsResized) {
    auto& buckets = table(CollectionBuilder(4).head(3, 6, 5));
    ASSERT_TRUE(buckets.attach());
    EXPECT_EQ(buckets.capacity(), 0U);
    EXPECT_EQ(corruption([&] { (void)buckets[0]; }), "BucketReader::operator[] out-of-range, index:0 max:4294967295");
    EXPECT_TRUE(buckets.doResize());
    EXPECT_EQ(buckets.capacity(), 4U);
    EXPECT_EQ(Halyx::SlotLink::fromWord(buckets[3].word64<0>()), (Halyx::SlotLink{5, 6}));
    EXPECT_EQ(corruption([&] { (void)buckets[4]; }), "BucketReader::operator[] out-of-range, index:4 max:3");
}

TEST_F(BucketReaderTableTest, ResizesOnlyWhenTheVersionChanges) {
    auto& buckets = table(CollectionBuilder(4));
    ASSERT_TRUE(buckets.attach());
    EXPECT_TRUE(buckets.doResize());
    EXPECT_FALSE(buckets.doResize());
    collection_->corrupt32("buckets", 20, 2); // the count alone
    EXPECT_FALSE(buckets.doResize());
    EXPECT_EQ(buckets.capacity(), 4U);
    EXPECT_TRUE(buckets.countChanged());
    collection_->corrupt32("buckets", 16, 9);
    EXPECT_TRUE(buckets.doResize());
    EXPECT_EQ(buckets.capacity(), 2U);
    EXPECT_FALSE(buckets.countChanged());
}

TEST_F(BucketReaderTableTest, AnotherAttachForgetsTheEntries) {
    auto& buckets = table(CollectionBuilder(4096)); // most of them on pages that the header is not on
    ASSERT_TRUE(buckets.attach());
    EXPECT_TRUE(buckets.doResize());
    ASSERT_TRUE(buckets.attach());
    EXPECT_EQ(buckets.capacity(), 0U);
    EXPECT_EQ(buckets.entries().count(), 0U);
    EXPECT_EQ(corruption([&] { (void)buckets[4095]; }),
              "BucketReader::operator[] out-of-range, index:4095 max:4294967295");
    EXPECT_TRUE(buckets.doResize());
    EXPECT_EQ(buckets.capacity(), 4096U);
    EXPECT_NO_THROW((void)buckets.head(4095));
}

TEST_F(BucketReaderTableTest, TheFirstResizeMapsWhateverTheVersion) {
    for (const std::uint32_t version : {0U, 1U, 0xffffffffU}) {
        CollectionBuilder builder(4);
        builder.bucketsHeader.numBuckets.version = version;
        auto& buckets = table(builder);
        ASSERT_TRUE(buckets.attach());
        EXPECT_TRUE(buckets.doResize()) << version;
        EXPECT_EQ(buckets.capacity(), 4U) << version;
    }
}

TEST_F(BucketReaderTableTest, SaysWhichSizesDoNotFit) {
    auto& buckets = table(CollectionBuilder(4));
    ASSERT_TRUE(buckets.attach());
    EXPECT_TRUE(buckets.doResize());
    collection_->corrupt32("buckets", 20, 100);
    collection_->corrupt32("buckets", 16, 9);
    EXPECT_EQ(corruption([&] { buckets.doResize(); }),
              "BucketReader::doResize() requesting to map " + collection_->file("buckets") +
                  " 100 buckets. Requested file resize to 832 but real file size is 64");
    EXPECT_EQ(buckets.capacity(), 4U);
    EXPECT_NO_THROW((void)buckets[3]);
}

TEST_F(BucketReaderTableTest, ComputesNeededSizesWithoutWrapping) {
    auto& buckets = table(CollectionBuilder(4));
    ASSERT_TRUE(buckets.attach());
    collection_->corrupt32("buckets", 20, 0x20000000);
    EXPECT_EQ(corruption([&] { buckets.doResize(); }),
              "BucketReader::doResize() requesting to map " + collection_->file("buckets") +
                  " 536870912 buckets. Requested file resize to 4294967328 but real file size is 64");
    std::string error;
    EXPECT_FALSE(buckets.validate(0, error));
    EXPECT_EQ(error, "BucketTable::Header::validate() bad shmem size:64 wanted:4294967328 for 536870912 buckets");
}

TEST_F(BucketReaderTableTest, DoesNotAttachToNothing) {
    auto& missing = table(CollectionBuilder(4));
    collection_->remove("buckets");
    EXPECT_FALSE(missing.attach());
    auto& empty = table(CollectionBuilder(4));
    collection_->truncate("buckets", 0);
    EXPECT_FALSE(empty.attach());
    auto& fifo = table(CollectionBuilder(4));
    collection_->replaceWithFifo("buckets");
    EXPECT_FALSE(fifo.attach());
}

TEST_F(BucketReaderTableTest, ChecksItsHeaderInOrder) {
    const std::string good = CollectionBuilder(4).bucketsFile();
    const auto fault = [&](const std::string& bytes, unsigned fenix) {
        auto& buckets = table(CollectionBuilder(4));
        collection_->replace("buckets", bytes);
        EXPECT_TRUE(buckets.attach());
        std::string error = "untouched";
        const bool valid = buckets.validate(fenix, error);
        EXPECT_EQ(valid, error == "untouched");
        return error;
    };
    const std::string at = "BucketTable::Header::validate() bad ";
    std::string bytes = good;
    EXPECT_EQ(fault(bytes, 0), "untouched");
    EXPECT_EQ(fault(bytes, 0x71234), "untouched");
    bytes.resize(63);
    EXPECT_EQ(fault(bytes, 0), at + "shmem size:63 wanted:64 for 4 buckets");
    EXPECT_EQ(fault(bytes, 0xabcdef), at + "fenix:71234 wanted:abcdef");
    bytes.replace(8, 4, bytesOf(26U));
    EXPECT_EQ(fault(bytes, 0xabcdef), at + "version: 26");
    bytes[0] = 'h';
    EXPECT_EQ(fault(bytes, 0xabcdef), at + "magic: 544b4258594c4168");
    bytes.resize(31);
    EXPECT_EQ(fault(bytes, 0xabcdef), at + "header file size: 31 wanted:32");
}

} // namespace
