// A process table: maps, command lines and executables. The records that the client reports are made of are compared with what a
// simple reading of the same maps gives; the reports themselves must print nothing that moves a terminal's cursor.

#include "HalyxClientScanner.h"
#include "fixtures/CollectionBuilder.h"
#include "fuzz/Targets.h"
#include "fuzz/collection/Files.h"
#include "fuzz/maps/ProcessFiles.h"
#include "fuzz/room/Watch.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace Fuzz {

namespace {

using Records = std::vector<std::string>;

/// The name of a file that makes its process a client, and the directory that it is in.
struct Mapping {
    std::string directory;
    std::string record;
};

/// One after another, without any of the ways in which the tool saves time.
std::vector<Mapping> mappingsOf(const std::vector<ProcessFiles>& processes) {
    std::vector<Mapping> mappings;
    for (const ProcessFiles& process : processes) {
        const std::string name = process.executable.substr(process.executable.rfind('/') + 1);
        if (name.empty()) {
            continue;
        }
        std::istringstream maps(process.maps);
        for (std::string line; std::getline(maps, line);) {
            line.resize(std::min(line.find('\0'), line.size()));
            std::string columns[6];
            std::size_t count = 0;
            // By blanks alone: a stream would take other white space, too.
            for (std::size_t at = 0; at < line.size() && count < std::size(columns);) {
                const std::size_t end = std::min(line.find(' ', at), line.size());
                if (end != at) {
                    columns[count++] = line.substr(at, end - at);
                }
                at = end + 1;
            }
            const std::size_t slash = columns[5].rfind('/');
            const std::string file = columns[5].substr(slash + 1);
            if (count == std::size(columns) && (file == "slots" || file == "conquer.1" || file == "fenix")) {
                mappings.push_back({slash == std::string::npos ? "" : columns[5].substr(0, slash),
                                    process.pid + "|" + name + "|" + columns[1] + "|" + file + "|"});
            }
        }
    }
    return mappings;
}

/// The process table's order is the directory's.
Records sorted(Records records) {
    std::sort(records.begin(), records.end());
    return records;
}

std::string textOf(const Records& records) {
    std::string text;
    for (const std::string& record : records) {
        text += record + "\n";
    }
    return text;
}

void compareRecords(const Halyx::HalyxClientScanner& scanner, const std::vector<Mapping>& mappings,
                    const std::string& collection) {
    Halyx::HalyxClientScanner::TableToInfoMap expected;
    for (const Mapping& mapping : mappings) {
        expected[mapping.directory].push_back(mapping.record);
    }
    auto found = scanner.extractMmapInfoByTable(collection);
    for (auto* const tables : {&expected, &found}) {
        for (auto& [directory, records] : *tables) {
            records = sorted(std::move(records));
        }
    }
    if (found != expected) {
        fail("the records by collection", "are not those of the maps");
    }
    // By whole path here: a directory of none, "slots" alone, is no collection's.
    const Records one = sorted(scanner.extractMmapInfo(collection));
    if (one != expected[collection]) {
        fail("the records of a collection", "are:", textOf(one) + "instead of:\n" + textOf(expected[collection]));
    }
}

/// The collections that a map may name, the same for every input.
void placeCollections(Sandbox& sandbox) {
    static const auto made = Fixtures::CollectionBuilder(2, 4).conquer(1, 2).fillNumbers();
    static const Sandbox::Files files{{"buckets", made.bucketsFile()},
                                      {"slots", made.slotsFile()},
                                      {"conquer.1", made.conquerFile(0)},
                                      {"conquer.2", made.conquerFile(1)}};
    sandbox.fill(sandbox.collection("c"), files);
    sandbox.fill(sandbox.collection("d/e"), files);
}

} // namespace

void runMaps(Bytes input) {
    static Sandbox sandbox;
    sandbox.enter();
    placeCollections(sandbox);
    const auto processes = processesOf(Archive(input), sandbox.collection());
    placeProcesses(sandbox, processes);
    const auto mappings = mappingsOf(processes);
    const std::string proc = sandbox.proc();
    compareRecords(Halyx::HalyxClientScanner("", "c", proc), mappings, sandbox.collection("c"));

    const std::size_t most = 64 * 1024 + 4096 * input.size();
    const auto report = [&](const char* what, const char* table, auto run) {
        expectPrintable(what, watch(what, most, [&] {
                            Halyx::HalyxClientScanner scanner("", table, proc);
                            try {
                                return scanner.initialize() ? run(scanner) : 1;
                            } catch (const std::out_of_range&) {
                                return 1; // a map's path that is shorter than the collections' root
                            }
                        }));
    };
    report("-w", "c", [](Halyx::HalyxClientScanner& scanner) { return scanner.doGetClientInfo(); });
    report("-a", nullptr, [](Halyx::HalyxClientScanner& scanner) { return scanner.doGetAllClientInfo(); });
    report("-c", nullptr, [](Halyx::HalyxClientScanner& scanner) { return scanner.doGetTableInfo(4711); });
}

} // namespace Fuzz
