#include "Mem/Row.h"
#include "Norvu/Exception.h"

#include <array>
#include <gtest/gtest.h>
#include <string>

using Norvu::CorruptionDetectedException;

namespace {

const std::string kName = "the row";

class RowTest : public ::testing::Test {
protected:
    RowTest() {
        for (unsigned i = 0; i < bytes_.size(); ++i) {
            bytes_[i] = static_cast<unsigned char>(i);
        }
    }
    /// Records of `stride` bytes in the first `size` ones, from `from` on.
    template <std::size_t Head>
    Mem::Row<Head> row(std::size_t size, std::size_t stride, std::size_t from = 0) const {
        return {Mem::View(bytes_.data() + from, size, kName), stride};
    }

    alignas(16) std::array<unsigned char, 96> bytes_{};
};

TEST_F(RowTest, HasTheRecordsThatThePieceHoldsWhole) {
    EXPECT_EQ(row<8>(64, 24).count(), 2U);
    EXPECT_EQ(row<8>(72, 24).count(), 3U);
    EXPECT_EQ(row<8>(7, 8).count(), 0U);
    EXPECT_EQ(row<16>(64, 8).count(), 0U) << "a record without its head is none";
    EXPECT_EQ(row<8>(64, 0).count(), 0U);
    EXPECT_EQ(Mem::Row<8>().count(), 0U);
}

TEST_F(RowTest, ReadsARecordsHeadInPlace) {
    const auto records = row<16>(72, 24);
    EXPECT_EQ(records[0].word<0>(), 0x03020100U);
    EXPECT_EQ(records[2].word<8>(), 0x3b3a3938U);
    EXPECT_EQ(records[2].word64<0>(), 0x3736353433323130U);
    EXPECT_EQ(records[2].head<8>().word<4>(), 0x37363534U);
}

TEST_F(RowTest, ReadsWhatIsNotAligned) {
    const auto records = row<16>(72, 18, 1);
    EXPECT_EQ(records[1].word<4>(), 0x1a191817U);
    EXPECT_EQ(records[1].word64<0>(), 0x1a19181716151413U);
    std::array<unsigned char, 8> copy{};
    records.copy(1, 4, copy.data(), 8);
    EXPECT_EQ(copy, (std::array<unsigned char, 8>{0x17, 0x18, 0x19, 0x1a, 0x1b, 0x1c, 0x1d, 0x1e}));
}

TEST_F(RowTest, EndsWithItsLastRecord) {
    const auto records = row<8>(70, 24);
    EXPECT_TRUE(records.has(1));
    EXPECT_FALSE(records.has(2));
    EXPECT_THROW((void)records[2], CorruptionDetectedException);
    EXPECT_THROW((void)records[~std::size_t{0}], CorruptionDetectedException);
    EXPECT_EQ(records.view(1).size(), 24U);
    EXPECT_THROW((void)records.view(2), CorruptionDetectedException);
}

TEST_F(RowTest, CopiesFromInsideOfARecordOnly) {
    const auto records = row<8>(48, 24);
    std::array<unsigned char, 32> copy{};
    records.copy(1, 16, copy.data(), 8);
    EXPECT_EQ(copy[0], 40U);
    EXPECT_EQ(copy[7], 47U);
    EXPECT_EQ(copy[8], 0U);
    records.copy(0, 3, copy.data(), 21);
    EXPECT_EQ(copy[20], 23U);
    EXPECT_NO_THROW(records.copy(1, 24, copy.data(), 0));
    EXPECT_THROW(records.copy(0, 17, copy.data(), 8), CorruptionDetectedException);
    EXPECT_THROW(records.copy(0, 25, copy.data(), 0), CorruptionDetectedException);
    EXPECT_THROW(records.copy(2, 0, copy.data(), 8), CorruptionDetectedException);
}

} // namespace
