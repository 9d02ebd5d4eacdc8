#include "Halyx/Compatibility.h"
#include "Halyx/Util.h"
#include "Mem/RootPath.h"
#include "fixtures/ScratchRoot.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

/// Sets Q7_CHROOT for one test.
class Chroot {
public:
    explicit Chroot(const std::string& value) { ::setenv("Q7_CHROOT", value.c_str(), 1); }
    ~Chroot() { ::unsetenv("Q7_CHROOT"); }
    Chroot(const Chroot&) = delete;
    Chroot& operator=(const Chroot&) = delete;
};

Norvu::Platform::DebugHandler& handler() {
    return Norvu::Platform::getDebugHandler("test");
}

std::string rootOf(const std::string& collection) {
    return Halyx::RootPath(handler(), collection, false).text();
}

TEST(IsHalyxFile, KnowsTheFilesOfACollection) {
    for (const std::string name : {"slots", "buckets", "slab0", "slab9", "slab10", "slab31", "conquer.1", "conquer.2",
                                   "fenix", "/var/shmem/halyxes/a/slots", "x/fenix"}) {
        EXPECT_TRUE(Halyx::Util::isHalyxFile(name)) << name;
    }
    for (const std::string name :
         {"",          "/",         "slots/",     "slot",   "slots2",      "Slots",  "slab",    "slab32",
          "slab01",    "slab00",    "slab-1",     "slab+1", "slab 1",      "slab1x", "slab100", "conquer",
          "conquer.0", "conquer.3", "conquer.12", "fenix2", "slots/other", "xslots"}) {
        EXPECT_FALSE(Halyx::Util::isHalyxFile(name)) << name;
    }
}

TEST(TraceHandleName, IsTheCollectionsNameWithItsKindInFront) {
    const auto name = [](const std::string& path) { return Halyx::Util::traceHandleName(path, "Halyx", false); };
    EXPECT_EQ(name("a/prices"), "Halyx-a/prices");
    EXPECT_EQ(name("/var/shmem/halyxes/a/prices"), "Halyx-a/prices");
    EXPECT_EQ(name("/var/shmem/halyxes/a/prices//"), "Halyx-a/prices");
    EXPECT_EQ(name("//a/prices/"), "Halyx-a/prices");
    EXPECT_EQ(name("/var/shmem/halyxes"), "Halyx-");
    EXPECT_EQ(name("/"), "Halyx-");
    EXPECT_EQ(name(""), "Halyx-");
    EXPECT_EQ(name("/var/shmem/halyxes2/a"), "Halyx-var/shmem/halyxes2/a");
    EXPECT_EQ(Halyx::Util::traceHandleName("a", "Other", true), "Other-a");
}

TEST(TraceHandleName, LosesTheChrootToo) {
    const Chroot chroot("/nowhere/at/all");
    EXPECT_EQ(Halyx::Util::traceHandleName("/nowhere/at/all/var/shmem/halyxes/p", "Halyx", false), "Halyx-p");
    EXPECT_EQ(Halyx::Util::traceHandleName("/var/shmem/halyxes/p", "Halyx", false), "Halyx-var/shmem/halyxes/p");
}

TEST(DecodeMagic, ShowsBytesInMemoryOrder) {
    EXPECT_EQ(Halyx::Util::decodeMagic(0x544c5358594c4148), "HALYXSLT");
    EXPECT_EQ(Halyx::Util::decodeMagic(0x544b4258594c4148), "HALYXBKT");
    EXPECT_EQ(Halyx::Util::decodeMagic(0x424c534b53414c50), "PLASKSLB");
    EXPECT_EQ(Halyx::Util::decodeMagic(0), "........");
    EXPECT_EQ(Halyx::Util::decodeMagic(0x7f207e5c22411fff), "..A..~ .");
}

TEST(PlatformType, NamesTheOneItKnows) {
    EXPECT_EQ(Halyx::Compatibility::platformType(1), "x86-linux");
    EXPECT_EQ(Halyx::Compatibility::platformType(0), "unknown(0)");
    EXPECT_EQ(Halyx::Compatibility::platformType(4294967295U), "unknown(4294967295)");
}

TEST(RootPath, JoinsItsPieces) {
    EXPECT_EQ(Mem::RootPath(handler(), "/var/shmem", "halyxes", "", false).text(), "/var/shmem/halyxes");
    EXPECT_EQ(Mem::RootPath(handler(), "/var/shmem", "halyxes", "a/b", false).text(), "/var/shmem/halyxes/a/b");
    EXPECT_EQ(rootOf("a/b"), "/var/shmem/halyxes/a/b");
    EXPECT_EQ(rootOf(""), "/var/shmem/halyxes");
}

TEST(RootPath, NeverEndsInASlash) {
    EXPECT_EQ(Mem::RootPath(handler(), "/var/shmem", "", "", false).text(), "/var/shmem");
    EXPECT_EQ(rootOf("a//"), "/var/shmem/halyxes/a");
}

TEST(RootPath, HasItsSocketPrefix) {
    const Halyx::RootPath derived(handler(), "a", false);
    const Mem::RootPath& base = derived;
    EXPECT_EQ(base.socknamePrefix(), "halyx");
    EXPECT_EQ(Mem::RootPath(handler(), "/x", "y", "", false).socknamePrefix(), "shmem");
}

TEST(RootPath, MovesBelowTheChroot) {
    for (const auto& [value, root] :
         std::vector<std::pair<std::string, std::string>>{{"", ""},
                                                          {"1", ""},
                                                          {"relative/x", ""},
                                                          {"/", ""},
                                                          {"///", ""},
                                                          {"/nowhere/at/all", "/nowhere/at/all"},
                                                          {"/nowhere/at/all///", "/nowhere/at/all"}}) {
        const Chroot chroot(value);
        EXPECT_EQ(rootOf("p"), root + "/var/shmem/halyxes/p") << value;
        EXPECT_EQ(Mem::RootPath(handler(), "/var/shmem", "halyxes", "", false).text(), root + "/var/shmem/halyxes")
            << value;
    }
}

TEST(RootPath, ResolvesLinksInAChrootThatExists) {
    const Fixtures::ScratchRoot root;
    ASSERT_EQ(::symlink(root.path().c_str(), root.file("link").c_str()), 0);
    const Chroot chroot(root.file("link") + "//");
    EXPECT_EQ(rootOf("p"), root.collections() + "/p");
}

} // namespace
