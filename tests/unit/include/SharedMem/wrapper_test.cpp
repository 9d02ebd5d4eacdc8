#include "SharedMem/Blob.h"
#include "SharedMem/SharedMemWrapper.h"
#include "unit/ReaderTest.h"

#include <csignal>
#include <cstring>

namespace {

using WrapperTest = ReaderTest;
constexpr Mem::Mode kMode = Mem::Mode::ReadOnlyShared;

TEST_F(WrapperTest, MapsAFileOfTheCollection) {
    const auto c = Fixtures::CollectionBuilder(1, 1).build(root_, "c");
    const Halyx::RootPath path(handler(), "c", false);
    Mem::SharedMemWrapper wrapper(handler(), path, "slots", false);
    EXPECT_EQ(wrapper.getFilename(), c.file("slots"));
    EXPECT_EQ(wrapper.regionSize(), 240U);
    EXPECT_FALSE(wrapper.isLocal());
    ASSERT_NE(wrapper.attach(216, kMode, true), nullptr);
    EXPECT_EQ(wrapper.view().size(), 216U);
    ASSERT_NE(wrapper.remap(240), nullptr);
    EXPECT_EQ(wrapper.view().size(), 240U);
    EXPECT_EQ(wrapper.release(), 0);
    EXPECT_FALSE(wrapper.attached());
}

TEST_F(WrapperTest, DoesNotMapWhatIsMissing) {
    const Halyx::RootPath path(handler(), "nothing", false);
    Mem::SharedMemWrapper wrapper(handler(), path, "slots", false);
    EXPECT_EQ(wrapper.attach(216, kMode, true), nullptr);
    EXPECT_EQ(wrapper.regionSize(), 0U);
}

TEST_F(WrapperTest, IsProcessLocalMemoryWhenAsked) {
    const Halyx::RootPath path(handler(), "c", false);
    Mem::SharedMemWrapper wrapper(handler(), path, "slots", true);
    EXPECT_TRUE(wrapper.isLocal());
    EXPECT_TRUE(wrapper.getFilename() == Mem::Local::HEAP || wrapper.getFilename() == Mem::Local::ANONYMOUS);
    ASSERT_NE(wrapper.attach(216, kMode, true), nullptr);
    EXPECT_EQ(wrapper.regionSize(), 216U);
    EXPECT_EQ(wrapper.view().word(212), 0U);
    ASSERT_NE(wrapper.remap(4096), nullptr);
    EXPECT_EQ(wrapper.regionSize(), 4096U);
    EXPECT_EQ(wrapper.release(), 0);
}

TEST(AutoBlob, GrowsAndKeepsWhatItHeld) {
    Mem::AutoBlob blob;
    EXPECT_EQ(blob.size(), 0U);
    blob.resize(4);
    std::memcpy(blob.data(), "abc", 4);
    blob.resize(1 << 20);
    EXPECT_STREQ(static_cast<const char*>(blob.data()), "abc");
    EXPECT_EQ(blob.size(), 1U << 20);
    blob.resize(0);
    EXPECT_EQ(blob.size(), 0U);
}

TEST(AutoBlobDeathTest, EndsTheProcessWhenThereIsNoMemory) {
    if (std::string(HALYX_SANITIZE) != "") {
        GTEST_SKIP() << "a sanitizer's allocator has words of its own for this";
    }
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(Mem::AutoBlob().resize(static_cast<std::size_t>(-1) - 100), ::testing::KilledBySignal(SIGABRT),
                "/usr/include/SharedMem/Blob:115: Mem::Blob Mem::AutoBlob::resize\\(size_t\\): Assertion `false && "
                "\"Blob::resize\\(\\) realloc\\(\\) failed\"' failed");
}

} // namespace
