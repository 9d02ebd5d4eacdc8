#include "fuzz/collection/Mutation.h"

#include "fixtures/CollectionBuilder.h"
#include "fuzz/Targets.h"
#include "fuzz/collection/Fields.h"
#include "fuzz/collection/Files.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace Fuzz {

namespace {

/// A longer file has nothing that a shorter one cannot have.
constexpr std::size_t kMostBytes = 6 * 1024;

/// Bytes as libFuzzer changes them by itself.
void mutateBytes(std::string& bytes) {
    const std::size_t size = bytes.size();
    const std::size_t room = std::max<std::size_t>(size + 16, 32);
    bytes.resize(room);
    bytes.resize(LLVMFuzzerMutate(reinterpret_cast<unsigned char*>(bytes.data()), size, room));
}

/// Another number of records, or a cut anywhere.
void resize(std::string& bytes, const Records& records, Random& random) {
    if (records.size == 0 || records.size > kMostBytes || random.once(3)) {
        bytes.resize(random.once(2) ? random.below(bytes.size() + 1) : bytes.size() + random.below(64));
        return;
    }
    const std::size_t count = records.in(bytes.size());
    const std::size_t wanted = random.once(2) ? random.below(count + 1) : count + random.below(9);
    const std::string last = count == 0 ? std::string(records.size, '\0')
                                        : bytes.substr(records.begin + (count - 1) * records.size, records.size);
    bytes.resize(records.begin + std::min(count, wanted) * records.size);
    for (std::size_t i = count; i < wanted; ++i) {
        bytes += last;
    }
    if (!random.once(4)) {
        store(bytes, records.countAt, static_cast<std::uint32_t>(wanted));
    }
}

/// A sound file to begin with.
std::string soundFile(unsigned char name, Random& random) {
    const auto buckets = static_cast<std::uint32_t>(1 + random.below(8));
    const auto slots = static_cast<std::uint32_t>(1 + random.below(16));
    Fixtures::CollectionBuilder made(buckets, slots);
    made.fillNumbers();
    if (name == kBuckets) {
        return made.bucketsFile();
    }
    if (name == kQueue || name == kQueue + 1) {
        made.conquer(2, 3).notify(0, 7, 1).notify(1, 8, 2);
        return made.conquerFile(name - kQueue);
    }
    if (name == kSlots) {
        if (random.once(2)) {
            made.conquer();
        }
        if (random.once(2)) {
            made.dynamic();
        }
        return made.slotsFile();
    }
    if (name >= kSlab && name < kEndOfSlabs) {
        return made.slab(0, 24, {"abcdefgh", std::nullopt, "a longer one!"}).slabFile(0);
    }
    return name == kFenix ? "FENX1234" : "struct T { unsigned a; char b[4]; };";
}

void copyWithin(std::string& bytes, const Records& records, Random& random) {
    const std::size_t count = records.in(bytes.size());
    if (count > 1) {
        const std::size_t from = records.begin + random.below(count) * records.size;
        const std::size_t to = records.begin + random.below(count) * records.size;
        bytes.replace(to, records.size, bytes.substr(from, records.size));
    }
}

} // namespace

void mutateFile(unsigned char name, std::string& bytes, Random& random) {
    const Records records = recordsOf(name, bytes);
    const std::span<const Field> header = headerFields(name);
    const std::size_t kind = random.below(16);
    if (kind < 5 && !header.empty()) {
        changeField(bytes, header[random.below(header.size())], records, random);
    } else if (kind < 11 && records.in(bytes.size()) != 0) {
        Field field = records.fields[random.below(records.fields.size())];
        field.offset += records.begin + random.below(records.in(bytes.size())) * records.size;
        changeField(bytes, field, records, random);
    } else if (kind == 11) {
        copyWithin(bytes, records, random);
    } else if (kind < 14) {
        resize(bytes, records, random);
    } else {
        mutateBytes(bytes);
    }
    if (!random.once(16)) {
        fitChecksum(name, bytes);
    }
    bytes.resize(std::min(bytes.size(), kMostBytes));
}

std::size_t mutateArchive(unsigned char* data, std::size_t size, std::size_t room, unsigned seed,
                          std::span<const unsigned char> names) {
    Random random(seed);
    Archive archive(Bytes(data, size));
    for (std::size_t changes = 1 + random.below(4); changes != 0; --changes) {
        const std::size_t kind = random.below(32);
        if (kind == 0 || archive.files.empty()) {
            const unsigned char name = names[random.below(names.size())];
            archive.files[name] = soundFile(name, random);
        } else if (kind == 1 && archive.files.size() > 1) {
            archive.files.erase(
                std::next(archive.files.begin(), static_cast<std::ptrdiff_t>(random.below(archive.files.size()))));
        } else {
            const auto file =
                std::next(archive.files.begin(), static_cast<std::ptrdiff_t>(random.below(archive.files.size())));
            mutateFile(file->first, file->second, random);
        }
    }
    const std::size_t stored = archive.store(data, room);
    return stored != 0 ? stored : LLVMFuzzerMutate(data, size, room);
}

std::size_t crossArchives(Bytes one, Bytes other, unsigned char* out, std::size_t room, unsigned seed) {
    Random random(seed);
    Archive crossed(one);
    for (const auto& [name, bytes] : Archive(other).files) {
        if (random.once(2)) {
            crossed.files[name] = bytes;
        }
    }
    const std::size_t stored = crossed.store(out, room);
    if (stored == 0) {
        std::memcpy(out, one.data(), std::min(one.size(), room));
        return std::min(one.size(), room);
    }
    return stored;
}

} // namespace Fuzz
