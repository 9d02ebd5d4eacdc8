// What fuzzing has kept goes through its targets again, in every build: the cases that reach some place of the code, and those
// that once found a fault.

#include "fixtures/ScratchRoot.h"
#include "fuzz/Targets.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

/// Puts a target's corpus through it; how many cases there were.
unsigned runCorpus(const std::string& target, void (*run)(Fuzz::Bytes)) {
    unsigned cases = 0;
    for (const auto& entry : std::filesystem::directory_iterator(HALYX_TEST_DATA "/../fuzz/corpus/" + target)) {
        SCOPED_TRACE(entry.path().string());
        const std::string text = Fixtures::readFile(entry.path().string());
        const std::vector<unsigned char> bytes(text.begin(), text.end());
        run(bytes);
        ++cases;
    }
    return cases;
}

TEST(FuzzCorpus, OfTypeDescriptionsIsReadAndPrintedWithoutAFault) {
    EXPECT_GT(runCorpus("types", Fuzz::runTypes), 200U);
}

TEST(FuzzCorpus, OfCollectionsIsReportedWithoutAFault) {
    EXPECT_GT(runCorpus("collection", Fuzz::runCollection), 50U);
}

TEST(FuzzCorpus, OfQueuesIsReportedAsItsBytesSay) {
    EXPECT_GT(runCorpus("queues", Fuzz::runQueues), 50U);
}

TEST(FuzzCorpus, OfProcessTablesGivesTheRecordsOfItsMaps) {
    EXPECT_GT(runCorpus("maps", Fuzz::runMaps), 50U);
}

TEST(FuzzCorpus, OfExpressionsFindsWhatTheirPatternsFit) {
    EXPECT_GT(runCorpus("expression", Fuzz::runExpression), 50U);
}

} // namespace
