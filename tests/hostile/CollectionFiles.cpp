#include "hostile/CollectionFiles.h"

#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

using namespace Fixtures;
using Halyx::Layout::SlotTableHeader;
using Plask::Layout::SlabHeader;

namespace Hostile {

namespace {

constexpr const char* kFenixFile = "fenix";

/// Chains 0: 0 3, 1: 1 4 ending at bucket 2, 2: 2 (through the lookaside slot), 3: empty, 5: unused.
void shapeChains(CollectionBuilder& builder) {
    builder.chain(0, {0, 3}).chain(1, {1, 4}, static_cast<std::int32_t>(0x80000002U)).chain(2, {2});
    builder.state(2, Halyx::Layout::kSlotStateLookaside).state(3, 0xfffffffd);
    builder.slotsHeader.occupiedSlots = 5;
    builder.slotsHeader.freeSlots = 5;
}

void addQueues(CollectionBuilder& builder) {
    builder.conquer().notify(0, 17, 5).notify(0, std::uint64_t{1} << 40, 0xffffffff).leftover(0, 9, 3);
    builder.notify(1, 4, 2).growQueue(1, 1);
    builder.conquerHeader(0).corralEnd = 3;
}

} // namespace

CollectionBuilder soundBuilder(Kind kind) {
    CollectionBuilder builder(4, 6);
    shapeChains(builder);
    addQueues(builder);
    if (kind == Kind::Static) {
        for (std::uint32_t slot = 0; slot < 6; ++slot) {
            builder.number(slot, std::uint64_t{0xa0} + slot);
        }
        builder.lookaside(bytesOf(std::uint64_t{4711}));
        return builder;
    }
    builder.dynamic().valueType("Payload", 64);
    builder.slab(0, 72, {"one", std::nullopt, "three", std::string(64, 'f')}).slab(3, 40, {"small", ""});
    builder.slabHeader(0).freeList = 1;
    builder.offset(0, 0, 0).offset(1, 0, 2).offset(2, 0, 3).offset(3, 3, 0).offset(4, 3, 1).offset(5, 0, 1);
    builder.lookaside(bytesOf(Plask::Layout::SlabOffset(0, 2)));
    return builder;
}

Files filesOf(const CollectionBuilder& builder, Kind kind) {
    Files files;
    files[Halyx::Layout::kBucketsFile] = builder.bucketsFile();
    files[Halyx::Layout::kSlotsFile] = builder.slotsFile();
    for (unsigned queue = 0; queue < 2; ++queue) {
        files[Halyx::Layout::kConquerFiles[queue]] = builder.conquerFile(queue);
    }
    if (kind == Kind::Dynamic) {
        files["slab0"] = builder.slabFile(0);
        files["slab3"] = builder.slabFile(3);
    }
    files[kFenixFile] = std::string("FENX") + bytesOf(builder.slotsHeader.fenix);
    return files;
}

Files soundFiles(Kind kind) {
    static const Files fixed[2] = {filesOf(soundBuilder(Kind::Static), Kind::Static),
                                   filesOf(soundBuilder(Kind::Dynamic), Kind::Dynamic)};
    return fixed[kind == Kind::Dynamic ? 1 : 0];
}

void fitChecksums(Files& files) {
    for (auto& [name, bytes] : files) {
        if (name == Halyx::Layout::kSlotsFile && bytes.size() >= sizeof(SlotTableHeader)) {
            storeWord(bytes, offsetof(SlotTableHeader, hash), slotsChecksum(fromBytes<SlotTableHeader>(bytes)));
        } else if (name.rfind("slab", 0) == 0 && bytes.size() >= sizeof(SlabHeader)) {
            storeWord(bytes, offsetof(SlabHeader, checksum),
                      fnv1a(bytesOf(wordAt(bytes, offsetof(SlabHeader, entrySize)))));
        }
    }
}

std::uint32_t wordAt(const std::string& bytes, std::size_t offset) {
    return fromBytes<std::uint32_t>(bytes, offset);
}

void storeWord(std::string& bytes, std::size_t offset, std::uint32_t word) {
    if (offset + sizeof word <= bytes.size()) {
        std::memcpy(bytes.data() + offset, &word, sizeof word);
    }
}

void must(bool good, const std::string& what) {
    if (!good) {
        throw std::runtime_error("cannot make " + what);
    }
}

Collection writeFiles(const ScratchRoot& root, const std::string& name, const Files& files) {
    Collection collection(root.collections() + "/" + name, name);
    makeDirectories(collection.path());
    for (const auto& [file, bytes] : files) {
        const int descriptor = ::open(collection.file(file).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        const bool written =
            descriptor >= 0 && ::write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
        if (descriptor >= 0) {
            ::close(descriptor);
        }
        if (!written) {
            throw std::runtime_error("cannot write " + collection.file(file));
        }
    }
    return collection;
}

} // namespace Hostile
