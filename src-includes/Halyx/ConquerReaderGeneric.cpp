#include "Halyx/ConquerReaderGeneric.h"

#include "Mem/Atomics.h"
#include "Mem/Snapshot.h"
#include "Norvu/Exception.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstring>
#include <limits>
#include <string_view>

namespace Halyx {

namespace {

constexpr const char* kSource = "src-includes/Halyx/ConquerReaderGeneric";
constexpr std::size_t kCountOffset = offsetof(Layout::ConquerHeader, notifications);
constexpr std::size_t kTableOffset = offsetof(Layout::ConquerHeader, tableId);
constexpr std::size_t kPositionOffset = offsetof(Layout::ConquerHeader, currentPos);
constexpr Mem::VerU32 kNothingSeen{0xffffffff, 0};
constexpr Conquer::ConquerTableId kBoth[2] = {Conquer::ConquerTableId::Primary, Conquer::ConquerTableId::Secondary};

/// Text is handed on in pieces of about this many bytes.
constexpr std::size_t kPiece = 64 * 1024;
/// No line has more bytes: three numbers, two of 10 and one of 20 digits, and the words between.
constexpr std::size_t kMostLine = 96;
constexpr std::size_t kFieldWidth = 10;

std::uint64_t neededSize(std::uint32_t count) {
    return Layout::kConquerHeaderSize + std::uint64_t{Layout::kConquerRecordSize} * count;
}

double secondsNow() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

char* put(char* to, std::string_view text) {
    return std::copy(text.begin(), text.end(), to);
}

template <typename Number>
char* putNumber(char* to, Number number) {
    return std::to_chars(to, to + std::numeric_limits<Number>::digits10 + 1, number).ptr;
}

/// Left-aligned, filled with blanks.
char* putField(char* to, std::uint32_t number) {
    char* const end = std::max(putNumber(to, number), to);
    char* const wanted = to + kFieldWidth;
    if (end < wanted) {
        std::fill(end, wanted, ' ');
        return wanted;
    }
    return end;
}

char* putNotification(char* to, std::uint32_t index, const Conquer::Notification& record) {
    to = putField(put(to, "pos: "), index);
    to = put(to, "  |  slot: ");
    to = record.slot == Layout::kConquerNoSlot ? put(to, "[ NONE ]  ") : putField(to, record.slot);
    to = putNumber(put(to, "  |  sequence: "), record.sequence());
    return put(to, "\n");
}

} // namespace

ConquerReaderGeneric::ConquerReaderGeneric(Norvu::Platform::DebugHandler& handler, const Mem::RootPath& root,
                                           bool localMem)
    : Conquer(handler, root, localMem), queues_{{kNothingSeen}, {kNothingSeen}} {
    // Both are opened now: a writer that puts a new incarnation in place removes these files' names.
    for (const ConquerTableId id : kBoth) {
        ownMapping(id).hold();
    }
}

bool ConquerReaderGeneric::attach() {
    for (const ConquerTableId id : kBoth) {
        Mem::SharedMemWrapper& mapping = ownMapping(id);
        mapping.hold();
        if (mapping.regionSize() == 0 ||
            mapping.attach(Layout::kConquerHeaderSize, Mem::Mode::ReadOnlyShared, true) == nullptr) {
            return false;
        }
        queues_[index(id)] = {kNothingSeen};
    }
    return true;
}

Conquer::Header ConquerReaderGeneric::snapshotHeader(ConquerTableId id) const {
    const auto header = Mem::snapshot<Header>(mapping(id).view(), kCountOffset);
    mapping(id).checkFault();
    return header;
}

bool ConquerReaderGeneric::validate(Norvu::Platform::DebugHandler& handler, std::string& error) const {
    return std::all_of(std::begin(kBoth), std::end(kBoth), [&](ConquerTableId id) {
        const unsigned size = mapping(id).regionSize();
        const Header header = snapshotHeader(id);
        // R7: the file may have grown between the look at its size and the copy of its header: only a second failure counts.
        return header.check(size, 0, error) || header.validate(handler, mapping(id).regionSize(), 0, error);
    });
}

void ConquerReaderGeneric::sample() {
    sampleCurrentTable();
    for (const ConquerTableId id : kBoth) {
        // A position past the count that was mapped may be a growth that came between the two: the writer stores the count
        // before the position passes the old one, so its version has changed by then.
        do {
            resizeConquer(id);
            samplePosition(id);
        } while (mapping(id).view().word(kCountOffset) != queues_[index(id)].notifications.version);
    }
}

void ConquerReaderGeneric::sampleCurrentTable() {
    currentTable_ = mapping(ConquerTableId::Primary).view().pair(kTableOffset);
    mapping(ConquerTableId::Primary).checkFault();
}

void ConquerReaderGeneric::samplePosition(ConquerTableId id) {
    // Acquire: the writer stores it behind the record that it passes.
    queues_[index(id)].currentPos = mapping(id).view().word(kPositionOffset);
    // In a file that was cut before it, the position reads as 0, which leaves no records for a check of theirs to fail.
    mapping(id).checkRead(Layout::kConquerRecordsOffset);
}

void ConquerReaderGeneric::resizeConquer(ConquerTableId id) {
    Queue& queue = queues_[index(id)];
    Mem::SharedMemWrapper& mapping = ownMapping(id);
    // Acquire: the writer stores the pair, release, after the file holds the records it counts.
    const Mem::VerU32 pair = mapping.view().pair(kCountOffset);
    mapping.checkFault();
    if (queue.mapped && pair.version == queue.notifications.version) {
        return;
    }
    const std::uint64_t needed = neededSize(pair.value);
    const unsigned size = mapping.regionSize();
    if (size < needed) {
        std::ostringstream text;
        text << "ConquerReaderGeneric::resizeConquer() requesting to map " << mapping.getFilename() << " " << pair.value
             << " conquer notifications. Requested file resize to " << needed << " but real file size is " << size;
        Norvu::debugAndThrowAssertException(nullptr, 0, text.str(), kSource, __LINE__, "resizeConquer");
    }
    if (mapping.remap(static_cast<unsigned>(needed)) == nullptr) {
        std::ostringstream text;
        text << "ConquerReaderGeneric::resizeConquer() failed to resize " << mapping.getFilename() << " to size "
             << needed << " : " << mapping.errorText();
        Norvu::MemoryResourceException::throwException(text.str());
    }
    // The count is believed from here on only: what it counts is mapped.
    queue.notifications = pair;
    queue.mapped = true;
}

/// Copies one queue; false when the writer switched queues or moved this one's position meanwhile.
bool ConquerReaderGeneric::copyQueue(ConquerTableId id, std::vector<Notification>& records) const {
    const Mem::View& view = mapping(id).view();
    const Mem::View::Word version =
        mapping(ConquerTableId::Primary).view().watch(kTableOffset + offsetof(Mem::VerU32, version));
    const Mem::View::Word position = view.watch(kPositionOffset);
    const Queue& queue = queues_[index(id)];
    const std::uint32_t sampledVersion = currentTable_.version;
    const std::uint32_t sampledPosition = queue.currentPos;
    const std::size_t count = records.size();
    const Mem::View slots = view.slice(Layout::kConquerRecordsOffset, count * sizeof(Notification));

    // R6. Races with the writer's append (W6) at currentPos, and with the switch that empties this queue and fills it again. Either
    // changes one of the two words before it changes any record but the one at currentPos.
    const auto steady = [&] { return version.load() == sampledVersion && position.load() == sampledPosition; };
    Notification* record = records.data();
    for (std::size_t at = 0; at < count * sizeof(Notification); at += sizeof(Notification)) {
        if (!steady()) [[unlikely]] {
            return false;
        }
        slots.copyWords4<sizeof(Notification)>(at, record++);
        // The record's words are read before the two are looked at again.
        Mem::Atomics::acquireFence();
    }
    mapping(id).checkRead(Layout::kConquerRecordsOffset + count * sizeof(Notification));
    return steady();
}

/// Makes a vector as long as the copy that is asked for: nothing of a queue that is not wanted, and of the valid notifications
/// no more than there are.
void ConquerReaderGeneric::makeRoom(ConquerTableId id, bool validOnly, std::vector<Notification>& records) const {
    const Queue& queue = queues_[index(id)];
    std::size_t count = 0;
    if (currentTable_.value < 2 && (!validOnly || isActive(id))) {
        count = validOnly ? std::min(queue.notifications.value, queue.currentPos) : queue.notifications.value;
    }
    if (count > records.size()) {
        mapping(id).populate(Layout::kConquerRecordsOffset + count * sizeof(Notification));
    }
    try {
        records.resize(count);
    } catch (const std::exception&) {
        Norvu::MemoryResourceException::throwException("ConquerReaderGeneric::scan() failed to make room for " +
                                                       std::to_string(count) + " conquer notifications of " +
                                                       mapping(id).getFilename());
    }
}

/// One pass over the queues that are asked for; false when it has to be repeated.
bool ConquerReaderGeneric::copyQueues(bool validOnly, std::vector<Notification> (&queues)[2]) {
    // Room is made before what counts is sampled, so that no page is met for the first time while the writer goes on.
    sample();
    for (const ConquerTableId id : kBoth) {
        makeRoom(id, validOnly, queues[index(id)]);
    }
    sample();
    return std::all_of(std::begin(kBoth), std::end(kBoth), [&](ConquerTableId id) {
        std::vector<Notification>& records = queues[index(id)];
        makeRoom(id, validOnly, records);
        return records.empty() || copyQueue(id, records);
    });
}

void ConquerReaderGeneric::scan(std::ostream& out, bool validOnly) {
    std::ostringstream buffer;
    std::vector<Notification> queues[2];
    std::uint64_t restarts = 0;
    const double start = secondsNow();
    while (!copyQueues(validOnly, queues)) {
        ++restarts; // again, however often: the writer will pause for as long as a copy takes
    }
    const double end = secondsNow();
    out_ = &out;
    for (const ConquerTableId id : kBoth) {
        printQueue(id, queues, validOnly, buffer);
    }
    buffer << "Conquer scanned in " << end - start << " seconds\nRestarted " << restarts << " times";
    drain(buffer, 0);
    out_ = nullptr;
    out << std::endl;
}

void ConquerReaderGeneric::printQueue(ConquerTableId id, std::vector<Notification> (&queues)[2], bool validOnly,
                                      std::ostringstream& buffer) {
    if (validOnly && !isActive(id)) {
        return;
    }
    const Queue& queue = queues_[index(id)];
    const Mem::View& header = mapping(id).view();
    const std::uint64_t corralStart = header.word64(offsetof(Layout::ConquerHeader, corralStart));
    const std::uint64_t corralEnd = header.word64(offsetof(Layout::ConquerHeader, corralEnd));
    mapping(id).checkRead(Layout::kConquerRecordsOffset);
    buffer << (id == ConquerTableId::Primary ? "Primary" : "Secondary") << " conquer queue "
           << (isActive(id) ? "(active)\n" : "(backup)\n") << "\tnotifications:" << queue.notifications << "\n"
           << "\tcurrentPos:" << queue.currentPos << "\n"
           << "\tcorralStart:" << corralStart << "\n"
           << "\tcorralEnd:" << corralEnd << "\n\n";

    const std::vector<Notification>& records = queues[index(id)];
    const std::size_t end = validOnly ? std::min<std::size_t>(records.size(), queue.currentPos) : records.size();
    std::string lines(kPiece + kMostLine, '\0');
    char* to = lines.data();
    const auto flush = [&] {
        buffer.write(lines.data(), to - lines.data());
        drain(buffer, kPiece);
        to = lines.data();
    };
    for (std::size_t i = 0; i < end; ++i) {
        if (validOnly && records[i].slot == Layout::kConquerNoSlot) {
            continue;
        }
        to = putNotification(to, static_cast<std::uint32_t>(i), records[i]);
        if (to >= lines.data() + kPiece) {
            flush();
        }
    }
    flush();
}

/// Hands the buffer's text on when there are at least `most` bytes of it and somewhere to hand it to.
void ConquerReaderGeneric::drain(std::ostringstream& buffer, std::size_t most) const {
    const std::string_view text = buffer.view();
    if (out_ != nullptr && text.size() >= most) {
        out_->write(text.data(), static_cast<std::streamsize>(text.size()));
        buffer.str({});
    }
}

} // namespace Halyx
