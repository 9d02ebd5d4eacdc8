#include "writer/program/ProcTable.h"

#include "Norvu/Exception.h"
#include "fixtures/Bytes.h"
#include "fixtures/ScratchRoot.h"
#include "writer/ProcessRecord.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <unistd.h>

namespace {

using Halyx::Writer::kProcessHeadSize;
using Halyx::Writer::ProcessRecord;
using Halyx::Writer::ProcTable;

class ProcTableTest : public ::testing::Test {
protected:
    ProcTableTest() { Fixtures::writeFile(root_.file("stat"), "cpu 1 2 3\nbtime 1700000000\nprocesses 5\n"); }

    void process(const std::string& pid, const std::string& stat, const std::string& cmdline) const {
        Fixtures::makeDirectories(root_.file(pid));
        Fixtures::writeFile(root_.file(pid + "/stat"), stat);
        Fixtures::writeFile(root_.file(pid + "/cmdline"), cmdline);
    }
    static std::string statLine(const std::string& pid, const std::string& name, const std::string& threads,
                                const std::string& start, const std::string& pages) {
        return pid + " (" + name + ") S 1 1 1 0 -1 4194560 1 2 3 4 5 6 7 8 20 0 " + threads + " 0 " + start +
               " 1000000 " + pages + " 18446744073709551615 1 1\n";
    }
    [[nodiscard]] std::map<std::uint32_t, std::string> read() const {
        std::map<std::uint32_t, std::string> values;
        for (const std::string& value : ProcTable(root_.path()).read()) {
            values[Fixtures::fromBytes<std::uint32_t>(value)] = value;
        }
        return values;
    }

    Fixtures::ScratchRoot root_;
};

TEST_F(ProcTableTest, AProcessIsARecord) {
    const long ticks = ::sysconf(_SC_CLK_TCK);
    process("4711", statLine("4711", "odd) name (", "3", std::to_string(50 * ticks), "10"),
            std::string("prog\0--flag\0x y\0", 16));
    const std::string value = read().at(4711);
    const auto record = Fixtures::fromBytes<ProcessRecord>(value);
    EXPECT_EQ(record.pid, 4711U);
    EXPECT_EQ(record.parent, 1U);
    EXPECT_EQ(record.state, 'S');
    EXPECT_EQ(record.threads, 3U);
    EXPECT_EQ(record.resident, 10ULL * static_cast<unsigned long long>(::sysconf(_SC_PAGESIZE)));
    EXPECT_EQ(record.startTime, 1700000050U);
    EXPECT_EQ(value.substr(kProcessHeadSize), "prog --flag x y");
}

TEST_F(ProcTableTest, WithoutArgumentsTheNameStands) {
    process("2", statLine("2", "kworker/0:1", "1", "0", "0"), "");
    EXPECT_EQ(read().at(2).substr(kProcessHeadSize), "[kworker/0:1]");
}

TEST_F(ProcTableTest, LongCommandsAreCut) {
    process("3", statLine("3", "x", "1", "0", "0"), std::string(500, 'a'));
    EXPECT_EQ(read().at(3).size(), sizeof(ProcessRecord));
}

TEST_F(ProcTableTest, WhatIsNoProcessIsLeftOut) {
    process("5", statLine("5", "good", "1", "0", "0"), "good");
    process("6", "6 (cut", "x");
    process("7", "7 (short) S 1 1", "x");
    process("self", statLine("8", "x", "1", "0", "0"), "x");
    process("99999999999999", statLine("9", "x", "1", "0", "0"), "x");
    Fixtures::makeDirectories(root_.file("10"));
    EXPECT_EQ(read().size(), 1U);
}

TEST_F(ProcTableTest, AMissingRootIsAnError) {
    EXPECT_THROW((void)ProcTable(root_.file("none")).read(), Norvu::RuntimeException);
}

TEST(ProcTableLiveTest, ThisProcessIsThere) {
    const std::vector<std::string> values = ProcTable("/proc").read();
    EXPECT_TRUE(std::any_of(values.begin(), values.end(), [](const std::string& value) {
        return Fixtures::fromBytes<std::uint32_t>(value) == static_cast<std::uint32_t>(::getpid());
    }));
}

} // namespace
