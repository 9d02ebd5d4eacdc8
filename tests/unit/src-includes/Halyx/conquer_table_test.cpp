// The checks of a queue's header: each of them, their order, their words.

#include "Halyx/ConquerTable.h"
#include "fixtures/CollectionBuilder.h"

#include <gtest/gtest.h>

using namespace Fixtures;
using Halyx::Conquer;

namespace {

class ConquerHeaderTest : public ::testing::Test {
protected:
    /// A header that passes with any file of 72 bytes or more.
    ConquerHeaderTest() {
        header_.magic = 0x52514358594c4148;
        header_.version = 7;
        header_.fenix = SharedMem::FenixId(0x00021234);
    }

    /// The message of the first failed check; "valid" when all pass. Both ways to ask must agree.
    std::string fault(unsigned size, unsigned wantedFenix = 0) const {
        std::string error = "untouched";
        std::string quietly = "untouched";
        const bool valid = header_.validate(Norvu::Platform::getDebugHandler("test"), size, wantedFenix, error);
        EXPECT_EQ(header_.check(size, wantedFenix, quietly), valid);
        EXPECT_EQ(quietly, error);
        EXPECT_EQ(valid, error == "untouched");
        return valid ? "valid" : error;
    }

    Conquer::Header header_{};
};

TEST_F(ConquerHeaderTest, NeedsItsWholeSize) {
    EXPECT_EQ(fault(71), "ConquerTable::validate() bad header file size: 71 wanted:72");
    EXPECT_EQ(fault(0), "ConquerTable::validate() bad header file size: 0 wanted:72");
    EXPECT_EQ(fault(72), "valid");
    EXPECT_EQ(fault(0xffffffff), "valid");
}

TEST_F(ConquerHeaderTest, NeedsItsMagic) {
    header_.magic = 0x544c5358594c4148;
    EXPECT_EQ(fault(72), "ConquerTable::validate() bad magic: 544c5358594c4148");
    header_.magic = 0xABCDEF;
    EXPECT_EQ(fault(72), "ConquerTable::validate() bad magic: abcdef");
    header_.magic = 0;
    EXPECT_EQ(fault(72), "ConquerTable::validate() bad magic: 0");
}

TEST_F(ConquerHeaderTest, NeedsItsVersion) {
    header_.version = 6;
    EXPECT_EQ(fault(72), "ConquerTable::validate() bad version: 6 conquer version: 7");
    header_.version = 8;
    EXPECT_EQ(fault(72), "ConquerTable::validate() bad version: 8 conquer version: 7");
    header_.version = 0xffffffff;
    EXPECT_EQ(fault(72), "ConquerTable::validate() bad version: 4294967295 conquer version: 7");
}

TEST_F(ConquerHeaderTest, IsOfTheWantedIncarnation) {
    EXPECT_EQ(fault(72, 0x00021234), "valid");
    EXPECT_EQ(fault(72, 0x00031234), "ConquerTable::validate() bad fenix:21234 wanted:31234");
    EXPECT_EQ(fault(72, 0xabcdef), "ConquerTable::validate() bad fenix:21234 wanted:abcdef");
    EXPECT_EQ(fault(72, 0), "valid");
    header_.fenix = SharedMem::FenixId(0);
    EXPECT_EQ(fault(72, 0), "valid");
    EXPECT_EQ(fault(72, 1), "ConquerTable::validate() bad fenix:0 wanted:1");
    header_.fenix = SharedMem::FenixId(0xffffffff);
    EXPECT_EQ(fault(72, 0), "valid");
}

TEST_F(ConquerHeaderTest, NeedsRoomForItsNotifications) {
    header_.notifications = {0xabc, 10};
    EXPECT_EQ(fault(191), "ConquerTable::validate() bad shmem size:191 wanted:192 for 10 notifications");
    EXPECT_EQ(fault(192), "valid");
    EXPECT_EQ(fault(72), "ConquerTable::validate() bad shmem size:72 wanted:192 for 10 notifications");
}

TEST_F(ConquerHeaderTest, ComputesThatRoomIn32Bits) {
    header_.notifications.value = 0x55555556; // 12 times it: 0x400000008
    EXPECT_EQ(fault(79), "ConquerTable::validate() bad shmem size:79 wanted:80 for 1431655766 notifications");
    EXPECT_EQ(fault(80), "valid");
    header_.notifications.value = 0x40000000; // 12 times it: 0x300000000
    EXPECT_EQ(fault(72), "valid");
    header_.notifications.value = 0xffffffff; // 12 times it, and 72 more: 60
    EXPECT_EQ(fault(72), "valid");
    header_.notifications.value = 0x15555554; // 12 times it: 0xfffffff0; 72 more: 0x38
    EXPECT_EQ(fault(72), "valid");
    header_.notifications.value = 0x1555554f; // 12 times it: 0xffffffb4; 72 more: 0xfffffffc
    EXPECT_EQ(fault(72), "ConquerTable::validate() bad shmem size:72 wanted:4294967292 for 357913935 notifications");
    EXPECT_EQ(fault(0xfffffffc), "valid");
}

TEST_F(ConquerHeaderTest, NamesOneOfTwoQueues) {
    header_.tableId = {0, 1};
    EXPECT_EQ(fault(72), "valid");
    header_.tableId = {0, 2};
    EXPECT_EQ(fault(72), "ConquerTable::validate() bad tableId:2");
    header_.tableId = {0, 0xffffffff};
    EXPECT_EQ(fault(72), "ConquerTable::validate() bad tableId:4294967295");
}

TEST_F(ConquerHeaderTest, MayHoldAnythingElse) {
    header_.minimumSequence = ~std::uint64_t{0};
    header_.connectedReaders = 0xffffffff;
    header_.reserved = 0xffffffff;
    header_.tableId.version = 0xffffffff;
    header_.corralStart = ~std::uint64_t{0};
    header_.corralEnd = 0;
    header_.notifications.version = 0xffffffff;
    header_.currentPos = 0xffffffff;
    EXPECT_EQ(fault(72), "valid");
}

TEST_F(ConquerHeaderTest, SaysOnlyTheFirstFault) {
    header_.tableId.value = 2;
    header_.notifications.value = 1;
    EXPECT_EQ(fault(84), "ConquerTable::validate() bad tableId:2");
    EXPECT_EQ(fault(83), "ConquerTable::validate() bad shmem size:83 wanted:84 for 1 notifications");
    EXPECT_EQ(fault(83, 1), "ConquerTable::validate() bad fenix:21234 wanted:1");
    header_.version = 6;
    EXPECT_EQ(fault(83, 1), "ConquerTable::validate() bad version: 6 conquer version: 7");
    header_.magic = 1;
    EXPECT_EQ(fault(83, 1), "ConquerTable::validate() bad magic: 1");
    EXPECT_EQ(fault(71, 1), "ConquerTable::validate() bad header file size: 71 wanted:72");
}

TEST_F(ConquerHeaderTest, ReplacesWhatTheTextHeld) {
    std::string error = "a text of before, which is longer than the one that comes, and longer, and longer, and longer";
    EXPECT_FALSE(header_.validate(Norvu::Platform::getDebugHandler("test"), 71, 0, error));
    EXPECT_EQ(error, "ConquerTable::validate() bad header file size: 71 wanted:72");
    EXPECT_TRUE(header_.validate(Norvu::Platform::getDebugHandler("test"), 72, 0, error));
    EXPECT_EQ(error, "ConquerTable::validate() bad header file size: 71 wanted:72");
}

TEST_F(ConquerHeaderTest, AgreesWithWhatTheFixturesExpect) {
    const std::string good = CollectionBuilder().conquer(3, 2).conquerFile(0);
    for (std::size_t offset = 0; offset < 72; ++offset) {
        for (const char flip : {'\x01', '\x80'}) {
            std::string bytes = good;
            bytes[offset] = static_cast<char>(bytes[offset] ^ flip);
            header_ = fromBytes<Conquer::Header>(bytes);
            const std::string wanted = conquerFault(bytes);
            EXPECT_EQ(fault(static_cast<unsigned>(bytes.size())), wanted.empty() ? "valid" : wanted) << offset;
        }
    }
}

} // namespace
