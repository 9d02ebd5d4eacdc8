// The element walk of static 8-byte values at load factor 1: elements a second of `halyx` beside bare loops that print the same
// bytes from the same memory, with every check that a live read makes and without, looking ahead and not; and beside mdb_dump and
// tdbdump, which dump stores of the same elements.

#include "BareLoop.h"
#include "Peers.h"
#include "Topics.h"

#include <filesystem>

namespace Bench {

namespace {

void walkOne(Context& context, std::uint32_t elements) {
    Report& report = context.report;
    report.table("Walk: " + std::to_string(elements) + " elements, static values of 8 bytes");
    const Table table{context.collection("walk"), elements, 8, false};
    build(table);
    std::vector<Side> sides{
        {"halyx", halyx({"walk"})},
        {"bare loop with every check, looking ahead", bareLoop(table, {true, true})},
        {"bare loop looking ahead", bareLoop(table, {false, true})},
        {"bare loop", bareLoop(table, {false, false})},
    };
    const std::size_t own = sides.size();
    if (context.settings.verify) {
        const Digest tool = digestOf(sides[0].program);
        for (std::size_t i = 1; i < own; ++i) {
            expectSame(sides[i].name, tool, digestOf(sides[i].program));
        }
        report.note("the bare loops print what halyx prints", "verified, " + std::to_string(tool.bytes) + " bytes");
    }
    addPeers(table, context.root, sides, report);
    alternate(sides, context.settings.rounds);
    for (const Side& side : sides) {
        report.row(side.name, spreadOf(rates(side, elements / 1e6)), "M elements/s");
    }
    for (std::size_t i = 1; i < own; ++i) {
        report.row("halyx / " + sides[i].name,
                   spreadOf(quotients(rates(sides[0], elements), rates(sides[i], elements))), "times",
                   i == 1 ? "at least 0.8" : "");
    }
    reportPeers(sides, elements, {{"at least 1", ""}, {"at least 10", ""}}, report);
}

} // namespace

void walk(Context& context) {
    for (const std::uint32_t elements : context.settings.sizes({1000000, 5000000, 20000000}, {50000})) {
        walkOne(context, elements);
        std::filesystem::remove_all(context.root);
    }
}

} // namespace Bench
