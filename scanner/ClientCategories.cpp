// What kind of client a process is: every reader maps "slots" read-only; shadows and keyshadows "conquer.1" too; keyshadows
// also "fenix"; the writer maps something for writing. Set differences tell them apart.

#include "HalyxClientScanner.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

namespace Halyx {

namespace {

bool beginsWith(const std::string& text, const char* what) {
    return text.rfind(what, 0) == 0;
}

} // namespace

bool HalyxClientScanner::categorizeClient(const std::string& info, HalyxClientList& writers,
                                          HalyxClientList& keyShadowReaders, HalyxClientList& shadowAndKeyShadow,
                                          HalyxClientList& allReaders) const {
    const std::string token = getToken(info, 1, "|");
    const std::string processName = getToken(info, 2, "|");
    const std::string permissions = getToken(info, 3, "|");
    const std::string fileType = getToken(info, 4, "|");
    if (token.empty() || processName.empty() || permissions.empty() || fileType.empty()) {
        trace(0, __LINE__, "categorizeClient", "Failed to tokenize: " + info);
        return true;
    }
    const auto pid = static_cast<std::int32_t>(std::strtol(token.c_str(), nullptr, 10));
    if (beginsWith(permissions, "rw")) {
        const bool known = std::any_of(writers.begin(), writers.end(), [&](const Model::HalyxClient& writer) {
            return writer.pid == pid && writer.processName == processName;
        });
        if (!known) {
            trace(9, __LINE__, "categorizeClient", "adding writer: " + processName);
            writers.push_back({pid, processName, {}});
        }
        return false;
    }
    const auto addTo = [&](HalyxClientList& clients, const char* what) {
        if (beginsWith(permissions, "r-")) {
            trace(9, __LINE__, "categorizeClient", what + processName);
            clients.push_back({pid, processName, {}});
        }
        return false;
    };
    if (fileType == "conquer.1") {
        return addTo(shadowAndKeyShadow, "adding shadow/keyshadow reader: ");
    }
    if (fileType == "slots") {
        return addTo(allReaders, "adding a reader of some type: ");
    }
    if (fileType == "fenix") {
        return addTo(keyShadowReaders, "adding keyshadow reader: ");
    }
    trace(0, __LINE__, "categorizeClient", "Unexpected halyx file " + fileType);
    return true;
}

void HalyxClientScanner::computeSetDifference(HalyxClientList& from, HalyxClientList& subtract,
                                              HalyxClientList& result) const {
    std::sort(from.begin(), from.end());
    if (subtract.empty()) {
        result = from;
        return;
    }
    std::sort(subtract.begin(), subtract.end());
    std::set_difference(from.begin(), from.end(), subtract.begin(), subtract.end(),
                        std::inserter(result, result.begin()));
}

void HalyxClientScanner::determineReaders(HalyxClientList& keyShadowReaders, HalyxClientList& shadowAndKeyShadow,
                                          HalyxClientList& allReaders, HalyxClientList& shadowReaders,
                                          HalyxClientList& passiveReaders) const {
    const auto size = [](const HalyxClientList& clients) { return std::to_string(clients.size()); };
    // A list that is not the longer one is taken to leave nothing: the shortcut is meant.
    if (shadowAndKeyShadow.size() > keyShadowReaders.size()) {
        trace(9, __LINE__, "determineReaders",
              "computing set difference: shadowAndKeyShadow.size: " + size(shadowAndKeyShadow) +
                  ", keyShadowReaders.size: " + size(keyShadowReaders) +
                  ", shadowReaders.size: " + size(shadowReaders));
        computeSetDifference(shadowAndKeyShadow, keyShadowReaders, shadowReaders);
    }
    HalyxClientList keyShadowAndPassive;
    trace(9, __LINE__, "determineReaders",
          "computing set difference: allReaders.size: " + size(allReaders) + ", shadowReaders.size: " +
              size(shadowReaders) + ", keyShadowAndPassive.size: " + size(keyShadowAndPassive));
    computeSetDifference(allReaders, shadowReaders, keyShadowAndPassive);
    if (keyShadowAndPassive.size() > keyShadowReaders.size()) {
        trace(9, __LINE__, "determineReaders",
              "computing set difference: keyShadowAndPassive.size: " + size(keyShadowAndPassive) +
                  ", keyShadowReaders.size: " + size(keyShadowReaders) +
                  ", passiveReaders.size: " + size(passiveReaders));
        computeSetDifference(keyShadowAndPassive, keyShadowReaders, passiveReaders);
    }
}

} // namespace Halyx
