#include "Peers.h"

#include <algorithm>
#include <cinttypes>
#include <stdexcept>

namespace Bench {

namespace {

/// Every byte as two hexadecimal digits behind `before`.
void put(std::FILE* in, const char* before, const unsigned char* bytes, std::uint32_t size, const char* digits) {
    char text[4 * kMostValueSize];
    char* end = text;
    for (std::uint32_t i = 0; i < size; ++i) {
        for (const char* c = before; *c != '\0'; ++c) {
            *end++ = *c;
        }
        *end++ = digits[bytes[i] >> 4];
        *end++ = digits[bytes[i] & 15];
    }
    std::fwrite(text, 1, static_cast<std::size_t>(end - text), in);
}

struct Element {
    unsigned char key[4];
    unsigned char value[kMostValueSize];
};

Element elementOf(const Table& table, std::uint32_t index) {
    Element element;
    for (unsigned i = 0; i < 4; ++i) {
        element.key[i] = static_cast<unsigned char>(index >> (24 - 8 * i));
    }
    writeValue(element.value, index, table.valueSize);
    return element;
}

Program makeMdb(const Table& table, const std::string& directory) {
    const std::string store = directory + "/store.mdb";
    const std::uint64_t room = (std::uint64_t{64} << 20) + std::uint64_t{table.elements} * (table.valueSize + 64U) * 2;
    feed({"mdb_load", "-n", store}, [&](std::FILE* in) {
        std::fprintf(in, "VERSION=3\nformat=bytevalue\ntype=btree\nmapsize=%" PRIu64 "\nHEADER=END\n", room);
        for (std::uint32_t i = 0; i < table.elements; ++i) {
            const Element element = elementOf(table, i);
            std::fputc(' ', in);
            put(in, "", element.key, sizeof element.key, "0123456789abcdef");
            std::fputs("\n ", in);
            put(in, "", element.value, table.valueSize, "0123456789abcdef");
            std::fputc('\n', in);
        }
        std::fputs("DATA=END\n", in);
    });
    return command({"mdb_dump", "-n", store});
}

/// tdbrestore makes stores of 131 chains, too long to fill with millions of elements: tdbbackup copies an empty one into one
/// with as many chains as elements, and tdbtool fills that.
Program makeTdb(const Table& table, const std::string& directory) {
    const std::string empty = directory + "/empty.tdb";
    const std::string store = empty + ".full";
    feed({"tdbrestore", empty}, [](std::FILE*) {});
    (void)timed(command({"tdbbackup", "-n", std::to_string(table.elements), "-s", ".full", empty}));
    feed({"tdbtool", store}, [&](std::FILE* in) {
        for (std::uint32_t i = 0; i < table.elements; ++i) {
            const Element element = elementOf(table, i);
            std::fputs("insert ", in);
            put(in, "\\", element.key, sizeof element.key, "0123456789ABCDEF");
            std::fputc(' ', in);
            put(in, "\\", element.value, table.valueSize, "0123456789ABCDEF");
            std::fputc('\n', in);
        }
    });
    return command({"tdbdump", store});
}

/// Throws unless the dump has as many elements as the table, and a header of a few lines at most.
void checkDump(const Peer& peer, const Program& dump, std::uint32_t elements) {
    constexpr std::uint64_t header = 16;
    const std::uint64_t lines = digestOf(dump).lines;
    const std::uint64_t wanted = std::uint64_t{elements} * peer.elementLines;
    if (lines < wanted || lines > wanted + header) {
        throw std::runtime_error(peer.name + " prints " + std::to_string(lines) + " lines for " +
                                 std::to_string(elements) + " elements");
    }
}

} // namespace

const std::vector<Peer>& peers() {
    static const std::vector<Peer> all{
        {"mdb_dump", "lmdb-utils", 2, 5000000, makeMdb, {"mdb_load", "mdb_dump"}},
        {"tdbdump", "tdb-tools", 4, 1000000, makeTdb, {"tdbrestore", "tdbbackup", "tdbtool", "tdbdump"}},
    };
    return all;
}

void addPeers(const Table& table, const std::string& directory, std::vector<Side>& sides, Report& report) {
    for (const Peer& peer : peers()) {
        if (table.elements > peer.mostElements) {
            report.note(peer.name, "skipped: too many elements to make a store of");
            continue;
        }
        if (!std::all_of(peer.needs.begin(), peer.needs.end(), installed)) {
            report.note(peer.name, "skipped: not installed (package " + peer.package + ")");
            continue;
        }
        Program dump = peer.make(table, directory);
        checkDump(peer, dump, table.elements);
        sides.push_back({peer.name, std::move(dump)});
    }
}

void reportPeers(const std::vector<Side>& sides, double elements, const std::vector<PeerGoals>& goals, Report& report) {
    const auto text = [](const Side& side) {
        return rates(side, static_cast<double>(digestOf(side.program).bytes) / 1e6);
    };
    const Side& tool = sides.front();
    const std::vector<double> toolText = text(tool);
    report.row(tool.name + ", text", spreadOf(toolText), "MB/s");
    for (std::size_t i = 0; i < peers().size(); ++i) {
        const auto side = std::find_if(sides.begin(), sides.end(),
                                       [&](const Side& candidate) { return candidate.name == peers()[i].name; });
        if (side == sides.end()) {
            continue;
        }
        const std::vector<double> sideText = text(*side);
        report.row(side->name + ", text", spreadOf(sideText), "MB/s");
        report.row(tool.name + " / " + side->name + ", elements",
                   spreadOf(quotients(rates(tool, elements), rates(*side, elements))), "times", goals[i].elements);
        report.row(tool.name + " / " + side->name + ", text", spreadOf(quotients(toolText, sideText)), "times",
                   goals[i].text);
    }
}

} // namespace Bench
