// The two queue files of a collection that is sound otherwise. What the report has to say of them follows from their bytes, so
// every report is compared with that, word for word.

#include "PrintTable.h"
#include "fixtures/CollectionBuilder.h"
#include "fixtures/QueueOutput.h"
#include "fuzz/Targets.h"
#include "fuzz/collection/Files.h"
#include "fuzz/queues/QueueText.h"
#include "fuzz/room/Watch.h"

namespace Fuzz {

namespace {

void expectSame(const std::string& what, const std::string& said, const std::string& expected) {
    if (said != expected) {
        fail(what, "said:", said.substr(0, 2000) + "\ninstead of:\n" + expected.substr(0, 2000));
    }
}

/// The files of the collection around the queues.
const Archive& around() {
    static const Archive archive = [] {
        const auto made = Fixtures::CollectionBuilder(2, 4).conquer().fillNumbers();
        Archive files;
        files.files[kBuckets] = made.bucketsFile();
        files.files[kSlots] = made.slotsFile();
        return files;
    }();
    return archive;
}

} // namespace

void runQueues(Bytes input) {
    const Archive given(input);
    Archive archive = around();
    std::string queues[2];
    for (unsigned char id = 0; id < 2; ++id) {
        const auto queue = given.files.find(static_cast<unsigned char>(kQueue + id));
        if (queue != given.files.end()) {
            archive.files[queue->first] = queues[id] = queue->second;
        }
    }
    static Sandbox sandbox;
    sandbox.enter();
    const std::size_t most = 64 * 1024 + 32 * place(sandbox, archive);
    for (const bool validOnly : {false, true}) {
        const char* const what = validOnly ? "-q -v" : "-q";
        const QueueText expected = expectedQueues(queues[0], queues[1], validOnly, sandbox.collection("c"), "c");
        const Said said = watch(what, most, [&] {
            return Halyx::printTable("", "c", false, false, true, Halyx::HalyxTextify::Style::Plain, false, validOnly);
        });
        expectPrintable(what, said);
        if (expected.throws != !said.exception.empty()) {
            fail(what, expected.throws ? "throws nothing" : "throws " + said.exception);
        }
        if (!expected.throws) {
            expectSame(what, Fixtures::withoutSeconds(said.out), expected.out);
            expectSame(what, said.err, expected.err);
            expectSame(what, std::to_string(said.status), std::to_string(expected.status));
        }
    }
    expectPrintable("-x", watch("-x", most, [] {
                        return Halyx::printTable("", "c", false, true, false, Halyx::HalyxTextify::Style::Plain, false,
                                                 false);
                    }));
}

} // namespace Fuzz
