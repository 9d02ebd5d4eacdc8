// Values that are not 8 bytes in the slot. Dynamic ones of 64 bytes in several slabs: elements and bytes of text a second beside
// mdb_dump and tdbdump with the same values, and beside bare loops. Structures of 24 bytes with four described fields: the
// styles -p and -j beside the plain style of the same collection.

#include "BareLoop.h"
#include "Peers.h"
#include "Topics.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace Bench {

namespace {

void dynamicValues(Context& context, std::uint32_t elements) {
    Report& report = context.report;
    report.table("Dynamic values: " + std::to_string(elements) + " elements of 64 bytes in " + std::to_string(kSlabs) +
                 " slabs");
    const Table table{context.collection("dynamic"), elements, 64, true};
    build(table);
    std::vector<Side> sides{
        {"halyx", halyx({"dynamic"})},
        {"bare loop with every check, looking ahead", bareLoop(table, {true, true})},
    };
    if (context.settings.verify) {
        const Digest tool = digestOf(sides[0].program);
        expectSame(sides[1].name, tool, digestOf(sides[1].program));
        report.note("the bare loop prints what halyx prints", "verified, " + std::to_string(tool.bytes) + " bytes");
    }
    addPeers(table, context.root, sides, report);
    alternate(sides, context.settings.rounds);
    for (const Side& side : sides) {
        report.row(side.name, spreadOf(rates(side, elements / 1e6)), "M elements/s");
    }
    report.row("halyx / " + sides[1].name, spreadOf(quotients(rates(sides[0], elements), rates(sides[1], elements))),
               "times");
    reportPeers(sides, elements, {{"", "at least 2"}, {"at least 10", ""}}, report);
}

/// Writes the description of the structure's type where the tool looks for it.
void describe(const std::string& directory, const std::string& type) {
    std::filesystem::create_directories(directory);
    std::ofstream(directory + "/" + type + ".h") << "struct " << type
                                                 << " {\n    uint64_t sequence;\n    uint64_t price;\n"
                                                    "    uint32_t size;\n    uint32_t flags;\n};\n";
    ::setenv("HALYX_TYPE_PATH", directory.c_str(), 1);
}

void expectFields(const Side& side, const std::string& field) {
    if (digestOf(side.program).head.find(field) == std::string::npos) {
        throw std::runtime_error(side.name + " does not print the fields of the described structure");
    }
}

void structures(Context& context, std::uint32_t elements) {
    Report& report = context.report;
    report.table("Described structures: " + std::to_string(elements) + " elements of 24 bytes, four fields");
    const Table table{context.collection("quotes"), elements, 24, false, "BenchQuote"};
    describe(context.root + "/types", table.valueType);
    build(table);
    std::vector<Side> sides{
        {"halyx", halyx({"quotes"})},
        {"halyx -p", halyx({"-p", "quotes"})},
        {"halyx -j", halyx({"-j", "quotes"})},
    };
    expectFields(sides[1], "BenchQuote{ sequence: ");
    expectFields(sides[2], "{\"sequence\":");
    alternate(sides, context.settings.rounds);
    for (const Side& side : sides) {
        report.row(side.name, spreadOf(rates(side, elements / 1e6)), "M elements/s");
    }
    for (std::size_t i = 1; i < sides.size(); ++i) {
        report.row(sides[i].name + " / plain, elements",
                   spreadOf(quotients(rates(sides[i], elements), rates(sides[0], elements))), "times",
                   "at least a third");
    }
}

} // namespace

void values(Context& context) {
    for (const std::uint32_t elements : context.settings.sizes({1000000, 5000000}, {20000})) {
        dynamicValues(context, elements);
        std::filesystem::remove_all(context.root);
        structures(context, elements);
        std::filesystem::remove_all(context.root);
    }
}

} // namespace Bench
