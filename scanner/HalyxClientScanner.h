#pragma once

#include "Halyx/ClientModel.h"
#include "HalyxScannerBase.h"
#include "Norvu/DirNode.h"
#include "Norvu/LineFile.h"

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Halyx {

/// The reports on the processes that have collections mapped. They are found in the process table alone: every process's map
/// is read once a report, and what kind of client a process is follows from which files it maps, and how.
///
/// A mapping becomes a record, "PID|PROCESS|PERMISSIONS|FILE|", where FILE is "slots", "conquer.1" or "fenix".
class HalyxClientScanner : public HalyxScannerBase {
public:
    using HalyxClientList = Model::HalyxClientList;
    /// A collection's directory, and its records in the order found.
    using TableToInfoMap = std::map<std::string, std::vector<std::string>>;
    using CommandCache = std::map<int, std::string>;

    /// `proc` is where the process table is.
    HalyxClientScanner(const std::string& outputFile, const char* tablePath, std::string proc = "/proc");
    ~HalyxClientScanner() override = default;

    // The reports; each returns the exit status.

    /// The clients of the scanner's own collection.
    int doGetClientInfo();
    /// The clients of every collection, and the collections without any.
    int doGetAllClientInfo();
    /// The collections that have a client of that process id.
    int doGetTableInfo(int pid);

    // Their steps: the commands.

    int getClients(const std::string& collectionPath, Model::HalyxTable& table) const;
    int getAllClients(const std::string& rootPath, Model::HalyxTables& tables) const;
    int addClientlessHalyxes(const std::string& rootPath, Model::HalyxTables& tables) const;
    void printClientOf(int pid, Model::HalyxTables& tables);
    /// Fills in what the headers of the collection, relative to the root, tell; what they do not stays unknown.
    void getHeaderInfo(const std::string& collectionPath, Model::HalyxTable& table) const;

    // The process table.

    bool readNextMmap(Norvu::DirNode& dir, std::string& filePath) const;
    std::string getToken(const std::string& text, unsigned index, const std::string& delimiters) const;
    std::string getProcNameForPid(const std::string& pid) const;
    void warnRunAsRoot() const;
    /// Throws AssertException when the process table cannot be opened.
    std::vector<std::string> extractMmapInfo(const std::string& rootPath) const;
    void extractMmapInfo(const std::string& rootPath, const std::string& filePath,
                         std::vector<std::string>& infoList) const;
    TableToInfoMap extractMmapInfoByTable(const std::string& rootPath) const;
    void extractMmapInfoByTable(const std::string& rootPath, const std::string& filePath,
                                TableToInfoMap& tableInfo) const;
    void addToHalyxClientMap(TableToInfoMap& tableInfo, const std::string& tableName, const std::string& info) const;
    void doPopulateCommandNames(HalyxClientList& clients, CommandCache& commandCache) const;
    void populateCommandNames(HalyxClientList& writers, HalyxClientList& shadowReaders,
                              HalyxClientList& keyShadowReaders, HalyxClientList& passiveReaders,
                              CommandCache& commandCache) const;

    // The kinds of clients.

    /// Files one record; true when it cannot be.
    bool categorizeClient(const std::string& info, HalyxClientList& writers, HalyxClientList& keyShadowReaders,
                          HalyxClientList& shadowAndKeyShadow, HalyxClientList& allReaders) const;
    void determineReaders(HalyxClientList& keyShadowReaders, HalyxClientList& shadowAndKeyShadow,
                          HalyxClientList& allReaders, HalyxClientList& shadowReaders,
                          HalyxClientList& passiveReaders) const;
    void computeSetDifference(HalyxClientList& from, HalyxClientList& subtract, HalyxClientList& result) const;

private:
    struct Walk; ///< of one collection or by table

    template <typename Worker>
    void walkProcesses(const Walk& walk, const std::string& rootPath, const Worker& worker) const;
    template <typename RegionHandler>
    void walkRegions(const Walk& walk, const std::string& rootPath, const std::string& filePath,
                     std::span<const std::string_view> marks, const RegionHandler& handler) const;
    bool makeTable(const std::string& name, const std::vector<std::string>& records, CommandCache& commandCache,
                   Model::HalyxTable& table) const;
    void trace(int level, int line, const char* function, const std::string& text) const;

    std::string proc_;
    mutable Norvu::LineFile lines_; ///< a buffer that is kept from process to process
};

} // namespace Halyx
