#include "Norvu/Exception.h"
#include "unit/writer/WriterTest.h"
#include "writer/ChurnValue.h"
#include "writer/CollectionDirectory.h"
#include "writer/Errors.h"

#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Halyx::Writer::Collection;
using Halyx::Writer::CollectionDirectory;
using Halyx::Writer::Options;
using Halyx::Writer::RefusedException;

class WriterDirectoryTest : public WriterTest {
protected:
    static mode_t modeOf(const std::string& path) {
        struct stat status {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
        return status.st_mode & 07777;
    }
    static std::string refusal(const std::string& name, const Options& options) {
        try {
            const Collection collection(name, options);
            return "none";
        } catch (const RefusedException& error) {
            return error.msg();
        }
    }
    void makeClosed(const std::string& name, std::uint64_t elements) const {
        Collection collection(name, pairs());
        for (std::uint64_t number = 0; number < elements; ++number) {
            collection.put(key(number), pair(number, number));
        }
        collection.publish();
    }
    /// Runs `body` in a process of its own; its exit status, or 256 + the signal that ended it.
    template <typename Body>
    static int inChild(Body body) {
        const pid_t child = ::fork();
        if (child == 0) {
            try {
                body();
                ::_exit(0);
            } catch (...) {
                ::_exit(99);
            }
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 256 + WTERMSIG(status);
    }
};

TEST_F(WriterDirectoryTest, NothingIsInPlaceBeforeItIsPublished) {
    {
        Collection collection("prices", pairs());
        collection.put(key(1), pair(1, 1));
        EXPECT_FALSE(Fixtures::exists(pathOf("prices")));
        EXPECT_EQ(besideRoot().size(), 2U);
    }
    EXPECT_EQ(besideRoot(), std::vector<std::string>{"halyxes"});
    {
        Collection collection("prices", pairs());
        collection.publish();
        EXPECT_EQ(besideRoot(), std::vector<std::string>{"halyxes"});
    }
    EXPECT_EQ(filesIn(pathOf("prices")), (std::vector<std::string>{"buckets", "fenix", "slots"}));
}

TEST_F(WriterDirectoryTest, ANewSlabAppearsWholeAndLeavesNothingBeside) {
    Options options = texts();
    options.conquer = true;
    Collection collection("slabs", options);
    collection.publish();
    collection.put(key(1), key(1));
    EXPECT_EQ(filesIn(pathOf("slabs")),
              (std::vector<std::string>{"buckets", "conquer.1", "conquer.2", "fenix", "slab0", "slots"}));
    EXPECT_EQ(besideRoot(), std::vector<std::string>{"halyxes"});
}

TEST_F(WriterDirectoryTest, ModesAreAsSaidWhateverTheMask) {
    const mode_t mask = ::umask(0777);
    {
        Options options = texts();
        Collection collection("deep/down/here", options);
        collection.publish();
        collection.put(key(1), key(1));
    }
    ::umask(0);
    {
        Options options = pairs();
        options.fileMode = 0600;
        options.directoryMode = 0700;
        Collection collection("private", options);
        collection.publish();
    }
    ::umask(mask);
    for (const char* directory : {"deep", "deep/down", "deep/down/here"}) {
        EXPECT_EQ(modeOf(pathOf(directory)), 0750U) << directory;
    }
    for (const std::string& file : filesIn(pathOf("deep/down/here"))) {
        EXPECT_EQ(modeOf(pathOf("deep/down/here/") + file), 0640U) << file;
    }
    EXPECT_EQ(modeOf(pathOf("private")), 0700U);
    EXPECT_EQ(modeOf(pathOf("private/slots")), 0600U);
}

TEST_F(WriterDirectoryTest, ParentsAreMade) {
    const std::string chroot = root_.file("not/yet/there");
    ::setenv("Q7_CHROOT", chroot.c_str(), 1);
    Collection collection("first", pairs());
    collection.publish();
    EXPECT_TRUE(Fixtures::exists(chroot + "/var/shmem/halyxes/first/slots"));
}

TEST_F(WriterDirectoryTest, NamesAreTakenAsTheToolTakesThem) {
    EXPECT_EQ(CollectionDirectory::collectionName("a/b"), "a/b");
    EXPECT_EQ(CollectionDirectory::collectionName("/a/b/"), "a/b");
    EXPECT_EQ(CollectionDirectory::collectionName(root_.collections() + "/a/b"), "a/b");
    EXPECT_EQ(CollectionDirectory::collectionName("a*[b]"), "a*[b]");
    for (const char* name : {"", "/", "a//b", ".", "..", "a/../b", "a/./b", "slots", "a/slab3", "slots/a"}) {
        EXPECT_THROW(CollectionDirectory::collectionName(name), RefusedException) << name;
    }
}

TEST_F(WriterDirectoryTest, ALiveWriterKeepsOthersOff) {
    Collection collection("prices", pairs());
    collection.publish();
    EXPECT_EQ(refusal("prices", pairs()), "the collection 'prices' has a live writer");
    EXPECT_THROW(Collection::restart("prices", pairs()), RefusedException);
    collection.put(key(1), pair(1, 1));
    EXPECT_EQ(FileWalk(pathOf("prices")).values().size(), 1U);
    collection.close();
    EXPECT_EQ(refusal("prices", pairs()), "none");
    EXPECT_EQ(FileWalk(pathOf("prices")).values().size(), 1U);
}

/// Shares its parent's memory, but holds none of its descriptors open.
int keepMemory(void* closed) {
    ::syscall(SYS_close_range, 0U, ~0U, 0U);
    static_cast<std::atomic<bool>*>(closed)->store(true);
    for (;;) {
        ::pause();
    }
}

TEST_F(WriterDirectoryTest, AKilledWriterIsDeadAlsoWhileItsMemoryIsInUse) {
    if (std::string(HALYX_SANITIZE) == "thread") {
        GTEST_SKIP()
            << "the process that keeps the memory would share what the thread sanitizer knows of the writer's thread";
    }
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t writer = ::fork();
    if (writer == 0) {
        Collection collection("prices", pairs());
        collection.publish();
        std::atomic<bool> closed = false;
        static char stack[1 << 16];
        const pid_t keeper = ::clone(keepMemory, stack + sizeof stack, CLONE_VM | SIGCHLD, &closed);
        while (keeper > 0 && !closed) {
            ::usleep(100);
        }
        (void)!::write(ready[1], &keeper, sizeof keeper);
        for (;;) {
            ::pause();
        }
    }
    pid_t keeper = -1;
    EXPECT_EQ(::read(ready[0], &keeper, sizeof keeper), ssize_t{sizeof keeper});
    EXPECT_EQ(refusal("prices", pairs()), "the collection 'prices' has a live writer");
    ::kill(writer, SIGKILL);
    ::waitpid(writer, nullptr, 0);
    EXPECT_EQ(refusal("prices", pairs()), "none");
    if (keeper > 0) {
        ::kill(keeper, SIGKILL);
        EXPECT_EQ(::waitpid(keeper, nullptr, 0), keeper);
    } else {
        ADD_FAILURE() << "no process shares the writer's memory";
    }
    ::prctl(PR_SET_CHILD_SUBREAPER, 0);
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST_F(WriterDirectoryTest, TwoNewCollectionsOfOneNameAreNotBothPutInPlace) {
    Collection first("prices", pairs());
    Collection second("prices", pairs());
    first.publish();
    EXPECT_THROW(second.publish(), Norvu::RuntimeException);
    first.put(key(1), pair(1, 1));
    EXPECT_EQ(FileWalk(pathOf("prices")).values().size(), 1U);
}

TEST_F(WriterDirectoryTest, ANewIncarnationReplacesTheOldOneAndReadersKeepTheOld) {
    makeClosed("prices", 3);
    const FileWalk old(pathOf("prices"));
    const int reader = ::open((pathOf("prices") + "/slots").c_str(), O_RDONLY);
    ASSERT_GE(reader, 0);
    {
        Collection collection("prices", pairs());
        EXPECT_EQ(FileWalk(pathOf("prices")).values().size(), 3U);
        collection.publish();
        const FileWalk now(pathOf("prices"));
        EXPECT_TRUE(now.values().empty());
        EXPECT_EQ(now.header().fenix.instance(), static_cast<std::uint16_t>(old.header().fenix.instance() + 1));
    }
    Halyx::Layout::SlotTableHeader header{};
    EXPECT_EQ(::pread(reader, &header, sizeof header, 0), ssize_t{sizeof header});
    EXPECT_EQ(header.occupiedSlots, 3U);
    ::close(reader);
    EXPECT_EQ(besideRoot(), std::vector<std::string>{"halyxes"});
}

TEST_F(WriterDirectoryTest, WhatIsNoCollectionIsNeverReplaced) {
    makeClosed("a/prices", 1);
    EXPECT_EQ(refusal("a", pairs()), pathOf("a") + " is more than a collection: it holds 'prices'");
    EXPECT_EQ(refusal("a/prices/deeper", pairs()), "'a/prices/deeper' lies inside the collection 'a/prices'");
    Fixtures::writeFile(pathOf("a/prices/notes"), "mine");
    EXPECT_EQ(refusal("a/prices", pairs()), pathOf("a/prices") + " is more than a collection: it holds 'notes'");
    EXPECT_EQ(Fixtures::readFile(pathOf("a/prices/notes")), "mine");
    Fixtures::makeDirectories(pathOf("orphan"));
    Fixtures::writeFile(pathOf("orphan/slots"), "x");
    EXPECT_NE(refusal("orphan", pairs()).find("has no file 'fenix'"), std::string::npos);
    Fixtures::writeFile(pathOf("file"), "x");
    EXPECT_THROW(Collection("file", pairs()), Norvu::Exception);
}

TEST_F(WriterDirectoryTest, AnEmptyDirectoryGivesWay) {
    Fixtures::makeDirectories(pathOf("prices"));
    makeClosed("prices", 2);
    EXPECT_EQ(FileWalk(pathOf("prices")).values().size(), 2U);
}

TEST_F(WriterDirectoryTest, WhatAKilledWriterLeftBesideIsSweptAway) {
    EXPECT_EQ(inChild([] {
                  Collection collection("killed", pairs());
                  ::raise(SIGKILL);
              }),
              256 + SIGKILL);
    EXPECT_EQ(besideRoot().size(), 2U);
    makeClosed("prices", 1);
    EXPECT_EQ(besideRoot(), std::vector<std::string>{"halyxes"});
}

TEST_F(WriterDirectoryTest, ARestartHasAllElements) {
    for (Options options : {pairs(), texts()}) {
        options.conquer = options.dynamic;
        std::mt19937 random(3);
        std::map<std::string, std::string> model;
        {
            Collection collection("again", options);
            collection.publish();
            change(collection, model, random, 3000, 500);
        }
        const FileWalk before(pathOf("again"));
        Options keys;
        keys.keyOf = options.keyOf;
        const auto collection = Collection::restart("again", keys);
        const FileWalk after(pathOf("again"));
        EXPECT_EQ(sorted(after.values()), sorted(model));
        EXPECT_EQ(after.header().flags, before.header().flags);
        EXPECT_NE(after.header().fenix, before.header().fenix);
        EXPECT_EQ(after.header().numSlots.value, before.header().numSlots.value);
        change(*collection, model, random, 1000, 500);
        EXPECT_EQ(sorted(FileWalk(pathOf("again")).values()), sorted(model));
        EXPECT_EQ(besideRoot(), std::vector<std::string>{"halyxes"});
    }
}

TEST_F(WriterDirectoryTest, ARestartNeedsACollectionAndItsKeys) {
    EXPECT_THROW(Collection::restart("none", pairs()), RefusedException);
    makeClosed("prices", 1);
    EXPECT_THROW(Collection::restart("prices", {}), RefusedException);
    Options other = pairs();
    other.valueType = "Other";
    EXPECT_THROW(Collection::restart("prices", other), RefusedException);
    EXPECT_EQ(FileWalk(pathOf("prices")).values().size(), 1U);
}

TEST_F(WriterDirectoryTest, ARestartAfterAKillFindsWholeValuesOnly) {
    using namespace Halyx::Writer;
    for (const bool dynamic : {false, true}) {
        for (unsigned round = 0; round < 5; ++round) {
            Options options;
            options.valueType = kChurnType;
            options.valueSize = dynamic ? kChurnMostBytes : kChurnHeadSize;
            options.dynamic = dynamic;
            options.keyOf = churnKeyOf;
            int ready[2];
            ASSERT_EQ(::pipe(ready), 0);
            const pid_t child = ::fork();
            if (child == 0) {
                Collection collection("killed", options);
                collection.publish();
                std::mt19937 random(round);
                for (std::uint64_t sequence = 1;; ++sequence) {
                    char buffer[kChurnMostBytes];
                    const std::uint64_t number = random() % 100;
                    const std::uint32_t length = dynamic ? 24 + static_cast<std::uint32_t>(random() % 233) : 24;
                    collection.put(key(number), makeChurnValue(buffer, number, sequence, length, dynamic));
                    if (random() % 4 == 0) {
                        collection.erase(key(random() % 100));
                    }
                    if (sequence == 1000) {
                        EXPECT_EQ(::write(ready[1], "x", 1), 1);
                    }
                }
            }
            char byte = 0;
            EXPECT_EQ(::read(ready[0], &byte, 1), 1);
            ::usleep(2000 + round * 777);
            ::kill(child, SIGKILL);
            ::waitpid(child, nullptr, 0);
            ::close(ready[0]);
            ::close(ready[1]);
            const auto collection = Collection::restart("killed", options);
            unsigned elements = 0;
            collection->forEach([&](std::string_view value) {
                ChurnHead head{};
                EXPECT_TRUE(readChurnValue(value, dynamic, head));
                ++elements;
            });
            EXPECT_GT(elements, 30U);
            EXPECT_EQ(FileWalk(pathOf("killed")).values().size(), elements);
        }
    }
}

TEST_F(WriterDirectoryTest, ADamagedCollectionIsNotRestartedAndStays) {
    const auto damage = [&](const std::string& file, std::size_t offset, const std::string& bytes) {
        {
            Collection collection("bad", texts());
            collection.publish();
            collection.put(key(1), key(1));
        }
        const std::string path = pathOf("bad") + "/" + file;
        std::string content = Fixtures::readFile(path);
        if (bytes.empty()) {
            content.resize(offset);
        } else {
            content.replace(offset, bytes.size(), bytes);
        }
        Fixtures::writeFile(path, content);
        try {
            Collection::restart("bad", texts());
            return std::string("none");
        } catch (const Norvu::CorruptionDetectedException& error) {
            EXPECT_EQ(Fixtures::readFile(path), content);
            EXPECT_EQ(error.msg().compare(0, path.size() + 2, path + ": "), 0) << error.msg();
            return error.msg().substr(path.size() + 2);
        }
    };
    using Halyx::Layout::SlotTableHeader;
    const auto word = [](std::uint32_t value) { return Fixtures::bytesOf(value); };
    EXPECT_EQ(damage("slots", 0, "x"), "offset 0 holds 78414c5958534c54, expected 48414c5958534c54");
    EXPECT_EQ(damage("slots", offsetof(SlotTableHeader, version), word(11)), "offset 8 holds 11, expected 12");
    EXPECT_EQ(damage("slots", offsetof(SlotTableHeader, platform), word(2)), "offset 16 holds 2, expected 1");
    EXPECT_NE(damage("slots", offsetof(SlotTableHeader, valueType), "Q").find("offset 164 holds 0x"),
              std::string::npos);
    EXPECT_EQ(damage("slots", 100, {}), "has 100 bytes, expected a header of 216");
    EXPECT_EQ(damage("slots", offsetof(SlotTableHeader, numSlots) + 4, word(5)),
              "has 312 bytes, expected 336 for 5 slots");
    EXPECT_EQ(damage("buckets", 0, "x"), "offset 0 holds 78414c5958424b54, expected 48414c5958424b54");
    EXPECT_EQ(damage("buckets", 8, word(2)), "offset 8 holds 2, expected 1");
    EXPECT_NE(damage("buckets", 12, word(1)).find("offset 12 holds 0x1, expected 0x"), std::string::npos);
    EXPECT_EQ(damage("buckets", 20, word(0)), "offset 20 holds 0, expected a number of buckets");
    EXPECT_EQ(damage("buckets", 20, word(5)), "has 64 bytes, expected 72 for 5 buckets");
    EXPECT_EQ(damage("buckets", 36, word(4)), "offset 36 holds 4, expected a slot below 4");
    EXPECT_EQ(damage("buckets", 36, word(0x80000004)), "offset 36 holds 4, expected the end of a chain");
    EXPECT_EQ(damage("slab0", 0, "x"), "offset 0 holds 784c41534b534c42, expected 504c41534b534c42");
    EXPECT_NE(damage("slab0", 28, word(16)).find("offset 32 holds 0x"), std::string::npos);
    EXPECT_EQ(damage("slab0", 40, word(17)), "offset 40 holds 17, expected the size of a value, at most 16");
    EXPECT_EQ(damage("slab0", 40, word(0xffffffff)),
              "offset 40 holds 4294967295, expected the size of a value, at most 16");
    EXPECT_EQ(damage("slab0", 39, {}), "has 39 bytes, expected a header of 40");
    EXPECT_EQ(damage("slots", 216 + 4, word(0)), "offset 220 holds 0, expected another link: there are more links than "
                                                 "slots, so a chain does not end");
    EXPECT_EQ(damage("slots", 216 + 16, word(4 << 5)),
              "offset 232 holds 128, expected an entry below 4 of " + pathOf("bad") + "/slab0");
}

TEST_F(WriterDirectoryTest, AFullDiskIsAnErrorThatChangesNothing) {
    constexpr int cannotMount = 77;
    const int status = inChild([&] {
        if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount("none", root_.path().c_str(), "tmpfs", 0, "size=256k") != 0) {
            ::_exit(cannotMount);
        }
        for (Options options : {pairs(), texts()}) {
            options.conquer = true;
            Collection collection(options.dynamic ? "texts" : "pairs", options);
            collection.publish();
            std::uint64_t number = 0;
            try {
                for (;; ++number) {
                    collection.put(key(number), pair(number, 0));
                }
            } catch (const Norvu::MemoryResourceException& error) {
                EXPECT_NE(error.msg().find("No space left on device"), std::string::npos) << error.msg();
            }
            EXPECT_GT(number, 500U);
            collection.erase(key(0));
            EXPECT_EQ(FileWalk(pathOf(collection.name())).values().size(), number - 1);
            collection.close();
            std::string text = collection.name();
            for (const std::string& file : filesIn(pathOf(text))) {
                ::unlink((pathOf(text) + "/" + file).c_str());
            }
        }
        ::_exit(::testing::Test::HasFailure() ? 1 : 0);
    });
    if (status == cannotMount) {
        GTEST_SKIP() << "a small file system cannot be mounted here";
    }
    EXPECT_EQ(status, 0);
}

} // namespace
