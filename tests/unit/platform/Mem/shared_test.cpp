#include "Mem/FaultGuard.h"
#include "Mem/Local.h"
#include "Mem/Page.h"
#include "Mem/Shared.h"
#include "Norvu/Exception.h"
#include "fixtures/ScratchRoot.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using Norvu::CorruptionDetectedException;

namespace {

constexpr Mem::Mode kMode = Mem::Mode::ReadOnlyShared;

class SharedTest : public ::testing::Test {
protected:
    Mem::Shared make(const std::string& name) {
        return Mem::Shared(Norvu::Platform::getDebugHandler("test"), root_.path().c_str(), name.c_str(), false,
                           Mem::Shared::SHARED_DEFAULT_FLAGS, false);
    }
    std::string write(const std::string& name, std::size_t size, char fill = 'x') {
        Fixtures::writeFile(root_.file(name), std::string(size, fill));
        return root_.file(name);
    }

    Fixtures::ScratchRoot root_;
};

TEST_F(SharedTest, JoinsPrefixAndName) {
    EXPECT_EQ(make("slots").getFilename(), root_.path() + "/slots");
}

TEST_F(SharedTest, MapsWhatIsThere) {
    write("file", 100);
    auto shared = make("file");
    EXPECT_EQ(shared.memSize(), 100U);
    ASSERT_NE(shared.attach(100, kMode, true, ""), nullptr);
    EXPECT_EQ(shared.view().size(), 100U);
    EXPECT_EQ(shared.view().word(96), 0x78787878U);
    EXPECT_THROW((void)shared.view().word(97), CorruptionDetectedException);
    EXPECT_EQ(shared.detach(), 0);
    EXPECT_FALSE(shared.attached());
}

TEST_F(SharedTest, GrowsAndKeepsWhatItHasWhenItCannot) {
    const std::string file = write("file", 100);
    auto shared = make("file");
    ASSERT_NE(shared.attach(32, kMode, true, ""), nullptr);
    ASSERT_EQ(::truncate(file.c_str(), 1 << 20), 0);
    EXPECT_EQ(shared.memSize(), 1U << 20);
    ASSERT_NE(shared.resize(1 << 20), nullptr);
    EXPECT_EQ(shared.view().word(0), 0x78787878U);
    EXPECT_EQ(shared.view().word((1 << 20) - 4), 0U);
    EXPECT_EQ(shared.view().size(), 1U << 20);
}

TEST_F(SharedTest, TellsTheSizeOfTheOpenFileWhateverHappensToItsName) {
    const std::string file = write("file", 100);
    auto shared = make("file");
    ASSERT_NE(shared.attach(32, kMode, true, ""), nullptr);
    ASSERT_EQ(::unlink(file.c_str()), 0);
    write("file", 7);
    EXPECT_EQ(shared.memSize(), 100U);
}

TEST_F(SharedTest, CountsSizesPastFourGigabytesAsTheMost) {
    const std::string file = write("file", 1);
    const int descriptor = ::open(file.c_str(), O_WRONLY);
    const int failed = ::ftruncate(descriptor, (off_t{1} << 32) + 5);
    ::close(descriptor);
    if (failed != 0) {
        GTEST_SKIP() << "no file of this size can be made here";
    }
    auto shared = make("file");
    EXPECT_EQ(shared.memSize(), 4294967295U);
    ASSERT_NE(shared.attach(32, kMode, true, ""), nullptr);
    EXPECT_EQ(shared.memSize(), 4294967295U);
}

TEST_F(SharedTest, AttachesToRegularFilesOnly) {
    ASSERT_EQ(::mkfifo(root_.file("fifo").c_str(), 0644), 0);
    ASSERT_EQ(::mkdir(root_.file("directory").c_str(), 0755), 0);
    ASSERT_EQ(::symlink(write("real", 100).c_str(), root_.file("link").c_str()), 0);
    for (const std::string name : {"missing", "fifo", "directory", "link"}) {
        auto shared = make(name);
        EXPECT_EQ(shared.memSize(), 0U) << name;
        EXPECT_EQ(shared.attach(32, kMode, true, ""), nullptr) << name;
        EXPECT_FALSE(shared.errorText().empty()) << name;
        EXPECT_FALSE(shared.attached()) << name;
    }
}

TEST_F(SharedTest, OpensCloseOnExec) {
    write("file", 100);
    auto shared = make("file");
    ASSERT_NE(shared.attach(32, kMode, true, ""), nullptr);
    unsigned found = 0;
    for (int descriptor = 3; descriptor < 256; ++descriptor) {
        struct stat status {};
        struct stat wanted {};
        ASSERT_EQ(::stat(root_.file("file").c_str(), &wanted), 0);
        if (::fstat(descriptor, &status) == 0 && status.st_ino == wanted.st_ino && status.st_dev == wanted.st_dev) {
            ++found;
            EXPECT_NE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
            EXPECT_EQ(::fcntl(descriptor, F_GETFL) & O_ACCMODE, O_RDONLY);
        }
    }
    EXPECT_EQ(found, 1U);
}

TEST_F(SharedTest, TurnsAReadOfAFileCutShortIntoAnException) {
    const std::string file = write("file", 3U * Mem::pageSize_);
    auto shared = make("file");
    ASSERT_NE(shared.attach(3 * Mem::pageSize_, kMode, true, ""), nullptr);
    EXPECT_EQ(shared.view().word(2 * Mem::pageSize_), 0x78787878U);
    ASSERT_EQ(::truncate(file.c_str(), Mem::pageSize_), 0);
    (void)shared.view().word(0);
    EXPECT_NO_THROW(shared.checkFault());
    (void)shared.view().word(2 * Mem::pageSize_);
    try {
        shared.checkFault();
        FAIL() << "nothing was thrown";
    } catch (const CorruptionDetectedException& exception) {
        EXPECT_NE(exception.msg().find(file), std::string::npos) << exception.msg();
    }
    EXPECT_NO_THROW(shared.checkFault());
    EXPECT_EQ(shared.view().word(0), 0x78787878U);
}

TEST_F(SharedTest, NoticesEveryFaultNotOnlyTheFirst) {
    const std::string file = write("file", 3U * Mem::pageSize_);
    auto shared = make("file");
    ASSERT_NE(shared.attach(3 * Mem::pageSize_, kMode, true, ""), nullptr);
    ASSERT_EQ(::truncate(file.c_str(), Mem::pageSize_), 0);
    for (int i = 0; i < 3; ++i) {
        (void)shared.view().word(2 * Mem::pageSize_ + 8);
        EXPECT_THROW(shared.checkFault(), CorruptionDetectedException) << i;
    }
}

TEST_F(SharedTest, TakesNoFaultOfAReadForTheProbes) {
    const std::string file = write("file", 3U * Mem::pageSize_);
    auto shared = make("file");
    ASSERT_NE(shared.attach(3 * Mem::pageSize_, kMode, true, ""), nullptr);
    const std::string text = "Mem::Shared::checkRead() cannot read " + file + " at offset: ";
    const auto fault = [&](std::size_t end) {
        try {
            shared.checkRead(end);
        } catch (const CorruptionDetectedException& exception) {
            return exception.msg();
        }
        return std::string("nothing was thrown");
    };
    ASSERT_EQ(::truncate(file.c_str(), Mem::pageSize_), 0);
    // What begins where the last page begins was read on the way to a record that is still there.
    const std::string begin =
        std::to_string(2 * Mem::pageSize_) + " real file size is " + std::to_string(Mem::pageSize_);
    (void)shared.view().word(2 * Mem::pageSize_);
    EXPECT_EQ(fault(8), text + begin);
    (void)shared.view().word(2 * Mem::pageSize_);
    EXPECT_EQ(fault(2U * Mem::pageSize_ + 4), text + begin);
    // The probe alone.
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(shared.view().word(0), 0x78787878U);
        EXPECT_EQ(fault(4), "nothing was thrown") << i;
    }
}

TEST_F(SharedTest, ForgetsAFaultWhenAsked) {
    const std::string file = write("file", 2U * Mem::pageSize_);
    auto shared = make("file");
    ASSERT_NE(shared.attach(2 * Mem::pageSize_, kMode, true, ""), nullptr);
    ASSERT_EQ(::truncate(file.c_str(), 0), 0);
    (void)shared.view().word(Mem::pageSize_);
    shared.forgetFault();
    EXPECT_NO_THROW(shared.checkFault());
}

TEST_F(SharedTest, GuardsEachMappingOnItsOwn) {
    const std::string file = write("one", 2U * Mem::pageSize_);
    write("two", 2U * Mem::pageSize_);
    auto one = make("one");
    auto two = make("two");
    ASSERT_NE(one.attach(2 * Mem::pageSize_, kMode, true, ""), nullptr);
    ASSERT_NE(two.attach(2 * Mem::pageSize_, kMode, true, ""), nullptr);
    ASSERT_EQ(::truncate(file.c_str(), 0), 0);
    (void)two.view().word(Mem::pageSize_);
    (void)one.view().word(Mem::pageSize_);
    EXPECT_NO_THROW(two.checkFault());
    EXPECT_THROW(one.checkFault(), CorruptionDetectedException);
}

/// A mapping of ours that no guard knows of, cut short.
volatile unsigned char* brokenPage(const std::string& file) {
    const int descriptor = ::open(file.c_str(), O_RDWR);
    void* page = ::mmap(nullptr, Mem::pageSize_, PROT_READ, MAP_SHARED, descriptor, 0);
    if (::ftruncate(descriptor, 0) != 0) {
        return nullptr;
    }
    ::close(descriptor);
    return static_cast<volatile unsigned char*>(page);
}

using SharedDeathTest = SharedTest;

TEST_F(SharedDeathTest, PassesFaultsOutsideItsRangesOn) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    write("file", Mem::pageSize_);
    write("other", Mem::pageSize_);
    const auto fault = [&] {
        auto shared = make("file");
        (void)shared.attach(Mem::pageSize_, kMode, true, "");
        std::signal(SIGALRM, SIG_DFL);
        ::alarm(20); // a handler that returns without mending anything would fault for ever
        volatile unsigned char* page = brokenPage(root_.file("other"));
        (void)*page;
    };
    EXPECT_DEATH(fault(), "");
    EXPECT_FALSE(HasFailure());
}

TEST_F(SharedDeathTest, OutlivesAFaultAlsoWhereTheSignalCameBlocked) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    const std::string file = write("file", Mem::pageSize_);
    const auto fault = [&] {
        sigset_t faults;
        ::sigemptyset(&faults);
        ::sigaddset(&faults, SIGBUS);
        ::pthread_sigmask(SIG_BLOCK, &faults, nullptr);
        auto shared = make("file");
        const bool attached = shared.attach(Mem::pageSize_, kMode, true, "") != nullptr;
        (void)!::truncate(file.c_str(), 0);
        (void)shared.view().word(0);
        std::_Exit(attached ? 7 : 1);
    };
    EXPECT_EXIT(fault(), ::testing::ExitedWithCode(7), "");
}

TEST_F(SharedTest, HandsFaultsOutsideItsRangesToWhoeverHandledThemBefore) {
    static volatile unsigned char* page;
    static volatile sig_atomic_t faults;
    struct sigaction mine {};
    struct sigaction before {};
    mine.sa_sigaction = [](int, siginfo_t* info, void*) {
        faults = faults + 1;
        (void)::mmap(info->si_addr, 1, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0);
    };
    mine.sa_flags = SA_SIGINFO;
    ASSERT_EQ(::sigaction(SIGBUS, &mine, &before), 0);
    {
        const std::string guarded = write("file", Mem::pageSize_);
        write("other", Mem::pageSize_);
        auto shared = make("file");
        ASSERT_NE(shared.attach(Mem::pageSize_, kMode, true, ""), nullptr);
        page = brokenPage(root_.file("other"));
        EXPECT_EQ(*page, 0);
        EXPECT_EQ(faults, 1);
        EXPECT_NO_THROW(shared.checkFault());
        ASSERT_EQ(::truncate(guarded.c_str(), 0), 0);
        (void)shared.view().word(0);
        EXPECT_THROW(shared.checkFault(), CorruptionDetectedException);
        EXPECT_EQ(faults, 1);
    }
    EXPECT_EQ(::sigaction(SIGBUS, &before, nullptr), 0);
}

TEST_F(SharedTest, ServesSeveralThreadsAtOnce) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this, i] {
            const std::string name = "file" + std::to_string(i);
            for (int round = 0; round < 50; ++round) {
                write(name, 2U * Mem::pageSize_);
                auto shared = make(name);
                ASSERT_NE(shared.attach(2 * Mem::pageSize_, kMode, true, ""), nullptr);
                ASSERT_EQ(::truncate(root_.file(name).c_str(), 0), 0);
                (void)shared.view().word(Mem::pageSize_);
                EXPECT_THROW(shared.checkFault(), CorruptionDetectedException);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(Local, GivesZeroedMemoryThatGrows) {
    for (const unsigned flags : {Mem::Local::LOCAL_DEFAULT_FLAGS, 0U}) {
        Mem::Local local(Norvu::Platform::getDebugHandler("test"), flags);
        EXPECT_EQ(local.getFilename(), flags != 0 ? Mem::Local::HEAP : Mem::Local::ANONYMOUS);
        EXPECT_EQ(local.detach(), 0);
        auto* bytes = static_cast<unsigned char*>(local.attach(100, kMode));
        ASSERT_NE(bytes, nullptr);
        EXPECT_EQ(bytes[99], 0);
        bytes[99] = 7;
        bytes = static_cast<unsigned char*>(local.resize(1 << 20));
        ASSERT_NE(bytes, nullptr);
        EXPECT_EQ(bytes[99], 7);
        EXPECT_EQ(local.size(), 1U << 20);
        EXPECT_EQ(local.view().size(), 1U << 20);
        EXPECT_EQ(local.detach(), 0);
        EXPECT_FALSE(local.attached());
    }
}

} // namespace
