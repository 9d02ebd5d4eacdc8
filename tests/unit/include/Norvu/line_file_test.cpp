#include "Norvu/LineFile.h"

#include "Norvu/Debug.h"
#include "unit/ReaderTest.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <random>
#include <sys/stat.h>
#include <vector>

using Norvu::LineFile;

namespace {

using Lines = std::vector<std::string>;

class LineFileTest : public ReaderTest {
protected:
    /// What is left of the open file.
    static Lines rest(LineFile& file) {
        Lines lines;
        std::string_view line;
        while (file.next(line)) {
            lines.emplace_back(line);
        }
        EXPECT_FALSE(file.next(line)) << "a line behind the end";
        return lines;
    }

    Lines linesOf(LineFile& file, const std::string& text) {
        Fixtures::writeFile(root_.file("text"), text);
        EXPECT_TRUE(file.open(root_.file("text")));
        const Lines lines = rest(file);
        EXPECT_EQ(file.error(), 0);
        return lines;
    }

    Lines linesOf(const std::string& text) {
        LineFile file;
        return linesOf(file, text);
    }

    static std::size_t descriptors() {
        std::size_t count = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            ++count;
        }
        return count;
    }
};

TEST_F(LineFileTest, GivesLinesWithoutTheirEnds) {
    EXPECT_EQ(linesOf("one\ntwo three\n four \n"), (Lines{"one", "two three", " four "}));
}

TEST_F(LineFileTest, TheLastLineMayLackItsEnd) {
    EXPECT_EQ(linesOf("one\ntwo"), (Lines{"one", "two"}));
    EXPECT_EQ(linesOf("x"), (Lines{"x"}));
}

TEST_F(LineFileTest, EmptyLinesAreLines) {
    EXPECT_EQ(linesOf("\n\na\n\n"), (Lines{"", "", "a", ""}));
    EXPECT_EQ(linesOf("\n"), (Lines{""}));
}

TEST_F(LineFileTest, AnEmptyFileHasNone) {
    EXPECT_EQ(linesOf(""), Lines{});
}

TEST_F(LineFileTest, OtherControlBytesBelongToTheLine) {
    const std::string text("a\0b\r\n\r\n\xff\x1b\n", 9);
    EXPECT_EQ(linesOf(text), (Lines{std::string("a\0b\r", 4), "\r", "\xff\x1b"}));
}

TEST_F(LineFileTest, ALineIsWholeHoweverLongItIs) {
    for (const std::size_t length :
         {131070U, 131071U, 131072U, 131073U, 262143U, 262144U, 262145U, 1000000U, 5000000U}) {
        SCOPED_TRACE(length);
        std::string line(length, 'x');
        line.front() = 'a';
        line.back() = 'z';
        EXPECT_EQ(linesOf(line), (Lines{line}));
        EXPECT_EQ(linesOf(line + "\n"), (Lines{line}));
        EXPECT_EQ(linesOf("before\n" + line + "\nbehind\n" + line + "\n\nend"),
                  (Lines{"before", line, "behind", line, "", "end"}));
    }
}

TEST_F(LineFileTest, NoLineIsLostWhereOnePieceOfTheFileEnds) {
    const unsigned seed = std::random_device{}();
    std::printf("seed %u\n", seed);
    std::mt19937 random(seed);
    Lines lines;
    std::string text;
    while (text.size() < 4U << 20) {
        // Mostly short ones, now and then one as long as some pieces.
        const std::size_t length = random() % 100 == 0 ? random() % 200000 : random() % 120;
        lines.push_back(std::to_string(lines.size()) + std::string(length, static_cast<char>('a' + lines.size() % 26)));
        text += lines.back() + "\n";
    }
    EXPECT_TRUE(linesOf(text) == lines);
}

TEST_F(LineFileTest, SkipsTheLinesWithoutAnyOfTheWords) {
    const auto linesWith = [&](std::span<const std::string_view> words, const std::string& text) {
        Fixtures::writeFile(root_.file("text"), text);
        LineFile file;
        EXPECT_TRUE(file.open(root_.file("text")));
        Lines lines;
        std::string_view line;
        while (file.nextWith(words, line)) {
            lines.emplace_back(line);
        }
        EXPECT_FALSE(file.nextWith(words, line)) << "a line behind the end";
        return lines;
    };
    constexpr std::string_view words[] = {"one", "another", "!"};
    EXPECT_EQ(linesWith(words, ""), Lines{});
    EXPECT_EQ(linesWith(words, "on\ne\n\nanothe\nr at all"), Lines{});
    EXPECT_EQ(linesWith(words, "!\none\n\nonanotherne\nx\nxone!\n"), (Lines{"!", "one", "onanotherne", "xone!"}));
    EXPECT_EQ(linesWith(words, "\n\nnone, the last"), Lines{"none, the last"});
    EXPECT_EQ(linesWith(std::array<std::string_view, 1>{""}, "a\n\nb"), (Lines{"a", "", "b"}));
    EXPECT_EQ(linesWith({}, "a\n\nb"), Lines{});

    const unsigned seed = std::random_device{}();
    std::printf("seed %u\n", seed);
    std::mt19937 random(seed);
    for (unsigned round = 0; round < 20; ++round) {
        std::string text;
        Lines wanted;
        while (text.size() < 400000) {
            std::string line(random() % 8 == 0 ? random() % 90000 : random() % 90, 'n');
            if (random() % 3 == 0) {
                line.insert(random() % (line.size() + 1), words[random() % std::size(words)]);
                wanted.push_back(line);
            }
            text += line + "\n";
        }
        EXPECT_TRUE(linesWith(words, text) == wanted) << "round " << round;
    }
}

TEST_F(LineFileTest, WhatIsNotThereHasNoLines) {
    LineFile file;
    std::string_view line;
    EXPECT_FALSE(file.next(line));
    EXPECT_FALSE(file.open(root_.file("missing")));
    EXPECT_FALSE(file.next(line));
    EXPECT_FALSE(file.open(""));
    EXPECT_FALSE(file.next(line));
}

TEST_F(LineFileTest, ADirectoryCannotBeReadAndSaysWhy) {
    LineFile file;
    std::string_view line;
    if (file.open(root_.path())) {
        EXPECT_FALSE(file.next(line));
        EXPECT_EQ(file.error(), EISDIR);
        EXPECT_FALSE(file.next(line));
    }
    // The next file is not held responsible.
    EXPECT_EQ(linesOf(file, "one\n"), (Lines{"one"}));
}

TEST_F(LineFileTest, AFifoWithoutAWriterDoesNotHang) {
    ASSERT_EQ(::mkfifo(root_.file("fifo").c_str(), 0600), 0);
    LineFile file;
    std::string_view line;
    if (file.open(root_.file("fifo"))) {
        EXPECT_FALSE(file.next(line));
    }
}

TEST_F(LineFileTest, ReadsManyFilesOneAfterAnother) {
    const std::size_t before = descriptors();
    {
        LineFile file;
        for (unsigned i = 0; i < 500; ++i) {
            const std::string number = std::to_string(i);
            const std::string line = i % 50 == 0 ? number + std::string(300000, 'x') : number;
            ASSERT_EQ(linesOf(file, line + "\nbehind " + number), (Lines{line, "behind " + number}));
        }
        EXPECT_LE(descriptors(), before + 1);
    }
    EXPECT_EQ(descriptors(), before);
}

TEST_F(LineFileTest, NothingOfTheFileBeforeIsLeft) {
    LineFile file;
    std::string_view line;
    Fixtures::writeFile(root_.file("long"), std::string(200000, 'x') + "\none\ntwo\nthree");
    ASSERT_TRUE(file.open(root_.file("long")));
    ASSERT_TRUE(file.next(line));
    ASSERT_TRUE(file.next(line));
    EXPECT_EQ(line, "one");
    EXPECT_EQ(linesOf(file, "other\n"), (Lines{"other"}));

    ASSERT_TRUE(file.open(root_.file("long")));
    ASSERT_TRUE(file.next(line));
    EXPECT_FALSE(file.open(root_.file("missing")));
    EXPECT_FALSE(file.next(line));

    ASSERT_TRUE(file.open(root_.file("long")));
    ASSERT_TRUE(file.next(line));
    file.close();
    EXPECT_FALSE(file.next(line));
    file.close();
    EXPECT_EQ(linesOf(file, "again"), (Lines{"again"}));
}

TEST_F(LineFileTest, ExistsFollowsLinks) {
    Fixtures::writeFile(root_.file("file"), "");
    std::filesystem::create_symlink(root_.file("file"), root_.file("good"));
    std::filesystem::create_symlink(root_.file("missing"), root_.file("dangling"));
    EXPECT_TRUE(Norvu::exists(root_.file("file")));
    EXPECT_TRUE(Norvu::exists(root_.path()));
    EXPECT_TRUE(Norvu::exists(root_.file("good")));
    EXPECT_FALSE(Norvu::exists(root_.file("dangling")));
    EXPECT_FALSE(Norvu::exists(root_.file("missing")));
    EXPECT_FALSE(Norvu::exists(root_.file("file/below")));
}

TEST_F(LineFileTest, ReadLinkGivesAsMuchAsTheBufferHolds) {
    std::filesystem::create_symlink("/usr/bin/server", root_.file("link"));
    std::string buffer(20, '\0');
    EXPECT_EQ(Norvu::readLink(root_.file("link"), buffer), 15);
    EXPECT_EQ(buffer, "/usr/bin/server" + std::string(5, '\0'));
    std::string small(4, '\0');
    EXPECT_EQ(Norvu::readLink(root_.file("link"), small), 4);
    EXPECT_EQ(small, "/usr");
    EXPECT_LT(Norvu::readLink(root_.file("missing"), buffer), 0);
    EXPECT_LT(Norvu::readLink(root_.path(), buffer), 0);
}

} // namespace
