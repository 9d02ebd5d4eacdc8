// Sound headers over broken contents: links, states, payloads, slab offsets and names.

#include "hostile/CollectionFiles.h"
#include "hostile/Generator.h"

#include <algorithm>
#include <array>
#include <cstring>

using namespace Fixtures;

namespace Hostile {

namespace {

constexpr std::uint32_t kSlots = 6;
constexpr std::uint32_t kBuckets = 4;
constexpr std::array<std::int32_t, 24> kLinks = {-1,
                                                 0,
                                                 1,
                                                 2,
                                                 3,
                                                 4,
                                                 5,
                                                 6,
                                                 7,
                                                 1000,
                                                 0x7ffffffe,
                                                 0x7fffffff,
                                                 -2,
                                                 -3,
                                                 static_cast<std::int32_t>(0x80000000U),
                                                 static_cast<std::int32_t>(0x80000001U),
                                                 static_cast<std::int32_t>(0x80000003U),
                                                 static_cast<std::int32_t>(0x80000004U),
                                                 static_cast<std::int32_t>(0x80000005U),
                                                 static_cast<std::int32_t>(0xc0000000U),
                                                 0x40000000,
                                                 0x0aaaaaab,
                                                 0x10000000,
                                                 0x00ffffff};

std::string link(std::int32_t index) {
    return std::to_string(index);
}

void write(const ScratchRoot& root, Case& made, const CollectionBuilder& builder, Kind kind, const std::string& what) {
    made.what = what;
    writeFiles(root, "c", filesOf(builder, kind));
}

/// One head and one link inside a chain, each at every index worth trying: loops, crossings and ways out.
void addLinks(std::vector<Group>& groups, Kind kind) {
    groups.push_back(
        {"links", (kBuckets + kSlots) * kLinks.size(), [=](std::size_t i, const ScratchRoot& root, Case& made) {
             CollectionBuilder builder = soundBuilder(kind);
             const auto place = static_cast<std::uint32_t>(i / kLinks.size());
             const std::int32_t to = kLinks.at(i % kLinks.size());
             if (place < kBuckets) {
                 builder.head(place, to);
                 write(root, made, builder, kind,
                       "head of bucket " + link(static_cast<int>(place)) + " leads to " + link(to));
             } else {
                 builder.next(place - kBuckets, to);
                 write(root, made, builder, kind, "slot " + std::to_string(place - kBuckets) + " leads to " + link(to));
             }
         }});
}

/// Every pair of links of a chain of four, among four slots and two ways out.
void addShapes(std::vector<Group>& groups) {
    constexpr std::uint64_t kEnds = 6;
    groups.push_back({"chains", kEnds * kEnds * kEnds * kEnds, [=](std::size_t i, const ScratchRoot& root, Case& made) {
                          static constexpr std::array<std::int32_t, kEnds> to = {0, 1, 2, 3, -1, 6};
                          CollectionBuilder builder = soundBuilder(Kind::Static);
                          std::string what = "all heads lead to slot 0, slots 0 to 3 lead to";
                          for (std::uint32_t bucket = 0; bucket < kBuckets; ++bucket) {
                              builder.head(bucket, 0);
                          }
                          for (std::uint32_t slot = 0; slot < 4; ++slot, i /= kEnds) {
                              builder.next(slot, to.at(i % kEnds));
                              what += " " + link(to.at(i % kEnds));
                          }
                          write(root, made, builder, Kind::Static, what);
                      }});
}

/// Circles of many slots, which a walk without an idea would follow for ever in every bucket.
void addCircles(std::vector<Group>& groups) {
    static constexpr std::array<std::uint32_t, 8> kSizes = {1, 2, 3, 7, 64, 511, 3000, 10000};
    static constexpr std::uint32_t kMostShared = 1000;
    groups.push_back({"circles", kSizes.size() * 4, [=](std::size_t i, const ScratchRoot& root, Case& made) {
                          const bool every = (i & 1) != 0;
                          // What is printed grows with the square where every bucket runs into the circle.
                          const std::uint32_t size = every ? std::min(kSizes.at(i / 4), kMostShared) : kSizes.at(i / 4);
                          const std::uint32_t back = (i & 2) != 0 ? size / 2 : 0;
                          CollectionBuilder builder(every ? size : 1, size);
                          std::vector<std::int32_t> all;
                          for (std::uint32_t slot = 0; slot < size; ++slot) {
                              all.push_back(static_cast<std::int32_t>(slot));
                              if (every) {
                                  builder.head(slot, static_cast<std::int32_t>(slot));
                              }
                          }
                          builder.chain(0, all, static_cast<std::int32_t>(back)).conquer();
                          write(root, made, builder, Kind::Static,
                                "a circle of " + std::to_string(size) + " slots, back to " + std::to_string(back) +
                                    (every ? ", with a bucket for each" : ""));
                      }});
}

/// Values that fill most of the files, met again and again while the circle is looked for; or the same few in every slot.
void addLargeCircles(std::vector<Group>& groups) {
    static constexpr std::array<std::uint32_t, 5> kSizes = {1, 2, 3, 7, 40};
    static constexpr std::uint32_t kValueSize = 2000;
    groups.push_back(
        {"circles of large values", kSizes.size() * 4, [](std::size_t i, const ScratchRoot& root, Case& made) {
             const std::uint32_t size = kSizes.at(i / 4);
             const bool shared = (i & 1) != 0;
             const std::uint32_t back = (i & 2) != 0 ? size / 2 : 0;
             CollectionBuilder builder(1, 4 * size);
             builder.dynamic().valueType("Payload", kValueSize).slotSize(24);
             std::vector<std::int32_t> all;
             std::vector<std::optional<std::string>> payloads;
             for (std::uint32_t slot = 0; slot < size; ++slot) {
                 all.push_back(static_cast<std::int32_t>(slot));
                 payloads.emplace_back(std::string(kValueSize, static_cast<char>('A' + slot)));
                 builder.offset(slot, 0, shared ? 0 : slot);
             }
             payloads.resize(shared ? 1 : size);
             builder.chain(0, all, static_cast<std::int32_t>(back)).slab(0, kValueSize + 8, payloads);
             builder.slab(3, kValueSize + 8, {std::string(kValueSize, 'z')}).conquer();
             write(root, made, builder, Kind::Dynamic,
                   "a circle of " + std::to_string(size) + " large values, back to " + std::to_string(back) +
                       (shared ? ", all of one entry" : ""));
         }});
}

void addPayloads(std::vector<Group>& groups) {
    static constexpr std::array<std::uint32_t, 16> kSizes = {
        0, 1, 4, 31, 32, 33, 63, 64, 65, 72, 4096, 0x7fffffff, 0x80000000, 0x80000001, 0xffffffff, 0xffffffc0};
    groups.push_back({"payload sizes", kSizes.size() * 6, [](std::size_t i, const ScratchRoot& root, Case& made) {
                          Files files = soundFiles(Kind::Dynamic);
                          const std::size_t entry = i / kSizes.size();
                          const std::uint32_t size = kSizes.at(i % kSizes.size());
                          const std::string slab = entry < 4 ? "slab0" : "slab3";
                          storeWord(files[slab], entry < 4 ? 40 + 72 * entry : 40 + 40 * (entry - 4), size);
                          made.what = slab + " entry " + std::to_string(entry % 4) + " has a payload of " +
                                      std::to_string(size);
                          writeFiles(root, "c", files);
                      }});
}

void addOffsets(std::vector<Group>& groups) {
    static constexpr std::array<std::uint32_t, 6> kIndices = {0, 1, 3, 4, 5, 0x7ffffff};
    groups.push_back({"slab offsets", 32 * kIndices.size() * 2, [](std::size_t i, const ScratchRoot& root, Case& made) {
                          CollectionBuilder builder = soundBuilder(Kind::Dynamic);
                          const bool lookaside = i % 2 != 0;
                          const auto slab = static_cast<unsigned>(i / 2 % 32);
                          const std::uint32_t index = kIndices.at(i / 64);
                          const Plask::Layout::SlabOffset offset(slab, index);
                          if (lookaside) {
                              builder.lookaside(bytesOf(offset));
                          } else {
                              builder.offset(3, slab, index);
                          }
                          write(root, made, builder, Kind::Dynamic,
                                std::string(lookaside ? "the lookaside value" : "slot 3") + " is entry " +
                                    std::to_string(index) + " of slab " + std::to_string(slab));
                      }});
}

/// Names in the slot table's header: every byte in the middle and at the end of the field, and names that would lead astray.
void addNames(std::vector<Group>& groups) {
    groups.push_back({"bytes of names", 256 * 4, [](std::size_t i, const ScratchRoot& root, Case& made) {
                          CollectionBuilder builder = soundBuilder(Kind::Static);
                          const bool whole = (i & 1) != 0;
                          char* field = (i & 2) != 0 ? builder.slotsHeader.classType : builder.slotsHeader.valueType;
                          const auto byte = static_cast<char>(i / 4);
                          std::memset(field, whole ? byte : 'x', 64);
                          field[whole ? 63 : 1] = byte;
                          write(root, made, builder, Kind::Static,
                                std::string((i & 2) != 0 ? "classType" : "valueType") + " with the byte " +
                                    std::to_string(i / 4) + (whole ? " throughout" : " and no end"));
                      }});
    static const std::vector<std::string> names = {"",
                                                   "\x1b[2J\x1b]0;title\x07",
                                                   "\x9b"
                                                   "31m",
                                                   "../../../../etc/passwd",
                                                   "/etc/passwd",
                                                   ".hidden",
                                                   ".",
                                                   "..",
                                                   "U64\n",
                                                   " U64",
                                                   "U64 ",
                                                   "char[4294967295]",
                                                   "char[-1]",
                                                   "char[0]",
                                                   "char[8",
                                                   "char[99999999999999999999]",
                                                   "double",
                                                   "float",
                                                   "bool",
                                                   "%s%n%x",
                                                   "\"\\",
                                                   "\xe2\x80\xae",
                                                   "\xc2\x9b",
                                                   "\r\nU64"};
    groups.push_back({"names", names.size() * 2, [](std::size_t i, const ScratchRoot& root, Case& made) {
                          CollectionBuilder builder = soundBuilder(Kind::Static);
                          const std::string& name = names.at(i / 2);
                          char* field = i % 2 == 0 ? builder.slotsHeader.valueType : builder.slotsHeader.classType;
                          std::memset(field, 0, 64);
                          std::memcpy(field, name.data(), name.size());
                          write(root, made, builder, Kind::Static,
                                "a name that leads astray, " + std::to_string(i / 2));
                      }});
}

} // namespace

void addContentGroups(std::vector<Group>& groups) {
    addLinks(groups, Kind::Static);
    addLinks(groups, Kind::Dynamic);
    addShapes(groups);
    addCircles(groups);
    addPayloads(groups);
    addOffsets(groups);
    addNames(groups);
    addLargeCircles(groups);
}

} // namespace Hostile
