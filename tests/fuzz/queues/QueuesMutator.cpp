#include "Halyx/ConquerTableLayout.h"
#include "fixtures/Bytes.h"
#include "fuzz/Targets.h"
#include "fuzz/collection/Fields.h"
#include "fuzz/collection/Files.h"
#include "fuzz/collection/Mutation.h"

#include <algorithm>
#include <utility>

namespace Fuzz {

namespace {

using namespace Halyx::Layout;

/// Notifications as a writer appends them: the count, and now and then the position, go up with them.
void append(std::string& queue, Random& random) {
    if (queue.size() < kConquerHeaderSize) {
        return;
    }
    queue.resize(queue.size() - (queue.size() - kConquerHeaderSize) % kConquerRecordSize);
    const std::size_t more = 1 + random.below(5);
    for (std::size_t i = 0; i < more; ++i) {
        const auto slot = random.once(4) ? kConquerNoSlot : static_cast<std::uint32_t>(random.below(6));
        const std::uint64_t sequence = random.word() >> random.below(64);
        // Before the 4 bytes that the rounded-up header counts for.
        queue.insert(queue.size() - 4,
                     Fixtures::bytesOf(ConquerRecord{static_cast<std::uint32_t>(sequence),
                                                     static_cast<std::uint32_t>(sequence >> 32), slot}));
    }
    const auto count = static_cast<std::uint32_t>((queue.size() - kConquerHeaderSize) / kConquerRecordSize);
    store(queue, offsetof(ConquerHeader, notifications) + 4, count);
    if (!random.once(3)) {
        store(queue, offsetof(ConquerHeader, currentPos), static_cast<std::uint32_t>(random.below(count + 2)));
    }
}

} // namespace

std::size_t mutateQueues(unsigned char* data, std::size_t size, std::size_t room, unsigned seed) {
    static constexpr unsigned char names[] = {kQueue, kQueue + 1};
    Random random(seed);
    if (!random.once(4)) {
        return mutateArchive(data, size, room, seed, names);
    }
    Archive archive(Bytes(data, size));
    std::string& primary = archive.files[kQueue];
    std::string& secondary = archive.files[kQueue + 1];
    switch (random.below(4)) {
    case 0: {
        const auto active = static_cast<std::uint32_t>(random.below(2));
        store(primary, offsetof(ConquerHeader, tableId) + 4, active);
        store(secondary, offsetof(ConquerHeader, tableId) + 4, active);
        break;
    }
    case 1:
        std::swap(primary, secondary);
        break;
    default:
        append(random.once(2) ? primary : secondary, random);
        break;
    }
    const std::size_t stored = archive.store(data, room);
    return stored != 0 ? stored : mutateArchive(data, size, room, seed, names);
}

std::size_t crossQueues(Bytes one, Bytes other, unsigned char* out, std::size_t room, unsigned seed) {
    return crossArchives(one, other, out, room, seed);
}

} // namespace Fuzz
