// No report leaves a trace: every call of the system is on a list of those that cannot, and every collection is afterwards what
// it was before.

#include "cli/CliTest.h"
#include "cli/SystemCalls.h"

#include <filesystem>
#include <sstream>
#include <sys/stat.h>
#include <sys/statvfs.h>

using namespace Fixtures;

namespace {

class StraceTest : public CliTest {
protected:
    void SetUp() override {
        if (std::string(HALYX_SANITIZE) != "") {
            GTEST_SKIP() << "a sanitizer makes calls of its own";
        }
        for (const char* const path : {"/usr/bin/strace", "/usr/local/bin/strace"}) {
            strace_ = strace_.empty() && exists(path) ? path : strace_;
        }
        if (strace_.empty()) {
            GTEST_SKIP() << "no strace here";
        }
        const Outcome probe = Process(strace_, {"-f", "-o", root_.file("strace"), "/bin/true"}).run();
        if (probe.status != 0) {
            GTEST_SKIP() << "strace may not watch a process here: " << probe.err;
        }
    }

    /// A static collection, a dynamic one with queues, and one that is broken, in a directory of its own.
    void buildCollections() {
        CollectionBuilder(4, 6).fillNumbers().build(root_, "static");
        CollectionBuilder dynamic(4, 4);
        dynamic.dynamic().valueType("Payload", 16).offset(0, 0, 0).offset(1, 1, 0).chain(2, {0, 1});
        dynamic.slab(0, 16, {std::string("12345678")}).slab(1, 24, {std::string("1234567890123456")});
        dynamic.conquer(2, 2).notify(0, 7, 1).notify(0, 8, 0);
        dynamic.build(root_, "group/dynamic");
        one("group/broken").truncate("slots", 100);
    }

    /// Everything below the collections' root that a report could change, one line each.
    [[nodiscard]] std::string remains() const {
        std::ostringstream text;
        std::vector<std::string> paths{root_.collections()};
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root_.collections())) {
            paths.push_back(entry.path());
        }
        std::sort(paths.begin(), paths.end());
        struct statvfs mount {};
        ::statvfs(root_.path().c_str(), &mount);
        for (const std::string& path : paths) {
            struct stat status {};
            EXPECT_EQ(::lstat(path.c_str(), &status), 0);
            text << path << " inode " << status.st_ino << " mode " << std::oct << status.st_mode << std::dec
                 << " owner " << status.st_uid << ":" << status.st_gid << " links " << status.st_nlink << " size "
                 << status.st_size << " blocks " << status.st_blocks << " changed " << status.st_mtim.tv_sec << "."
                 << status.st_mtim.tv_nsec << " " << status.st_ctim.tv_sec << "." << status.st_ctim.tv_nsec;
            // When it was last read is kept by the system for every reader alike, unless the mount says otherwise. (Leaving it
            // alone is the privilege of a file's owner: an open that asks for it would fail for everybody else.)
            if ((mount.f_flag & ST_NOATIME) != 0) {
                text << " read " << status.st_atim.tv_sec << "." << status.st_atim.tv_nsec;
            }
            if (S_ISREG(status.st_mode)) {
                text << " content " << hexOf(readFile(path));
            }
            text << "\n";
        }
        return text.str();
    }

    /// What strace saw of a run of `program`.
    std::string record(const std::string& program, const Arguments& arguments, Outcome& outcome) {
        outcome = watched(program, arguments)->run();
        return readFile(root_.file("strace"));
    }

    [[nodiscard]] std::unique_ptr<Process> watched(const std::string& program, const Arguments& arguments) const {
        Arguments all{"-f", "-s", "4096", "-o", root_.file("strace"), program};
        all.insert(all.end(), arguments.begin(), arguments.end());
        auto process = std::make_unique<Process>(strace_, all);
        process->environment("Q7_CHROOT", root_.path()).limitSeconds(100);
        for (const auto& [name, value] : environment_) {
            process->environment(name, value);
        }
        return process;
    }

    /// Where the program, its libraries, the process table and the collections are.
    [[nodiscard]] std::vector<std::string> directories() const {
        const auto build = std::filesystem::path(Programs::halyx()).parent_path().parent_path();
        return {root_.path(), "/proc", build, "/lib", "/lib32", "/lib64", "/usr/lib", "/usr/lib32", "/usr/lib64",
                "/usr/local/lib", "/etc/ld.so.cache", "/etc/ld.so.preload", "/sys/devices/system/cpu",
                // The process table is asked for the maps of all its entries, and one of those is "..".
                "/maps"};
    }

    /// A report on every process of the machine ends where one of them maps a file "slots" that lies nearer to the root than any
    /// collection: other tests have such.
    static bool endedByOthers(const Outcome& outcome) {
        return outcome.status == 1 && outcome.err.rfind("halyx: basic_string::substr", 0) == 0;
    }

    Outcome expectNoTrace(const Arguments& arguments, int status, const std::string& output = {},
                          const std::string& appended = {}) {
        const std::string before = remains();
        Outcome outcome;
        const std::string calls = record(Programs::halyx(), arguments, outcome);
        std::string shown;
        for (const std::string& argument : arguments) {
            shown += " " + argument;
        }
        if (!endedByOthers(outcome)) {
            EXPECT_EQ(outcome.status, status) << shown << ": " << outcome.describe();
        }
        for (const std::string& line : SystemCalls(directories(), output, appended).traces(calls)) {
            ADD_FAILURE() << "halyx" << shown << " leaves a trace: " << line;
        }
        EXPECT_EQ(remains(), before) << shown;
        return outcome;
    }

    std::string strace_;
};

TEST_F(StraceTest, NoReportLeavesATrace) {
    buildCollections();
    for (const std::string collection : {"static", "group/dynamic"}) {
        for (const Arguments& options :
             {Arguments{}, {"-e"}, {"-p"}, {"-j"}, {"-x"}, {"-w"}, {"-e", "-p"}, {"-e", "-j"}, {"-v"}}) {
            Arguments arguments = options;
            arguments.push_back(collection);
            expectNoTrace(arguments, 0);
        }
    }
    expectNoTrace({"-q", "group/dynamic"}, 0);
    expectNoTrace({"-q", "-v", "group/dynamic"}, 0);
    expectNoTrace({"-q", "static"}, 1);
    expectNoTrace({"-a"}, 0);
    expectNoTrace({"-c", "1"}, 0);
}

TEST_F(StraceTest, NoLookUpLeavesATrace) {
    buildCollections();
    expectNoTrace({}, 1);
    expectNoTrace({"group/*"}, 1);
    expectNoTrace({"nothing"}, 1);
    expectNoTrace({root_.collections() + "/static"}, 0);
    expectNoTrace({"-H", "static"}, 0);
    expectNoTrace({"-h"}, 0);
}

TEST_F(StraceTest, NoBrokenCollectionMakesItLeaveOne) {
    buildCollections();
    for (const char* const option : {"-e", "-x", "-q", "-w"}) {
        expectNoTrace({option, "group/broken"}, std::string(option) == "-w" ? 0 : 1);
    }
}

TEST_F(StraceTest, TheOutputFileIsAllThatIsWritten) {
    buildCollections();
    const std::string file = root_.file("output");
    for (const Arguments& options :
         {Arguments{"static"}, {"-x", "static"}, {"-w", "static"}, {"-q", "group/dynamic"}, {"-a"}, {"-c", "1"}}) {
        Arguments arguments{"-f", file};
        arguments.insert(arguments.end(), options.begin(), options.end());
        expectNoTrace(arguments, 0, file);
        EXPECT_TRUE(exists(file));
    }
}

TEST_F(StraceTest, TheTraceFileIsAllThatIsWritten) {
    buildCollections();
    const std::string file = root_.file("trace");
    environment_["NORVU_TRACE"] = "*=*";
    environment_["NORVU_TRACE_FILE"] = file;
    for (const Arguments& arguments :
         {Arguments{"static"}, {"-x", "group/dynamic"}, {"-w", "static"}, {"-q", "group/dynamic"}}) {
        const std::size_t before = exists(file) ? readFile(file).size() : 0;
        EXPECT_EQ(expectNoTrace(arguments, 0, {}, file).err, "");
        EXPECT_GT(readFile(file).size(), before);
    }
    const std::string output = root_.file("output");
    expectNoTrace({"-f", output, "static"}, 0, output, file);
}

TEST_F(StraceTest, ADescribedTypeIsOnlyRead) {
    buildCollections();
    makeDirectories(root_.file("types"));
    writeFile(root_.file("types/Payload.h"),
              "struct Payload {\n    char first[8];\n    unsigned char second[8];\n};\n");
    environment_["HALYX_TYPE_PATH"] = root_.file("types");
    for (const char* const option : {"-p", "-j"}) {
        const Outcome outcome = expectNoTrace({option, "group/dynamic"}, 0);
        expectPart(outcome.out, "12345678");
        expectPart(readFile(root_.file("strace")), "/types/Payload.h\", O_RDONLY");
    }
}

/// A walk waits for who reads its output; what it has not come to by then is gone when it goes on.
TEST_F(StraceTest, AFileCutUnderAWalkMakesItLeaveNone) {
    const Collection c = CollectionBuilder(20000, 20000).fillNumbers().build(root_, "c");
    const auto process = watched(Programs::halyx(), {"c"});
    process->start();
    std::string line;
    ASSERT_TRUE(process->readLine(line, 60));
    c.truncate("slots", 4096);
    const std::string before = remains();
    const Outcome outcome = process->wait();
    expectClean(outcome);
    const std::string calls = readFile(root_.file("strace"));
    expectPart(calls, "--- SIGBUS {");
    for (const std::string& trace : SystemCalls(directories(), "").traces(calls)) {
        ADD_FAILURE() << "leaves a trace: " << trace;
    }
    EXPECT_EQ(remains(), before);
}

/// Its own four variables (see the documents) and those of the loader are all that the program looks at.
TEST_F(StraceTest, NoFileThatTheEnvironmentNamesIsLookedAt) {
    buildCollections();
    const std::string trap = root_.file("trap");
    makeDirectories(trap);
    Process traced(strace_, {"-f", "-s", "4096", "-o", root_.file("strace"), Programs::halyx(), "-p", "group/dynamic"});
    for (const char* const name : {"TZ",           "TZDIR",       "HOME",        "TMPDIR",          "TMP",
                                   "PWD",          "TERM",        "TERMINFO",    "LOCPATH",         "NLSPATH",
                                   "LANGUAGE",     "LANG",        "LC_ALL",      "LC_MESSAGES",     "GCONV_PATH",
                                   "MALLOC_TRACE", "HOSTALIASES", "RES_OPTIONS", "XDG_CONFIG_HOME", "XDG_DATA_DIRS"}) {
        traced.environment(name, trap);
    }
    traced.environment("NORVU_TRACE", "*=*").environment("Q7_CHROOT", root_.path()).limitSeconds(100);
    const Outcome outcome = traced.run();
    expectClean(outcome);
    EXPECT_EQ(outcome.status, 0) << outcome.describe();
    expectPart(outcome.err, "Z HalyxScanner 3 ");
    std::istringstream lines(readFile(root_.file("strace")));
    for (std::string line; std::getline(lines, line);) {
        expectNoPart(line, trap);
    }
}

TEST_F(StraceTest, TheListFindsWhatLeavesATrace) {
    Outcome outcome;
    const std::string touched = record("/bin/touch", {root_.file("new")}, outcome);
    EXPECT_EQ(outcome.status, 0) << outcome.describe();
    const std::vector<std::string> found = SystemCalls(directories(), "").traces(touched);
    EXPECT_TRUE(std::any_of(found.begin(), found.end(), [](const std::string& line) {
        return line.find("O_CREAT") != std::string::npos || line.find("utimensat(") != std::string::npos;
    })) << touched;
    const auto traces = [this](const std::string& line) {
        return SystemCalls(directories(), root_.file("output")).traces("12 " + line + "\n").size();
    };
    const std::string inside = "\"" + root_.path() + "/x\"";
    EXPECT_EQ(traces("openat(AT_FDCWD, " + inside + ", O_RDONLY|O_CLOEXEC) = 3"), 0U);
    EXPECT_EQ(traces("openat(AT_FDCWD, " + inside + ", O_RDWR|O_CLOEXEC) = 3"), 1U);
    EXPECT_EQ(traces("openat(AT_FDCWD, " + inside + ", O_RDONLY|O_CREAT, 0640) = 3"), 1U);
    EXPECT_EQ(traces("openat(AT_FDCWD, \"/etc/passwd\", O_RDONLY) = 3"), 1U);
    const std::string open = "openat(AT_FDCWD, \"" + root_.path() + "\", O_RDONLY|O_DIRECTORY) = 3\n12 ";
    EXPECT_EQ(traces(open + "openat(3, \"slots\", O_RDONLY|O_CLOEXEC) = 4"), 0U);
    EXPECT_EQ(traces(open + "newfstatat(3, \"slots\", {st_mode=S_IFREG|0640}, 0) = 0"), 0U);
    EXPECT_EQ(traces("openat(3, \"slots\", O_RDONLY|O_CLOEXEC) = 4"), 1U);
    EXPECT_EQ(traces("openat(AT_FDCWD, \"slots\", O_RDONLY|O_CLOEXEC) = 4"), 1U);
    EXPECT_EQ(traces("newfstatat(AT_FDCWD, \"slots\", {st_mode=S_IFREG|0640}, 0) = 0"), 1U);
    EXPECT_EQ(traces("stat(\"slots\", {st_mode=S_IFREG|0640}) = 0"), 1U);
    EXPECT_EQ(traces(open + "openat(3, \"../../slots\", O_RDONLY|O_CLOEXEC) = 4"), 1U);
    EXPECT_EQ(traces(open + "openat(3, \"a/../../slots\", O_RDONLY|O_CLOEXEC) = 4"), 1U);
    EXPECT_EQ(traces(open + "openat(3, \"a/..\", O_RDONLY|O_CLOEXEC) = 4"), 1U);
    EXPECT_EQ(traces(open + "close(3) = 0\n12 openat(3, \"slots\", O_RDONLY|O_CLOEXEC) = 4"), 1U);
    EXPECT_EQ(traces("openat(AT_FDCWD, \"" + root_.path() + "/../x\", O_RDONLY|O_CLOEXEC) = 4"), 1U);
    EXPECT_EQ(traces("openat(AT_FDCWD, \"" + root_.path() + "-of-another/x\", O_RDONLY|O_CLOEXEC) = 4"), 1U);
    EXPECT_EQ(traces("newfstatat(3, \"\", {st_mode=S_IFREG|0640}, AT_EMPTY_PATH) = 0"), 1U);
    EXPECT_EQ(traces("read(3, \"\", 4096) = 0"), 1U);
    const std::string output =
        "openat(AT_FDCWD, \"" + root_.file("output") + "\", O_WRONLY|O_CREAT|O_TRUNC, 0666) = 3\n12 ";
    EXPECT_EQ(traces(output + "write(3, \"x\", 1) = 1"), 0U);
    EXPECT_EQ(traces(output + "close(3)        = 0\n12 write(3, \"x\", 1) = 1"), 1U);
    EXPECT_EQ(traces("newfstatat(-1, \"slots\", {st_mode=S_IFREG|0640}, 0) = 0"), 1U);
    EXPECT_EQ(traces("newfstatat(-1, \"slots\", 0x7ffd00000000, 0) = -1 EBADF (Bad file descriptor)"), 0U);
    EXPECT_EQ(traces("close(2) = 0\n12 write(2, \"x\", 1) = 1"), 1U);
    EXPECT_EQ(traces("flock(3, LOCK_SH) = 0"), 1U);
    EXPECT_EQ(traces("fcntl(3, F_SETLK, {l_type=F_RDLCK, l_whence=SEEK_SET, l_start=0, l_len=0}) = 0"), 1U);
    EXPECT_EQ(traces("fcntl(3, F_SETFL, O_RDONLY|O_APPEND) = 0"), 1U);
    EXPECT_EQ(traces("fcntl(1, F_SETFL, O_RDONLY|O_APPEND) = 0"), 1U);
    EXPECT_EQ(traces("kill(7, 0) = 0"), 1U);
    EXPECT_EQ(traces("mmap(NULL, 4096, PROT_READ|PROT_WRITE, MAP_SHARED, 3, 0) = 0x7f0000000000"), 1U);
    EXPECT_EQ(traces("mmap(NULL, 4096, PROT_READ, MAP_SHARED, 3, 0) = 0x7f0000000000"), 0U);
    EXPECT_EQ(traces("write(3, \"x\", 1) = 1"), 1U);
    EXPECT_EQ(traces("chmod(" + inside + ", 0777) = 0"), 1U);
    EXPECT_EQ(traces("--- SIGBUS {si_signo=SIGBUS, si_code=BUS_ADRERR, si_addr=0x7f0000000000} ---"), 0U);
    EXPECT_EQ(traces("--- SIGBUS {si_signo=SIGBUS, si_code=SI_USER, si_pid=7, si_uid=0} ---"), 1U);
    EXPECT_EQ(traces("--- SIGTERM {si_signo=SIGTERM, si_code=SI_USER} ---"), 1U);
}

} // namespace
