// A whole collection, any of its files missing, cut short or made up, and every report on it: no bytes may make the tool read
// outside its mappings, print what moves a terminal's cursor, print or work without end, or throw what nobody expects.

#include "Halyx/BucketTableLayout.h"
#include "Halyx/SlotTableLayout.h"
#include "HalyxClientScanner.h"
#include "HalyxScanner.h"
#include "PrintTable.h"
#include "fixtures/Bytes.h"
#include "fuzz/Targets.h"
#include "fuzz/collection/Files.h"
#include "fuzz/room/Watch.h"

#include <algorithm>
#include <filesystem>

namespace Fuzz {

namespace {

using Style = Halyx::HalyxTextify::Style;

/// A process table with a reader of the collection.
void placeReader(Sandbox& sandbox) {
    const std::string process = sandbox.proc() + "/4711";
    const std::string column = "7f0000-7f1000 r--s 00000000 00:13 12345                 ";
    sandbox.fill(process, {{"maps", column + sandbox.collection("c") + "/slots\n"}, {"cmdline", "/bin/reader -x"}});
    if (!std::filesystem::exists(process + "/exe") && !std::filesystem::is_symlink(process + "/exe")) {
        std::filesystem::create_symlink("/usr/bin/reader", process + "/exe");
    }
}

/// More than the walk of these files can print, each bucket leading to every slot in the worst case.
std::size_t mostOfWalk(const Archive& archive, std::size_t size) {
    const auto sizeOf = [&](unsigned char name) {
        const auto file = archive.files.find(name);
        return file == archive.files.end() ? std::size_t{0} : file->second.size();
    };
    // A slot is no smaller than its own record, and a bucket's chain that does not end is walked once more.
    const std::size_t buckets = sizeOf(kBuckets) / Halyx::Layout::kBucketEntrySize + 1;
    const std::size_t slots = 2 * (sizeOf(kSlots) / Halyx::Layout::kSlotValueOffset + 1);
    // No value is longer than the file it lies in; its text has no more than 16 bytes for one, and the names of its fields.
    const std::size_t names = 16 * (sizeOf(kDescription) + 64);
    return 1024 + buckets * (256 + slots * (64 + 16 * size + names));
}

} // namespace

void runCollection(Bytes input) {
    const Archive archive(input);
    static Sandbox sandbox;
    sandbox.enter();
    const std::size_t size = place(sandbox, archive);
    placeReader(sandbox);

    struct Walk {
        const char* what;
        Style style;
        bool emptyBuckets;
    };
    for (const Walk& walk : {Walk{"the walk", Style::Plain, false}, Walk{"the walk, -e -p", Style::Pretty, true},
                             Walk{"the walk, -j", Style::Json, false}}) {
        expectPrintable(walk.what, watch(walk.what, mostOfWalk(archive, size), [&] {
                            return Halyx::printTable("", "c", false, false, false, walk.style, walk.emptyBuckets,
                                                     false);
                        }));
    }
    const std::size_t mostOfHeaders = 64 * 1024;
    expectPrintable("-x", watch("-x", mostOfHeaders, [] {
                        return Halyx::printTable("", "c", false, true, false, Style::Plain, false, false);
                    }));
    for (const bool validOnly : {false, true}) {
        const char* const what = validOnly ? "-q -v" : "-q";
        expectPrintable(what, watch(what, 16 * 1024 + 32 * size, [&] {
                            return Halyx::printTable("", "c", false, false, true, Style::Plain, false, validOnly);
                        }));
    }
    const std::string proc = sandbox.proc();
    expectPrintable("-w", watch("-w", mostOfHeaders, [&] {
                        Halyx::HalyxClientScanner scanner("", "c", proc);
                        return scanner.initialize() ? scanner.doGetClientInfo() : 1;
                    }));
    expectPrintable("a look-up", watch("a look-up", mostOfHeaders, [] {
                        std::string arguments[] = {"halyx", "-x", "--", "[a-c]*"};
                        char* argv[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(),
                                        arguments[3].data(), nullptr};
                        return Halyx::main(4, argv);
                    }));
}

} // namespace Fuzz
