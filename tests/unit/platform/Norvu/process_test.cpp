#include "Norvu/Process.h"

#include "unit/ReaderTest.h"

#include <algorithm>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

using Norvu::Util::readPidCmdline;

namespace {

/// A process table of the test's own.
class CommandLineTest : public ReaderTest {
protected:
    std::string read(int pid) { return readPidCmdline(handler(), pid, root_.file("proc")); }

    std::string commandLine(const std::string& bytes) {
        Fixtures::makeDirectories(root_.file("proc/4711"));
        Fixtures::writeFile(root_.file("proc/4711/cmdline"), bytes);
        return read(4711);
    }
};

/// The bytes of a literal, NULs included, without its own end.
template <std::size_t Size>
std::string bytes(const char (&literal)[Size]) {
    return {literal, Size - 1};
}

TEST_F(CommandLineTest, SeparatesArgumentsByBlanks) {
    EXPECT_EQ(commandLine(bytes("/opt/x/bin/feeder\0--name\0a/b\0")), "/opt/x/bin/feeder --name a/b");
    EXPECT_EQ(commandLine(bytes("feeder\0")), "feeder");
    EXPECT_EQ(commandLine(bytes("one argument\0two\0")), "one argument two");
}

TEST_F(CommandLineTest, EveryNulBetweenArgumentsIsABlank) {
    EXPECT_EQ(commandLine(bytes("feeder\0\0x\0")), "feeder  x");
    EXPECT_EQ(commandLine(bytes("\0feeder\0")), " feeder");
}

TEST_F(CommandLineTest, DropsTheNulsAtTheEnd) {
    EXPECT_EQ(commandLine(bytes("feeder\0\0\0\0")), "feeder");
    EXPECT_EQ(commandLine(bytes("feeder \0\0")), "feeder ");
    EXPECT_EQ(commandLine(bytes("feeder\0x\0") + std::string(10000, '\0')), "feeder x");
}

TEST_F(CommandLineTest, AChangedCommandLineMayLackItsEnd) {
    EXPECT_EQ(commandLine("feeder: waiting for work"), "feeder: waiting for work");
    EXPECT_EQ(commandLine(bytes("feeder\0x")), "feeder x");
}

TEST_F(CommandLineTest, HandsBytesOnAsTheyAre) {
    EXPECT_EQ(commandLine(bytes("\x1b[31m\xff\n\t\"\\\0")), "\x1b[31m\xff\n\t\"\\");
}

TEST_F(CommandLineTest, MayBeEmpty) {
    EXPECT_EQ(commandLine(""), "");
    EXPECT_EQ(commandLine(bytes("\0")), "");
    EXPECT_EQ(commandLine(std::string(5000, '\0')), "");
}

TEST_F(CommandLineTest, IsEmptyWhenItCannotBeRead) {
    EXPECT_EQ(read(4711), "");
    Fixtures::makeDirectories(root_.file("proc/4712"));
    EXPECT_EQ(read(4712), "");
    Fixtures::makeDirectories(root_.file("proc/4713/cmdline"));
    EXPECT_EQ(read(4713), "");
    Fixtures::makeDirectories(root_.file("proc/4714"));
    ASSERT_EQ(::mkfifo(root_.file("proc/4714/cmdline").c_str(), 0600), 0);
    EXPECT_EQ(read(4714), "");
}

TEST_F(CommandLineTest, MayBeLarge) {
    std::string file = bytes("/opt/x/bin/feeder\0");
    std::string line = "/opt/x/bin/feeder";
    for (unsigned i = 0; i < 8000; ++i) {
        const std::string argument = "argument" + std::to_string(i);
        file += argument + '\0';
        line += ' ' + argument;
    }
    EXPECT_TRUE(commandLine(file) == line);
    for (const std::size_t length : {4095U, 4096U, 4097U, 8192U}) {
        EXPECT_EQ(commandLine(std::string(length, 'x') + '\0'), std::string(length, 'x'));
        EXPECT_EQ(commandLine(std::string(length, 'x') + bytes("\0y\0")), std::string(length, 'x') + " y");
    }
}

TEST_F(CommandLineTest, IsReadNoFurtherThanOneArgumentCanBe) {
    EXPECT_TRUE(commandLine(std::string(10000000, 'x')) == std::string(131072, 'x'));
}

TEST_F(CommandLineTest, IsThisMachinesUnlessToldOtherwise) {
    std::string own = Fixtures::readFile("/proc/self/cmdline");
    own.erase(own.find_last_not_of('\0') + 1);
    std::replace(own.begin(), own.end(), '\0', ' ');
    EXPECT_EQ(readPidCmdline(handler(), ::getpid()), own);
}

TEST_F(CommandLineTest, KeepsNoDescriptorOpen) {
    const auto descriptors = [] {
        const std::filesystem::directory_iterator begin("/proc/self/fd");
        return std::distance(begin, {});
    };
    commandLine("feeder");
    const auto before = descriptors();
    for (int i = 0; i < 100; ++i) {
        read(4711);
        read(4712);
    }
    EXPECT_EQ(descriptors(), before);
}

} // namespace
