#include "Halyx/ClientModel.h"

#include "Norvu/Text.h"

#include <algorithm>
#include <iostream>
#include <stdexcept>

namespace Halyx {

const char* nameOf(HalyxType type) {
    switch (type) {
    case HalyxType::Writer:
        return "writer";
    case HalyxType::Shadow:
        return "shadow";
    case HalyxType::Reader:
        return "reader";
    case HalyxType::Keyshadow:
        return "keyshadow";
    }
    return "unknown";
}

namespace Model {

bool HeaderInfo::complete() const {
    const std::uint32_t counts[] = {bucketCapacity, primaryNotificationCapacity, secondaryNotificationCapacity,
                                    slotCapacity, occupiedSlots};
    return std::find(std::begin(counts), std::end(counts), kUnknown) == std::end(counts);
}

std::string HeaderInfo::print() const {
    return "Capacity: slots:" + std::to_string(slotCapacity) + " buckets:" + std::to_string(bucketCapacity) +
           " primary_notifications:" + std::to_string(primaryNotificationCapacity) +
           " secondary_notifications:" + std::to_string(secondaryNotificationCapacity) +
           "\nOccupied slots: " + std::to_string(occupiedSlots) + "\n";
}

HalyxTable::HalyxTable(const std::string& directory) : HalyxTable(directory, {}, {}, {}, {}) {}

HalyxTable::HalyxTable(const std::string& directory, const HalyxClientList& writers,
                       const HalyxClientList& shadowReaders, const HalyxClientList& keyShadowReaders,
                       const HalyxClientList& passiveReaders)
    : name(directory), clients{{HalyxType::Writer, writers},
                               {HalyxType::Shadow, shadowReaders},
                               {HalyxType::Keyshadow, keyShadowReaders},
                               {HalyxType::Reader, passiveReaders}} {}

std::string HalyxTable::print() const {
    std::string text = "Halyx table \"" + Norvu::safeText(name) + "\"\n" + headerInfo.print();
    if (std::all_of(clients.begin(), clients.end(), [](const auto& kind) { return kind.second.empty(); })) {
        return text + "Clients: None\n\n";
    }
    text += "Writer: " + printClients(HalyxType::Writer) + "\n";
    text += "Shadow: " + printClients(HalyxType::Shadow) + "\n";
    text += "Keyshadow: " + printClients(HalyxType::Keyshadow) + "\n";
    text += "Reader: " + printClients(HalyxType::Reader) + "\n";
    return text + "\n";
}

std::string HalyxTable::printClients(const HalyxType& type) const {
    std::string text;
    try {
        for (const HalyxClient& client : clients.at(type)) {
            text += Norvu::safeText(client.command) + "-" + std::to_string(client.pid) + "(" +
                    Norvu::safeText(client.processName) + ") ";
        }
    } catch (const std::out_of_range&) {
        std::cerr << "Error getting clients of type " << nameOf(type) << std::endl;
    }
    return text;
}

} // namespace Model

} // namespace Halyx
