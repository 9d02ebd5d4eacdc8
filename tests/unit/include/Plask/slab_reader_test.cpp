#include "Plask/ReaderAllocator.h"
#include "Plask/SlabReader.h"
#include "fixtures/MappedFile.h"
#include "unit/ReaderTest.h"

#include <cstring>
#include <filesystem>
#include <sstream>

using namespace Fixtures;
using Plask::SlabReader;

namespace {

class SlabReaderTest : public ReaderTest {
protected:
    SlabReader& reader(unsigned number = 3) {
        path_.emplace(handler(), "c", false);
        reader_.emplace(handler(), *path_, number, false);
        return *reader_;
    }

    Collection build(std::uint32_t entrySize = 24,
                     const std::vector<std::optional<std::string>>& payloads = {"one", "two"}) {
        return CollectionBuilder(1, 1).slab(3, entrySize, payloads).build(root_, "c");
    }

    std::string value(SlabReader& reader, unsigned index) {
        char buffer[256];
        return {buffer, reader.getValue(index, buffer, sizeof buffer)};
    }

    std::optional<Halyx::RootPath> path_;
    std::optional<SlabReader> reader_;
};

TEST(SlabOffset, PrintsItsParts) {
    std::ostringstream out;
    out << Plask::Layout::SlabOffset(31, 0x7ffffff) << Plask::Layout::SlabOffset(0U);
    EXPECT_EQ(out.str(), "Offset{ slab: 31 index: 134217727 }Offset{ slab: 0 index: 0 }");
}

TEST_F(SlabReaderTest, ReadsPayloads) {
    build();
    SlabReader& slab = reader();
    EXPECT_EQ(slab.name(), "SlabReader-3-?");
    ASSERT_TRUE(slab.attach(true));
    EXPECT_EQ(slab.name(), "SlabReader-3-?");
    slab.validate(0);
    EXPECT_EQ(slab.name(), "SlabReader-3-24");
    EXPECT_EQ(slab.capacity(), 0U);
    EXPECT_EQ(value(slab, 1), "two");
    EXPECT_EQ(slab.capacity(), 2U);
    EXPECT_EQ(value(slab, 0), "one");
    slab.detach();
    EXPECT_FALSE(slab.attached());
}

TEST_F(SlabReaderTest, MayBeMissingWhenItNeedNotExist) {
    build().remove("slab3");
    EXPECT_FALSE(reader().attach(false));
    EXPECT_EQ(corruption([&] { reader().attach(true); }), "SlabReader-3-?::attach() no shared memory region");
    build().truncate("slab3", 0);
    EXPECT_FALSE(reader().attach(false));
    EXPECT_EQ(corruption([&] { reader().attach(true); }), "SlabReader-3-?::attach() no shared memory region");
}

TEST_F(SlabReaderTest, WantsTheRightIncarnation) {
    build();
    SlabReader& slab = reader();
    ASSERT_TRUE(slab.attach(true));
    slab.validate(0x71234);
    EXPECT_EQ(corruption([&] { slab.validate(0xabcd); }),
              "SlabReader-3-24::validate() failed: SlabHeader::validate() bad fenix:71234 wanted:abcd");
}

TEST_F(SlabReaderTest, FollowsTheWritersGrowth) {
    const Collection c = build();
    SlabReader& slab = reader();
    ASSERT_TRUE(slab.attach(true));
    slab.validate(0);
    EXPECT_EQ(corruption([&] { value(slab, 2); }),
              "SlabReader-3-24::getEntry() index: 2 is beyond farthest possible index: 2");
    build(24, {"one", "two", "three"});
    EXPECT_EQ(corruption([&] { value(slab, 2); }),
              "SlabReader-3-24::getEntry() index: 2 is beyond farthest possible index: 2"); // the version is as it was
    c.corrupt32("slab3", 16, 4);
    EXPECT_EQ(value(slab, 2), "three");
}

TEST_F(SlabReaderTest, MapsNothingThatTheFileHasNot) {
    const Collection c = build();
    SlabReader& slab = reader();
    ASSERT_TRUE(slab.attach(true));
    slab.validate(0);
    EXPECT_EQ(value(slab, 0), "one");
    const MappedFile file(c.file("slab3"));
    file.view().publish64(16, Mem::VerU32{9, 1000}.word());
    EXPECT_EQ(corruption([&] { value(slab, 0); }), "SlabReader-3-24::doResize() bad shmem size:88 wanted:24040");
    file.view().publish64(16, Mem::VerU32{10, 0x10000000}.word());
    EXPECT_EQ(corruption([&] { value(slab, 0); }), "SlabReader-3-24::doResize() bad shmem size:88 wanted:6442450984");
    file.view().publish64(16, Mem::VerU32{11, 1}.word());
    EXPECT_EQ(value(slab, 0), "one");
    EXPECT_EQ(corruption([&] { value(slab, 1); }),
              "SlabReader-3-24::getEntry() index: 1 is beyond farthest possible index: 1");
}

TEST_F(SlabReaderTest, TakesAFullEntryAndNotOneByteMore) {
    const Collection c = build(16, {std::string(8, 'f'), "x"});
    SlabReader& slab = reader();
    ASSERT_TRUE(slab.attach(true));
    slab.validate(0);
    EXPECT_EQ(value(slab, 0), std::string(8, 'f'));
    c.corrupt32("slab3", 40, 9);
    EXPECT_EQ(corruption([&] { value(slab, 0); }),
              "SlabReader-3-16::getValue() encountered payloadSize:9, but max payloadSize:8 at index: 0");
    c.corrupt32("slab3", 40, 0xffffffff);
    EXPECT_EQ(corruption([&] { value(slab, 0); }),
              "SlabReader-3-16::getValue() encountered unoccupied entry at index: 0");
}

TEST_F(SlabReaderTest, WritesNothingPastTheRoomItIsGiven) {
    build(24, {std::string(16, 'f')});
    SlabReader& slab = reader();
    ASSERT_TRUE(slab.attach(true));
    slab.validate(0);
    char buffer[16];
    std::memset(buffer, '.', sizeof buffer);
    EXPECT_THROW(slab.getValue(0, buffer, 15), Norvu::CorruptionDetectedException);
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string(16, '.'));
    EXPECT_EQ(slab.getValue(0, buffer, 16), 16U);
}

TEST_F(SlabReaderTest, TurnsACutUnderTheMappingIntoCorruption) {
    const Collection c = build(4096, std::vector<std::optional<std::string>>(8, "payload"));
    SlabReader& slab = reader();
    ASSERT_TRUE(slab.attach(true));
    slab.validate(0);
    EXPECT_EQ(value(slab, 7), "payload");
    c.truncate("slab3", 4096);
    EXPECT_NE(corruption([&] { value(slab, 7); }).find(c.file("slab3")), std::string::npos);
}

class ReaderAllocatorTest : public SlabReaderTest {};

TEST_F(ReaderAllocatorTest, ReadsAnySlabAndDetachesABadOne) {
    const Collection c = build();
    path_.emplace(handler(), "c", false);
    Plask::ReaderAllocator allocator(handler(), *path_);
    char buffer[64];
    const auto read = [&](unsigned slab, std::uint32_t index) {
        return std::string(buffer, allocator.read(Plask::Layout::SlabOffset(slab, index), buffer, sizeof buffer));
    };
    EXPECT_EQ(read(3, 1), "two");
    EXPECT_EQ(corruption([&] { read(4, 0); }), "SlabReader-4-?::attach() no shared memory region");
    CollectionBuilder broken(1, 1);
    broken.slab(5, 24, {"x"}).slabHeader(5).version = 2;
    c.replace("slab5", broken.slabFile(5));
    const std::string fault = "SlabReader-5-24::validate() failed: SlabHeader::validate() bad version: 2 wanted: 1";
    EXPECT_EQ(corruption([&] { read(5, 0); }), fault);
    EXPECT_EQ(corruption([&] { read(5, 0); }), fault);
    c.corrupt32("slab5", 8, 1);
    EXPECT_EQ(read(5, 0), "x");
}

TEST_F(ReaderAllocatorTest, ASlabThatWentWithItsIncarnationIsNoCorruption) {
    const Collection c = build();
    path_.emplace(handler(), "c", false);
    Plask::ReaderAllocator allocator(handler(), *path_);
    char buffer[64];
    const auto gone = [&](unsigned slab) {
        try {
            (void)allocator.read(Plask::Layout::SlabOffset(slab, 0), buffer, sizeof buffer);
        } catch (const Norvu::MemoryResourceException& exception) {
            return exception.msg();
        }
        return std::string("nothing was thrown");
    };
    const std::string expected = "SlabReader-4-?::attach() " + c.file("slab4") +
                                 " is gone: a new incarnation took the collection's place, or it was removed";
    std::filesystem::rename(c.path(), c.path() + ".old");
    EXPECT_EQ(gone(4), expected);
    build(); // the same name, another directory
    EXPECT_EQ(gone(4), expected);
    // What was opened in time is still there, and what is wrong with it is.
    EXPECT_EQ(std::string(buffer, allocator.read(Plask::Layout::SlabOffset(3, 1), buffer, sizeof buffer)), "two");
    EXPECT_EQ(corruption([&] {
                  (void)allocator.read(Plask::Layout::SlabOffset(3, 2), buffer, sizeof buffer);
              }).rfind("SlabReader-3-24::", 0),
              0U);
}

TEST_F(ReaderAllocatorTest, ExpectsTheIncarnationItWasTold) {
    build();
    path_.emplace(handler(), "c", false);
    Plask::ReaderAllocator allocator(handler(), *path_);
    allocator.expect(SharedMem::FenixId(0x1a));
    char buffer[64];
    EXPECT_EQ(corruption([&] { (void)allocator.read(Plask::Layout::SlabOffset(3, 0), buffer, 64); }),
              "SlabReader-3-24::validate() failed: SlabHeader::validate() bad fenix:71234 wanted:1a");
}

} // namespace
