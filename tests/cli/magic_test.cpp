// What file(1) says of a collection's files by packaging/magic, for files that are written from the layout headers.

#include "cli/CliTest.h"
#include "fixtures/Bytes.h"

#include "Halyx/FenixLayout.h"

using namespace Fixtures;

namespace {

class Magic : public CliTest {
protected:
    void SetUp() override {
        if (!exists("/usr/bin/file")) {
            GTEST_SKIP() << "no file(1) here";
        }
    }

    static void expectDescription(const Collection& collection, const std::string& file, const std::string& text) {
        expectOutcome(Process("/usr/bin/file", {"-b", "-m", magicFile(), collection.file(file)}).run(), 0, text + "\n",
                      "");
    }

private:
    static std::string magicFile() {
        return Programs::prefix().empty() ? HALYX_SOURCE_DIR "/packaging/magic"
                                          : Programs::prefix() + "/share/halyx/magic";
    }
};

TEST_F(Magic, KnowsTheFilesOfAStaticCollection) {
    CollectionBuilder builder(5, 7);
    builder.valueType("Quote", 8).fillNumbers();
    builder.bucketsHeader.fenix = builder.slotsHeader.fenix = SharedMem::FenixId(0x1234, 0xfedc);
    builder.slotsHeader.maxSlots = 4000000000;
    const Collection c = builder.build(root_, "c");
    expectDescription(c, "buckets", "Halyx bucket table, version 1, fenix 0xfedc1234, 5 buckets");
    expectDescription(c, "slots",
                      "Halyx slot table, version 12, fenix 0xfedc1234, values of type \"Quote\", 8 bytes in slots, 7 "
                      "elements in 7 slots of at most 4000000000");
    const Halyx::Layout::FenixFile fenix{Halyx::Layout::kFenixMagic, builder.slotsHeader.fenix};
    c.replace(Halyx::Layout::kFenixFile, bytesOf(fenix));
    expectDescription(c, "fenix",
                      "Halyx fenix, a writer's sign of life, fenix 0xfedc1234, of process 4660, instance 65244");
}

TEST_F(Magic, KnowsTheFilesOfADynamicCollectionWithQueues) {
    CollectionBuilder builder(1, 2);
    builder.valueType("Text", 100).dynamic().conquer(0, 2).notify(0, 9, 1).leftover(0, 3, 1);
    builder.slotsHeader.occupiedSlots = 1;
    builder.slab(4, 264, {std::nullopt, "abc", "d"});
    for (SharedMem::FenixId* fenix : {&builder.slotsHeader.fenix, &builder.slabHeader(4).fenix,
                                      &builder.conquerHeader(0).fenix, &builder.conquerHeader(1).fenix}) {
        *fenix = SharedMem::FenixId(7, 1);
    }
    const Collection c = builder.build(root_, "c");
    expectDescription(c, "slots",
                      "Halyx slot table, version 12, fenix 0x10007, values of type \"Text\", 100 bytes in slabs, with "
                      "notification queues, 1 elements in 2 slots of at most " +
                          std::to_string(builder.slotsHeader.maxSlots));
    expectDescription(c, "slab4", "Halyx slab, version 1, fenix 0x10007, 2 of 3 entries occupied, 264 bytes each");
    expectDescription(c, "conquer.1", "Halyx conquer queue, version 7, fenix 0x10007, 1 of 2 notifications");
    expectDescription(c, "conquer.2", "Halyx conquer queue, version 7, fenix 0x10007, 0 of 2 notifications");
}

TEST_F(Magic, SaysNothingOfOtherFiles) {
    const Collection c = one("c");
    c.replace("slots", std::string("HALYXSL\x01\x02") + std::string(300, '\0'));
    expectDescription(c, "slots", "data");
}

} // namespace
