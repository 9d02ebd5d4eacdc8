#include "Table.h"

#include "Halyx/BucketTableLayout.h"
#include "Halyx/SlotTableLayout.h"
#include "Norvu/Hash.h"
#include "Plask/SlabLayout.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace Bench {

namespace {

using Halyx::SlotLink;
namespace Slots = Halyx::Layout;

constexpr unsigned kSlabs = 4;

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "halyx_bench: %s: %s\n", what.c_str(), std::strerror(errno));
    std::exit(1);
}

/// A file of `size` bytes, mapped; unmapped at the end of its life.
class Mapped {
public:
    Mapped(const std::string& path, std::size_t size) : size_(size) {
        const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0640);
        if (file < 0 || ::ftruncate(file, static_cast<off_t>(size)) != 0) {
            fail(path);
        }
        map(path, file, PROT_READ | PROT_WRITE);
    }
    explicit Mapped(const std::string& path) {
        const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat status {};
        if (file < 0 || ::fstat(file, &status) != 0) {
            fail(path);
        }
        size_ = static_cast<std::size_t>(status.st_size);
        map(path, file, PROT_READ);
    }
    ~Mapped() { ::munmap(base_, size_); }
    Mapped(const Mapped&) = delete;
    Mapped& operator=(const Mapped&) = delete;

    [[nodiscard]] unsigned char* at(std::size_t offset) const { return base_ + offset; }
    template <typename T>
    [[nodiscard]] T* as(std::size_t offset) const {
        return static_cast<T*>(static_cast<void*>(base_ + offset));
    }

private:
    void map(const std::string& path, int file, int protection) {
        void* base = ::mmap(nullptr, size_, protection, MAP_SHARED, file, 0);
        if (base == MAP_FAILED) {
            fail(path);
        }
        ::close(file);
        base_ = static_cast<unsigned char*>(base);
    }

    unsigned char* base_ = nullptr;
    std::size_t size_ = 0;
};

/// Spreads consecutive numbers as a good hash does.
std::uint64_t mix(std::uint64_t x) {
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ULL;
    x = (x ^ (x >> 27)) * 0x94d049bb133111ebULL;
    return x ^ (x >> 31);
}

template <typename T>
std::uint32_t hashOf(const T& field) {
    char bytes[sizeof(T)];
    std::memcpy(bytes, &field, sizeof(T));
    return Norvu::Util::hash(bytes, sizeof(T));
}

std::uint32_t slotSizeOf(const Table& table) {
    return Slots::kSlotValueOffset + (table.dynamic || table.valueSize < 8 ? 8 : table.valueSize);
}

std::uint32_t entrySizeOf(const Table& table) {
    return Plask::Layout::kSlabEntryHeaderSize + table.valueSize;
}

std::string slabPath(const Table& table, unsigned slab) {
    return table.directory + "/slab" + std::to_string(slab);
}

void writeSlotHeader(const Table& table, const Mapped& file) {
    auto* header = file.as<Slots::SlotTableHeader>(0);
    header->magic = Slots::kSlotTableMagic;
    header->version = Slots::kSlotTableVersion;
    header->fenix = SharedMem::FenixId(1, 1);
    header->platform = Slots::kSlotTablePlatform;
    constexpr std::string_view type = "BenchValue";
    type.copy(header->valueType, type.size());
    type.copy(header->classType, type.size());
    header->valueSize = table.valueSize;
    header->slotSize = slotSizeOf(table);
    header->maxSlots = table.elements;
    header->flags = table.dynamic ? Slots::kSlotFlagDynamic : 0;
    header->hash = hashOf(header->valueType) + hashOf(header->classType) + hashOf(header->valueSize) +
                   hashOf(header->slotSize) + hashOf(header->maxSlots) + hashOf(header->flags);
    header->occupiedSlots = table.elements;
    header->freeSlots = Slots::kNoFreeSlot;
    header->mostSlots = table.elements;
    header->numSlots = {1, table.elements};
}

void writeSlabs(const Table& table) {
    const std::uint32_t count = (table.elements + kSlabs - 1) / kSlabs;
    for (unsigned slab = 0; slab < kSlabs; ++slab) {
        const Mapped file(slabPath(table, slab),
                          Plask::Layout::kSlabHeaderSize + std::size_t{entrySizeOf(table)} * count);
        auto* header = file.as<Plask::Layout::SlabHeader>(0);
        header->magic = Plask::Layout::kSlabMagic;
        header->version = Plask::Layout::kSlabVersion;
        header->fenix = SharedMem::FenixId(1, 1);
        header->numEntries = {1, count};
        header->numOccupied = count;
        header->entrySize = entrySizeOf(table);
        header->checksum = hashOf(header->entrySize);
        header->freeList = Plask::Layout::kNoFreeEntry;
        for (std::uint32_t i = 0; i < count; ++i) {
            unsigned char* entry = file.at(Plask::Layout::kSlabHeaderSize + std::size_t{entrySizeOf(table)} * i);
            std::memcpy(entry, &table.valueSize, sizeof table.valueSize);
            for (std::uint32_t at = 0; at < table.valueSize; at += 8) {
                const std::uint64_t word = mix(std::uint64_t{i} * kSlabs + slab + at);
                std::memcpy(entry + Plask::Layout::kSlabEntryHeaderSize + at, &word, sizeof word);
            }
        }
    }
}

/// Gathers text in a block that is written whenever it is full.
class Text {
public:
    explicit Text(int out) : out_(out), block_(kBlock + kRoom) {
        for (unsigned i = 0; i < 256; ++i) {
            constexpr char digits[] = "0123456789abcdef";
            pairs_[i][0] = digits[i >> 4];
            pairs_[i][1] = digits[i & 15];
        }
    }
    void add(std::string_view text) {
        std::memcpy(&block_[used_], text.data(), text.size());
        used_ += text.size();
    }
    void addHex(std::uint32_t value) {
        char digits[8];
        unsigned begin = 8;
        do {
            digits[--begin] = pairs_[value & 15][1];
            value >>= 4;
        } while (value != 0);
        add({digits + begin, 8 - begin});
    }
    void addBytes(const unsigned char* bytes, std::uint32_t size) {
        for (std::uint32_t i = 0; i < size; ++i) {
            std::memcpy(&block_[used_], pairs_[bytes[i]], 2);
            used_ += 2;
        }
    }
    void drain(std::size_t atLeast) {
        if (used_ >= atLeast && used_ != 0) {
            if (::write(out_, block_.data(), used_) < 0) {
                fail("write");
            }
            used_ = 0;
        }
    }
    static constexpr std::size_t kBlock = 65536;

private:
    static constexpr std::size_t kRoom = 65536;
    int out_;
    std::vector<char> block_;
    std::size_t used_ = 0;
    char pairs_[256][2];
};

} // namespace

void build(const Table& table) {
    std::filesystem::create_directories(table.directory);
    const Mapped buckets(table.directory + "/" + Halyx::Layout::kBucketsFile,
                         Halyx::Layout::kBucketTableHeaderSize + sizeof(SlotLink) * std::size_t{table.elements});
    auto* header = buckets.as<Halyx::Layout::BucketTableHeader>(0);
    header->magic = Halyx::Layout::kBucketTableMagic;
    header->version = Halyx::Layout::kBucketTableVersion;
    header->fenix = SharedMem::FenixId(1, 1);
    header->numBuckets = {1, table.elements};
    auto* heads = buckets.as<SlotLink>(Halyx::Layout::kBucketTableHeaderSize);
    for (std::uint32_t i = 0; i < table.elements; ++i) {
        heads[i] = SlotLink();
    }
    const std::uint32_t slotSize = slotSizeOf(table);
    const auto begin = static_cast<std::size_t>(Slots::slotArrayOffset(slotSize));
    const Mapped slots(table.directory + "/" + Slots::kSlotsFile, begin + std::size_t{slotSize} * table.elements);
    writeSlotHeader(table, slots);
    for (std::uint32_t i = 0; i < table.elements; ++i) {
        SlotLink& head = heads[mix(i) % table.elements];
        unsigned char* slot = slots.at(begin + std::size_t{slotSize} * i);
        std::memcpy(slot, &head, sizeof head);
        head = {head.tag + 1, static_cast<std::int32_t>(i)};
        if (table.dynamic) {
            const Plask::Layout::SlabOffset offset(i % kSlabs, i / kSlabs);
            std::memcpy(slot + Slots::kSlotValueOffset, &offset, sizeof offset);
        } else {
            for (std::uint32_t at = 0; at < table.valueSize; at += 8) {
                const std::uint64_t word = mix(std::uint64_t{i} + at);
                std::memcpy(slot + Slots::kSlotValueOffset + at, &word, sizeof word);
            }
        }
    }
    if (table.dynamic) {
        writeSlabs(table);
    }
}

std::uint64_t bareLoop(const Table& table, int out, bool lookAhead) {
    const Mapped buckets(table.directory + "/" + Halyx::Layout::kBucketsFile);
    const Mapped slots(table.directory + "/" + Slots::kSlotsFile);
    std::vector<Mapped*> slabs;
    for (unsigned slab = 0; table.dynamic && slab < kSlabs; ++slab) {
        slabs.push_back(new Mapped(slabPath(table, slab))); // lives as long as this process
    }
    const auto* heads = buckets.as<const SlotLink>(Halyx::Layout::kBucketTableHeaderSize);
    const std::uint32_t slotSize = slotSizeOf(table);
    const auto begin = static_cast<std::size_t>(Slots::slotArrayOffset(slotSize));
    const auto slotAt = [&](std::int32_t index) {
        return slots.at(begin + std::size_t{slotSize} * static_cast<std::uint32_t>(index));
    };
    const auto nextOf = [&](std::int32_t index) {
        SlotLink next;
        std::memcpy(&next, slotAt(index), sizeof next);
        return next.index;
    };
    const auto entryOf = [&](std::int32_t index) {
        Plask::Layout::SlabOffset offset;
        std::memcpy(&offset, slotAt(index) + Slots::kSlotValueOffset, sizeof offset);
        return slabs[offset.slab()]->at(Plask::Layout::kSlabHeaderSize +
                                        std::size_t{entrySizeOf(table)} * offset.index());
    };
    Text text(out);
    std::uint64_t elements = 0;
    for (std::uint32_t bucket = 0; bucket < table.elements; ++bucket) {
        if (lookAhead) {
            constexpr std::uint32_t first = 72;
            constexpr std::uint32_t second = 48;
            constexpr std::uint32_t third = 24;
            if (bucket + first < table.elements && heads[bucket + first].index >= 0) {
                __builtin_prefetch(slotAt(heads[bucket + first].index));
            }
            if (bucket + second < table.elements && heads[bucket + second].index >= 0) {
                const std::int32_t next = nextOf(heads[bucket + second].index);
                if (next >= 0) {
                    __builtin_prefetch(slotAt(next));
                }
                if (table.dynamic) {
                    __builtin_prefetch(entryOf(heads[bucket + second].index));
                    __builtin_prefetch(entryOf(heads[bucket + second].index) + entrySizeOf(table) - 1);
                }
            }
            if (bucket + third < table.elements && heads[bucket + third].index >= 0) {
                const std::int32_t next = nextOf(heads[bucket + third].index);
                if (next >= 0 && nextOf(next) >= 0) {
                    __builtin_prefetch(slotAt(nextOf(next)));
                }
            }
        }
        std::int32_t index = heads[bucket].index;
        if (index < 0) {
            continue;
        }
        text.add("bucket[");
        text.addHex(bucket);
        text.add("]");
        for (; index >= 0; index = nextOf(index), ++elements) {
            text.add(" ");
            text.addHex(static_cast<std::uint32_t>(index));
            text.add("-->");
            text.addBytes(table.dynamic ? entryOf(index) + Plask::Layout::kSlabEntryHeaderSize
                                        : slotAt(index) + Slots::kSlotValueOffset,
                          table.valueSize);
        }
        text.add(" 7fffffff --> none\n");
        text.drain(Text::kBlock);
    }
    text.drain(0);
    return elements;
}

} // namespace Bench
