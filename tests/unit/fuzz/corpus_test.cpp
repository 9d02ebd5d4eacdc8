// What fuzzing has kept goes through its target again, in every build: the cases that reach some place of the code, and those that
// once found a fault.

#include "fixtures/ScratchRoot.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size);

namespace {

TEST(FuzzCorpus, OfTypeDescriptionsIsReadAndPrintedWithoutAFault) {
    unsigned files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(HALYX_TEST_DATA "/../fuzz/corpus/types")) {
        SCOPED_TRACE(entry.path().string());
        const std::string text = Fixtures::readFile(entry.path().string());
        const std::vector<unsigned char> bytes(text.begin(), text.end());
        EXPECT_EQ(LLVMFuzzerTestOneInput(bytes.data(), bytes.size()), 0);
        ++files;
    }
    EXPECT_GT(files, 200U);
}

} // namespace
