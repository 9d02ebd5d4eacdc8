#include "writer/ChurnValue.h"

#include "fixtures/Bytes.h"

#include <gtest/gtest.h>
#include <string>

namespace {

using namespace Halyx::Writer;

TEST(ChurnValueTest, TheLayoutIsAsDocumented) {
    char buffer[kChurnMostBytes];
    const std::string whole(makeChurnValue(buffer, 0x0102, 3, 24, false));
    ASSERT_EQ(whole.size(), 24U);
    EXPECT_EQ(Fixtures::fromBytes<std::uint64_t>(whole, 0), 0x0102U);
    EXPECT_EQ(Fixtures::fromBytes<std::uint64_t>(whole, 8), 3U);
    EXPECT_EQ(Fixtures::fromBytes<std::uint32_t>(whole, 16), static_cast<std::uint32_t>(0x0102 ^ 3 * 2654435761ULL));
    EXPECT_EQ(Fixtures::fromBytes<std::uint32_t>(whole, 20), Fixtures::fnv1a(whole.substr(0, 20)));

    const std::string parts(makeChurnValue(buffer, 9, 4, 100, true));
    ASSERT_EQ(parts.size(), 100U);
    EXPECT_EQ(Fixtures::fromBytes<std::uint32_t>(parts, 16), 100U);
    EXPECT_EQ(Fixtures::fromBytes<std::uint32_t>(parts, 20), Fixtures::fnv1a(parts.substr(0, 20) + parts.substr(24)));
    for (std::uint32_t i = 0; i < 76; ++i) {
        EXPECT_EQ(static_cast<unsigned char>(parts[24 + i]), (9 * 31 + 4 * 7 + i) % 251);
    }
}

TEST(ChurnValueTest, EveryChangedByteIsNoticed) {
    char buffer[kChurnMostBytes];
    for (const bool dynamic : {false, true}) {
        const std::string good(makeChurnValue(buffer, 77, 12345, dynamic ? 60 : 24, dynamic));
        ChurnHead head{};
        EXPECT_TRUE(readChurnValue(good, dynamic, head));
        EXPECT_EQ(head.key, 77U);
        EXPECT_EQ(head.sequence, 12345U);
        for (std::size_t at = 0; at < good.size(); ++at) {
            std::string bad = good;
            bad[at] = static_cast<char>(bad[at] ^ 0x10);
            EXPECT_FALSE(readChurnValue(bad, dynamic, head)) << at;
        }
        EXPECT_FALSE(readChurnValue(good.substr(0, good.size() - 1), dynamic, head));
        EXPECT_FALSE(readChurnValue(good + "x", dynamic, head));
        EXPECT_FALSE(readChurnValue("", dynamic, head));
    }
}

} // namespace
