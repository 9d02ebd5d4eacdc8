#include "Halyx/LineBuffer.h"

#include <cstddef>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <string>

using Halyx::LineBuffer;

namespace {

TEST(LineBuffer, KeepsTheLineWhileItMakesRoom) {
    LineBuffer line;
    std::string expected;
    for (const std::size_t size : {1U, 4095U, 5000U, 100000U, 3U}) {
        const std::string piece(size, static_cast<char>('a' + size % 26));
        std::memset(line.room(size + 96), '#', size + 96); // all of it is there
        line.append(piece);
        expected += piece;
    }
    EXPECT_EQ(line.text(), expected);
}

TEST(LineBuffer, HasNoRoomForMoreThanThereAreAddresses) {
    LineBuffer line;
    line.append("bucket[0]");
    const std::size_t most = std::numeric_limits<std::size_t>::max();
    for (const std::size_t size : {most, most - 100, most - 8191, most / 2}) {
        EXPECT_THROW((void)line.room(size), std::length_error) << size;
        EXPECT_EQ(line.text(), "bucket[0]");
    }
}

} // namespace
