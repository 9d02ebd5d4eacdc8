#pragma once

#include "Halyx/SlotTableLayout.h"
#include "Norvu/Exception.h"
#include "fixtures/CollectionBuilder.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <optional>
#include <string>

/// Readers of collections below a chroot of the test's own.
class ReaderTest : public ::testing::Test {
protected:
    void SetUp() override { ::setenv("Q7_CHROOT", root_.path().c_str(), 1); }
    void TearDown() override { ::unsetenv("Q7_CHROOT"); }

    static Norvu::Platform::DebugHandler& handler() { return Norvu::Platform::getDebugHandler("test"); }

    /// The text of the corruption that a call throws.
    template <typename Call>
    static std::string corruption(Call call) {
        try {
            call();
        } catch (const Norvu::CorruptionDetectedException& exception) {
            return exception.msg();
        }
        return "nothing was thrown";
    }

    /// Where slot `index` of 24 bytes begins in the file "slots".
    static std::size_t slotAt(std::size_t index) { return Halyx::Layout::kSlotTableHeaderSize + 24 * index; }
    static std::size_t headAt(std::size_t bucket) { return Halyx::Layout::kBucketTableHeaderSize + 8 * bucket; }

    Fixtures::ScratchRoot root_;
};
