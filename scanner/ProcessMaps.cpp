// How the client reports read the process table.

#include "HalyxClientScanner.h"
#include "Norvu/Exception.h"
#include "Norvu/Process.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <span>
#include <string_view>

namespace Halyx {

namespace {

constexpr const char* kSource = "HalyxClientScanner";

/// The files of a collection whose mapping makes a process its client.
constexpr const char* kClientFiles[] = {"slots", "conquer.1", "fenix"};

/// What stands in every line that a walk by table can make a record of: parts of those names whose first letters the rest of a
/// map seldom has.
constexpr std::string_view kClientFileMarks[] = {"lots", "quer.1", "nix"};

/// No program's file name is longer; what a process gives as its own may be.
constexpr std::size_t kMostName = 255;

/// The `index`-th token, counted from 1, of the text up to its first NUL; empty when there are fewer.
std::string_view tokenOf(std::string_view text, unsigned index, std::string_view delimiters) {
    text = text.substr(0, text.find('\0'));
    for (;;) {
        const std::size_t begin = text.find_first_not_of(delimiters);
        if (begin == std::string_view::npos) {
            return {};
        }
        const std::size_t end = std::min(text.find_first_of(delimiters, begin), text.size());
        if (index <= 1) {
            return text.substr(begin, end - begin);
        }
        --index;
        text.remove_prefix(end);
    }
}

/// The column of a line of a maps file that a mapped file's path begins; empty for memory without a file.
std::string_view regionOf(std::string_view line) {
    constexpr unsigned kColumn = 6;
    std::size_t at = 0;
    for (unsigned column = 1;; ++column) {
        while (at < line.size() && line[at] == ' ') {
            ++at;
        }
        const std::size_t begin = at;
        while (at < line.size() && line[at] != ' ') {
            ++at;
        }
        if (column == kColumn) {
            return tokenOf(line.substr(begin, at - begin), 1, " ");
        }
    }
}

std::string permissionsOf(std::string_view line) {
    return std::string(tokenOf(line, 2, " "));
}

std::string recordOf(const std::string& pid, const std::string& processName, const std::string& permissions,
                     const char* fileType) {
    return pid + "|" + processName + "|" + permissions + "|" + fileType + "|";
}

} // namespace

bool HalyxClientScanner::readNextMmap(Norvu::DirNode& dir, std::string& filePath) const {
    while (const dirent* const entry = dir.readEntry()) {
        filePath = dir.path();
        filePath += '/';
        filePath += entry->d_name;
        filePath += "/maps";
        if (Norvu::exists(filePath)) {
            return true;
        }
    }
    return false;
}

std::string HalyxClientScanner::getToken(const std::string& text, unsigned index, const std::string& delimiters) const {
    return std::string(tokenOf(text, index, delimiters));
}

std::string HalyxClientScanner::getProcNameForPid(const std::string& pid) const {
    const std::string path = proc_ + "/" + pid + "/exe";
    std::string target(4096, '\0');
    const long length = Norvu::readLink(path, target);
    if (length < 0) {
        trace(5, __LINE__, "getProcNameForPid", "file " + path + " no longer exists");
        return {};
    }
    target.resize(static_cast<std::size_t>(length));
    return target.substr(target.rfind('/') + 1);
}

void HalyxClientScanner::warnRunAsRoot() const {
    if (std::getenv("Q7_CHROOT") == nullptr && !Norvu::Util::isRoot()) {
        std::cout << "You should run this command as root." << std::endl;
    }
}

/// What the trace records of a walk say.
struct HalyxClientScanner::Walk {
    const char* function;
    const char* what;

    static const Walk kOneTable;
    static const Walk kByTable;
};

const HalyxClientScanner::Walk HalyxClientScanner::Walk::kOneTable{"extractMmapInfo",
                                                                   "Extracting mmap info for rootpath: "};
const HalyxClientScanner::Walk HalyxClientScanner::Walk::kByTable{"extractMmapInfoByTable",
                                                                  "Extracting mmap info by table for rootpath: "};

template <typename Worker>
void HalyxClientScanner::walkProcesses(const Walk& walk, const std::string& rootPath, const Worker& worker) const {
    if (debugHandler().enabled(5)) {
        trace(5, __LINE__, walk.function, walk.what + rootPath + " traversing " + proc_);
    }
    Norvu::DirNode dir(debugHandler(), proc_, nullptr);
    if (!dir.isOpen()) {
        Norvu::debugAndThrowAssertException(&debugHandler(), 0, "Couldn't open " + proc_, kSource, __LINE__,
                                            walk.function);
    }
    std::string filePath;
    while (readNextMmap(dir, filePath)) {
        worker(filePath);
    }
}

/// Hands each line of a process's map that names a file and holds one of `marks` to `handler`, with the process's id and name. A
/// process that is gone by now, or that this user may not look into, has none.
template <typename RegionHandler>
void HalyxClientScanner::walkRegions(const Walk& walk, const std::string& rootPath, const std::string& filePath,
                                     std::span<const std::string_view> marks, const RegionHandler& handler) const {
    if (debugHandler().enabled(5)) {
        trace(5, __LINE__, walk.function, walk.what + rootPath + ", filePath: " + filePath);
    }
    // Wherever the process table is, its own directory counts as one component of the path.
    const std::size_t begin = filePath.compare(0, proc_.size(), proc_) == 0 ? proc_.size() : 0;
    const std::string pid = getToken(begin != 0 ? "proc" + filePath.substr(begin) : filePath, 2, "/");
    if (pid.empty()) {
        return;
    }
    const std::string processName = getProcNameForPid(pid);
    if (processName.empty()) {
        return;
    }
    if (!lines_.open(filePath)) {
        trace(5, __LINE__, walk.function, "file " + filePath + " no longer exists");
        return;
    }
    const bool details = debugHandler().enabled(9); // which tell every region
    std::string_view line;
    while (details ? lines_.next(line) : lines_.nextWith(marks, line)) {
        // As far as its first NUL, like every token of it.
        line = line.substr(0, line.find('\0'));
        const std::string_view region = regionOf(line);
        if (region.empty()) {
            continue;
        }
        if (details) {
            trace(9, __LINE__, walk.function, "mmapRegion: " + std::string(region));
        }
        handler(pid, processName, region, line);
    }
    const int error = lines_.error();
    if (error != 0 && error != ESRCH) {
        trace(0, __LINE__, walk.function, "file " + filePath + " error: eofbit: 0 failbit: 0 badbit: 1");
    }
    lines_.close();
}

std::vector<std::string> HalyxClientScanner::extractMmapInfo(const std::string& rootPath) const {
    std::vector<std::string> infoList;
    walkProcesses(Walk::kOneTable, rootPath,
                  [&](const std::string& filePath) { extractMmapInfo(rootPath, filePath, infoList); });
    return infoList;
}

void HalyxClientScanner::extractMmapInfo(const std::string& rootPath, const std::string& filePath,
                                         std::vector<std::string>& infoList) const {
    const std::string_view marks[] = {rootPath};
    walkRegions(
        Walk::kOneTable, rootPath, filePath, marks,
        [&](const std::string& pid, const std::string& processName, std::string_view region, std::string_view line) {
            if (region.size() <= rootPath.size() || region[rootPath.size()] != '/' ||
                region.compare(0, rootPath.size(), rootPath) != 0) {
                return;
            }
            const std::string_view name = region.substr(rootPath.size() + 1);
            for (const char* const fileType : kClientFiles) {
                if (name != fileType) {
                    continue;
                }
                trace(9, __LINE__, "extractMmapInfo", std::string("halyxFileType: ") + fileType);
                const std::string permissions = permissionsOf(line);
                assert(!permissions.empty());
                infoList.push_back(recordOf(pid, processName, permissions, fileType));
                trace(5, __LINE__, "extractMmapInfo", "Added: " + infoList.back());
            }
        });
}

HalyxClientScanner::TableToInfoMap HalyxClientScanner::extractMmapInfoByTable(const std::string& rootPath) const {
    TableToInfoMap tableInfo;
    walkProcesses(Walk::kByTable, rootPath,
                  [&](const std::string& filePath) { extractMmapInfoByTable(rootPath, filePath, tableInfo); });
    return tableInfo;
}

void HalyxClientScanner::extractMmapInfoByTable(const std::string& rootPath, const std::string& filePath,
                                                TableToInfoMap& tableInfo) const {
    walkRegions(
        Walk::kByTable, rootPath, filePath, kClientFileMarks,
        [&](const std::string& pid, const std::string& processName, std::string_view region, std::string_view line) {
            const std::size_t slash = region.rfind('/');
            const std::string_view name = region.substr(slash + 1);
            for (const char* const fileType : kClientFiles) {
                if (name != fileType) {
                    continue;
                }
                trace(9, __LINE__, "extractMmapInfoByTable", std::string("halyxFileType: ") + fileType);
                const std::string permissions = permissionsOf(line);
                assert(!permissions.empty());
                const std::string_view table = region.substr(0, slash == std::string_view::npos ? 0 : slash);
                addToHalyxClientMap(tableInfo, std::string(table), recordOf(pid, processName, permissions, fileType));
            }
        });
}

void HalyxClientScanner::addToHalyxClientMap(TableToInfoMap& tableInfo, const std::string& tableName,
                                             const std::string& info) const {
    const auto [entry, added] = tableInfo.try_emplace(tableName);
    entry->second.push_back(info);
    if (added) {
        trace(5, __LINE__, "addToHalyxClientMap", "Added new entry: tableName: " + tableName + ", info: " + info);
    } else {
        trace(9, __LINE__, "addToHalyxClientMap",
              "Added to existing entry: tableName: " + tableName + ", info: " + info +
                  ", infoList.size: " + std::to_string(entry->second.size()));
    }
}

void HalyxClientScanner::doPopulateCommandNames(HalyxClientList& clients, CommandCache& commandCache) const {
    for (Model::HalyxClient& client : clients) {
        const int pid = client.pid;
        assert(pid);
        const auto known = commandCache.find(pid);
        if (known != commandCache.end()) {
            client.command = known->second;
            trace(5, __LINE__, "doPopulateCommandNames",
                  "Found command " + client.command + " in cache for " + std::to_string(pid));
            continue;
        }
        std::string command = Norvu::Util::readPidCmdline(debugHandler(), pid, proc_);
        command.resize(std::min(command.find(' '), command.size()));
        command.erase(0, command.rfind('/') + 1);
        command.resize(std::min(command.size(), kMostName));
        commandCache.emplace(pid, command);
        client.command = command;
        trace(5, __LINE__, "doPopulateCommandNames",
              "Extracted command " + command + " for pid " + std::to_string(pid));
    }
}

void HalyxClientScanner::populateCommandNames(HalyxClientList& writers, HalyxClientList& shadowReaders,
                                              HalyxClientList& keyShadowReaders, HalyxClientList& passiveReaders,
                                              CommandCache& commandCache) const {
    for (HalyxClientList* const clients : {&writers, &shadowReaders, &keyShadowReaders, &passiveReaders}) {
        doPopulateCommandNames(*clients, commandCache);
    }
}

} // namespace Halyx
