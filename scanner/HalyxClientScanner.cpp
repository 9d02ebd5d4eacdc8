#include "HalyxClientScanner.h"

#include "Halyx/HalyxTest.h"
#include "Norvu/Text.h"
#include "SharedMem/TableFinder.h"
#include "SteadyDirectory.h"

#include <algorithm>
#include <iostream>

namespace Halyx {

namespace {

constexpr const char* kSource = "HalyxClientScanner";

/// An empty set as every command begins with.
Model::HalyxTables noTables() {
    return Model::HalyxTables(1);
}

} // namespace

HalyxClientScanner::HalyxClientScanner(const std::string& outputFile, const char* tablePath, std::string proc)
    : HalyxScannerBase(outputFile, tablePath), proc_(std::move(proc)) {}

void HalyxClientScanner::trace(int level, int line, const char* function, const std::string& text) const {
    if (debugHandler().enabled(level)) {
        debugHandler().log(text, level, kSource, line, function);
    }
}

/// A table of the records' clients; true when one of the records cannot be filed.
bool HalyxClientScanner::makeTable(const std::string& name, const std::vector<std::string>& records,
                                   CommandCache& commandCache, Model::HalyxTable& table) const {
    HalyxClientList writers;
    HalyxClientList keyShadowReaders;
    HalyxClientList shadowAndKeyShadow;
    HalyxClientList allReaders;
    for (const std::string& record : records) {
        trace(5, __LINE__, "getClients", record);
        if (categorizeClient(record, writers, keyShadowReaders, shadowAndKeyShadow, allReaders)) {
            return true;
        }
    }
    HalyxClientList shadowReaders;
    HalyxClientList passiveReaders;
    determineReaders(keyShadowReaders, shadowAndKeyShadow, allReaders, shadowReaders, passiveReaders);
    populateCommandNames(writers, shadowReaders, keyShadowReaders, passiveReaders, commandCache);
    Model::HalyxTable made(name, writers, shadowReaders, keyShadowReaders, passiveReaders);
    table.name = std::move(made.name);
    table.clients = std::move(made.clients);
    return false;
}

void HalyxClientScanner::getHeaderInfo(const std::string& collectionPath, Model::HalyxTable& table) const {
    Norvu::Platform::DebugHandler& handler = Norvu::Platform::getDebugHandler("Halyx-" + collectionPath);
    table.headerInfo = onSteadyDirectory(handler, collectionPath.c_str(), [&](const RootPath& root) {
        HalyxReaderGeneric reader(collectionPath.c_str(), root);
        ConquerReaderGeneric conquerReader(handler, root);
        Model::HalyxTable unnamed{std::string()};
        HalyxTest::populateHalyxTableHeaderInfo(reader, conquerReader, unnamed);
        return unnamed.headerInfo;
    });
}

int HalyxClientScanner::getClients(const std::string& collectionPath, Model::HalyxTable& table) const {
    CommandCache commandCache;
    if (makeTable(collectionPath, extractMmapInfo(collectionPath), commandCache, table)) {
        return 1;
    }
    getHeaderInfo(tablePath(), table);
    return 0;
}

int HalyxClientScanner::getAllClients(const std::string& rootPath, Model::HalyxTables& tables) const {
    CommandCache commandCache;
    for (const auto& [directory, records] : extractMmapInfoByTable(rootPath)) {
        if (debugHandler().enabled(5)) {
            trace(5, __LINE__, "getAllClients",
                  "Analyzing halyx " + directory + " with mmapInfo.size: " + std::to_string(records.size()));
        }
        Model::HalyxTable table(directory);
        if (makeTable(directory, records, commandCache, table)) {
            return 1;
        }
        // Collections are expected below the root: a shorter path is out of range here.
        getHeaderInfo(directory.substr(rootPath.size() + 1), table);
        tables.insert(std::move(table));
    }
    return 0;
}

int HalyxClientScanner::addClientlessHalyxes(const std::string& rootPath, Model::HalyxTables& tables) const {
    trace(5, __LINE__, "addClientlessHalyxes", "Determining clientless halyxes");
    Mem::TableFinder finder("HalyxClientScanner", "halyxes");
    finder.find("", [](const std::string&) { return true; });
    for (const std::string& found : finder.results()) {
        Model::HalyxTable table(rootPath + "/" + found);
        trace(5, __LINE__, "addClientlessHalyxes", "Looking for " + table.name + " in tables");
        if (tables.count(table) != 0) {
            continue;
        }
        getHeaderInfo(found, table);
        if (!table.headerInfo.complete()) {
            trace(5, __LINE__, "addClientlessHalyxes",
                  "Suppressing clientless halyx " + table.name + " with missing header info");
            continue;
        }
        tables.insert(std::move(table));
    }
    return 0;
}

int HalyxClientScanner::doGetClientInfo() {
    warnRunAsRoot();
    Model::HalyxTable table{std::string(tablePath())};
    const RootPath root(debugHandler(), tablePath(), false);
    if (getClients(root.text(), table) != 0) {
        std::cerr << "Error getting clients of Halyx " << Norvu::safeText(tablePath()) << std::endl;
        return 1;
    }
    out() << table.print();
    return 0;
}

int HalyxClientScanner::doGetAllClientInfo() {
    warnRunAsRoot();
    const RootPath root(debugHandler(), "", false);
    Model::HalyxTables tables = noTables();
    if (getAllClients(root.text(), tables) != 0) {
        std::cerr << "Error getting readers and writers of Halyx" << std::endl;
        return 1;
    }
    if (addClientlessHalyxes(root.text(), tables) != 0) {
        std::cerr << "Error adding clientless Halyxes" << std::endl;
        return 1;
    }
    if (tables.empty()) {
        out() << "No Halyxes" << std::endl;
        return 0;
    }
    for (const Model::HalyxTable& table : tables) {
        out() << table.print();
    }
    return 0;
}

int HalyxClientScanner::doGetTableInfo(int pid) {
    warnRunAsRoot();
    const RootPath root(debugHandler(), "", false);
    Model::HalyxTables tables = noTables();
    if (getAllClients(root.text(), tables) != 0) {
        std::cerr << "Error getting readers and writers of Halyx" << std::endl;
        return 1;
    }
    if (tables.empty()) {
        out() << "No Halyxes" << std::endl;
        return 0;
    }
    printClientOf(pid, tables);
    return 0;
}

void HalyxClientScanner::printClientOf(int pid, Model::HalyxTables& tables) {
    constexpr HalyxType kinds[] = {HalyxType::Writer, HalyxType::Reader, HalyxType::Shadow, HalyxType::Keyshadow};
    for (const HalyxType kind : kinds) {
        out() << "Tables with client ( pid: " << pid << " ) of Type " << nameOf(kind) << ": " << std::endl;
        for (const Model::HalyxTable& table : tables) {
            const auto clients = table.clients.find(kind);
            if (clients != table.clients.end() &&
                std::any_of(clients->second.begin(), clients->second.end(),
                            [pid](const Model::HalyxClient& client) { return client.pid == pid; })) {
                out() << table.print();
            }
        }
    }
}

} // namespace Halyx
