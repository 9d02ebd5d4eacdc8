#include "Mem/Atomics.h"
#include "Mem/Snapshot.h"
#include "Mem/VerU32.h"
#include "Mem/View.h"
#include "Norvu/Exception.h"

#include <array>
#include <atomic>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>

using Mem::View;
using Norvu::CorruptionDetectedException;

namespace {

const std::string kName = "the region";

struct Region {
    alignas(16) std::array<unsigned char, 64> bytes{};
    Region() {
        for (unsigned i = 0; i < bytes.size(); ++i) {
            bytes[i] = static_cast<unsigned char>(i);
        }
    }
    [[nodiscard]] View view() const { return {bytes.data(), bytes.size(), kName}; }
};

TEST(View, ReadsWordsInTheirByteOrder) {
    const Region region;
    EXPECT_EQ(region.view().word(4), 0x07060504U);
    EXPECT_EQ(region.view().word64(8), 0x0f0e0d0c0b0a0908U);
    EXPECT_EQ(region.view().pair(8), (Mem::VerU32{0x0b0a0908, 0x0f0e0d0c}));
}

TEST(View, ReadsWordsThatAreNotAligned) {
    const Region region;
    EXPECT_EQ(region.view().word(5), 0x08070605U);
    EXPECT_EQ(region.view().word64(4), 0x0b0a090807060504U);
    EXPECT_EQ(region.view().word64(1), 0x0807060504030201U);
}

TEST(View, ReadsUpToItsLastByteAndNoFurther) {
    const Region region;
    const View view = region.view();
    EXPECT_NO_THROW((void)view.word(60));
    EXPECT_THROW((void)view.word(61), CorruptionDetectedException);
    EXPECT_NO_THROW((void)view.word64(56));
    EXPECT_THROW((void)view.word64(57), CorruptionDetectedException);
    EXPECT_THROW((void)view.word(64), CorruptionDetectedException);
    std::array<unsigned char, 64> copy{};
    EXPECT_NO_THROW(view.copy(0, copy.data(), 64));
    EXPECT_EQ(copy, region.bytes);
    EXPECT_NO_THROW(view.copy(64, copy.data(), 0));
    EXPECT_THROW(view.copy(1, copy.data(), 64), CorruptionDetectedException);
    EXPECT_THROW(view.copy(65, copy.data(), 0), CorruptionDetectedException);
}

TEST(View, IsNotFooledByOffsetsThatWrap) {
    const Region region;
    const std::size_t most = static_cast<std::size_t>(-1);
    unsigned char byte = 0;
    EXPECT_THROW((void)region.view().word(most), CorruptionDetectedException);
    EXPECT_THROW((void)region.view().word64(most - 3), CorruptionDetectedException);
    EXPECT_THROW(region.view().copy(8, &byte, most), CorruptionDetectedException);
    EXPECT_THROW((void)region.view().slice(8, most - 4), CorruptionDetectedException);
}

TEST(View, SlicesKeepTheirBounds) {
    const Region region;
    const View slice = region.view().slice(8, 8);
    EXPECT_EQ(slice.size(), 8U);
    EXPECT_EQ(slice.word(0), 0x0b0a0908U);
    EXPECT_THROW((void)slice.word64(1), CorruptionDetectedException);
    EXPECT_THROW((void)region.view().slice(60, 5), CorruptionDetectedException);
    EXPECT_NO_THROW((void)region.view().slice(64, 0));
}

TEST(View, NamesTheRegionInItsComplaint) {
    const Region region;
    try {
        (void)region.view().word(100);
        FAIL();
    } catch (const CorruptionDetectedException& exception) {
        EXPECT_NE(exception.msg().find(kName), std::string::npos) << exception.msg();
    }
}

TEST(View, CopiesFromAnyAlignment) {
    const Region region;
    for (std::size_t offset = 0; offset < 17; ++offset) {
        for (std::size_t size = 0; size < 30; ++size) {
            std::string copy(size, 'x');
            region.view().copy(offset, copy.data(), size);
            for (std::size_t i = 0; i < size; ++i) {
                ASSERT_EQ(static_cast<unsigned char>(copy[i]), offset + i);
            }
        }
    }
}

TEST(View, PrefetchesNothingPastItsEnd) {
    const Region region;
    region.view().prefetch(0);
    region.view().prefetch(64);
    region.view().prefetch(static_cast<std::size_t>(-1));
    View().prefetch(0);
    EXPECT_TRUE(View().empty());
}

TEST(MutableView, StoresWithinItsBoundsOnly) {
    Region region;
    const Mem::MutableView view(region.bytes.data(), region.bytes.size(), kName);
    view.store(4, 0x11223344);
    view.publish64(8, 0x1122334455667788);
    view.fill(1, "abc", 3);
    EXPECT_EQ(view.word(4), 0x11223344U);
    EXPECT_EQ(view.word64(8), 0x1122334455667788U);
    EXPECT_EQ(region.bytes[1], 'a');
    EXPECT_EQ(region.bytes[4], 0x44);
    EXPECT_THROW(view.store(61, 0), Norvu::AssertException);
    EXPECT_THROW(view.store(2, 0), Norvu::AssertException);
    EXPECT_THROW(view.publish64(60, 0), Norvu::AssertException);
    EXPECT_THROW(view.fill(62, "abc", 3), Norvu::AssertException);
}

TEST(VerU32, PrintsVersionInHexadecimalAndCountInDecimal) {
    std::ostringstream out;
    out << Mem::VerU32{0x1a, 1024} << ' ' << 26 << ' ' << std::hex << Mem::VerU32{0xffffffff, 4294967295U} << ' ' << 26;
    EXPECT_EQ(out.str(), "1a:1024 26 ffffffff:4294967295 1a");
}

TEST(VerU32, IsVersionFirstInItsWord) {
    EXPECT_EQ(Mem::VerU32::fromWord(0x0000000200000001), (Mem::VerU32{1, 2}));
    EXPECT_EQ((Mem::VerU32{1, 2}).word(), 0x0000000200000001U);
}

TEST(Atomics, LoadsFromAReadOnlyPage) {
    void* page = ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(page, MAP_FAILED);
    auto* words = static_cast<unsigned long long*>(page);
    words[0] = 0x1122334455667788;
    words[1] = 0xffffffffffffffff;
    words[2] = 0x7ff0000000000001; // a signalling nan where the load goes through a floating-point register
    ASSERT_EQ(::mprotect(page, 4096, PROT_READ), 0);
    EXPECT_TRUE(Mem::Atomics::checkCpuSupport());
    EXPECT_EQ(Mem::Atomics::load64(words), 0x1122334455667788U);
    EXPECT_EQ(Mem::Atomics::load64(words + 1), 0xffffffffffffffffU);
    EXPECT_EQ(Mem::Atomics::load64(words + 2), 0x7ff0000000000001U);
    ::munmap(page, 4096);
}

TEST(Atomics, NeverTearsAWord) {
    alignas(8) unsigned long long word = 0;
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        for (unsigned i = 0; i < 300000; ++i) {
            Mem::Atomics::store64(&word, static_cast<unsigned long long>(i) << 32 | i);
        }
        stop = true;
    });
    unsigned torn = 0;
    while (!stop) {
        const unsigned long long seen = Mem::Atomics::load64(&word);
        torn += seen >> 32 != (seen & 0xffffffff) ? 1U : 0U;
    }
    writer.join();
    EXPECT_EQ(torn, 0U);
}

struct Header {
    Mem::VerU32 pair;
    std::uint32_t words[12];
};

TEST(Snapshot, NeverMixesTwoVersions) {
    struct alignas(8) Shared {
        unsigned char bytes[sizeof(Header)] = {};
    } shared;
    const Mem::MutableView out(shared.bytes, sizeof shared.bytes, kName);
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        for (std::uint32_t i = 1; i < 100000; ++i) {
            // The version changes before and after the words: a copy that saw only some of them is taken again.
            out.publish64(0, Mem::VerU32{2 * i - 1, i}.word());
            std::atomic_thread_fence(std::memory_order_release);
            for (std::uint32_t word = 0; word < 12; ++word) {
                out.store(8 + 4 * word, i);
            }
            out.publish64(0, Mem::VerU32{2 * i, i}.word());
        }
        stop = true;
    });
    unsigned whole = 0;
    for (bool last = false; !last;) {
        last = stop; // one look more after the writer's last step, which is sure to be whole
        const auto header = Mem::snapshot<Header>(out, 0);
        if (header.pair.version % 2 == 0) {
            ++whole;
            for (const std::uint32_t word : header.words) {
                EXPECT_EQ(word, header.pair.value);
            }
            last = last || HasFailure();
        }
    }
    writer.join();
    EXPECT_GT(whole, 0U);
}

} // namespace
