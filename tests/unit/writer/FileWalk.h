#pragma once

#include "Halyx/BucketTableLayout.h"
#include "Halyx/ConquerTableLayout.h"
#include "Halyx/FenixLayout.h"
#include "Halyx/SlotTableLayout.h"
#include "Plask/SlabLayout.h"
#include "fixtures/Bytes.h"
#include "fixtures/ScratchRoot.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <vector>

/// A collection's files as they are on disk at one moment, taken apart with the layouts alone: none of the writer's own code
/// is asked. What contradicts itself is a test's failure.
class FileWalk {
public:
    explicit FileWalk(std::string path) : path_(std::move(path)) {
        slots_ = Fixtures::readFile(path_ + "/slots");
        buckets_ = Fixtures::readFile(path_ + "/buckets");
        header_ = Fixtures::fromBytes<Halyx::Layout::SlotTableHeader>(slots_);
        bucketHeader_ = Fixtures::fromBytes<Halyx::Layout::BucketTableHeader>(buckets_);
        for (unsigned slab = 0; slab < Plask::Layout::kSlabCount; ++slab) {
            const std::string file = path_ + "/slab" + std::to_string(slab);
            if (Fixtures::exists(file)) {
                slabs_[slab] = Fixtures::readFile(file);
            }
        }
        checkHeaders();
        walk();
        checkFreeList();
    }

    [[nodiscard]] const Halyx::Layout::SlotTableHeader& header() const { return header_; }
    [[nodiscard]] const Halyx::Layout::BucketTableHeader& bucketHeader() const { return bucketHeader_; }
    [[nodiscard]] bool dynamic() const { return (header_.flags & Halyx::Layout::kSlotFlagDynamic) != 0; }
    /// Every value that a bucket leads to.
    [[nodiscard]] const std::vector<std::string>& values() const { return values_; }
    /// Slots to the buckets that lead to them.
    [[nodiscard]] const std::map<std::uint32_t, std::uint32_t>& bucketOfSlot() const { return bucketOfSlot_; }
    [[nodiscard]] std::string valueOfSlot(std::uint32_t slot) const { return value(slot); }

    [[nodiscard]] Halyx::SlotLink head(std::uint32_t bucket) const {
        return Fixtures::fromBytes<Halyx::SlotLink>(
            buckets_, Halyx::Layout::kBucketTableHeaderSize + std::size_t{Halyx::Layout::kBucketEntrySize} * bucket);
    }
    [[nodiscard]] Halyx::Layout::SlotRecord slot(std::uint32_t index) const {
        return Fixtures::fromBytes<Halyx::Layout::SlotRecord>(slots_, slotOffset(index));
    }
    /// Slab offsets that reachable slots hold.
    [[nodiscard]] const std::set<std::uint32_t>& slabOffsets() const { return slabOffsets_; }
    [[nodiscard]] Plask::Layout::SlabHeader slabHeader(unsigned number) const {
        return Fixtures::fromBytes<Plask::Layout::SlabHeader>(slabs_.at(number));
    }
    [[nodiscard]] const std::map<unsigned, std::string>& slabs() const { return slabs_; }

    /// Every link of the collection by its place, to be compared with a later walk.
    [[nodiscard]] std::map<std::string, Halyx::SlotLink> links() const {
        std::map<std::string, Halyx::SlotLink> all;
        for (std::uint32_t bucket = 0; bucket < bucketHeader_.numBuckets.value; ++bucket) {
            all["bucket " + std::to_string(bucket)] = head(bucket);
        }
        for (std::uint32_t index = 0; index < header_.numSlots.value; ++index) {
            all["slot " + std::to_string(index)] = slot(index).next;
        }
        return all;
    }

    /// What a writer that has closed its collection leaves: every slab entry in use is some element's.
    void expectNothingResting() const {
        std::uint32_t occupied = 0;
        for (const auto& [number, bytes] : slabs_) {
            occupied += slabHeader(number).numOccupied;
        }
        EXPECT_EQ(occupied, dynamic() ? values_.size() : 0);
    }

private:
    [[nodiscard]] std::size_t slotOffset(std::uint32_t index) const {
        return static_cast<std::size_t>(Halyx::Layout::slotArrayOffset(header_.slotSize)) +
               std::size_t{header_.slotSize} * index;
    }

    template <typename Field>
    static std::uint32_t hashOf(const Field& field) {
        return Fixtures::fnv1a(Fixtures::bytesOf(field));
    }

    void checkHeaders() const {
        EXPECT_EQ(header_.magic, Halyx::Layout::kSlotTableMagic);
        EXPECT_EQ(header_.version, Halyx::Layout::kSlotTableVersion);
        EXPECT_EQ(header_.platform, 1U);
        EXPECT_EQ(header_.hash, Fixtures::fnv1a(std::string(header_.valueType, 64)) +
                                    Fixtures::fnv1a(std::string(header_.classType, 64)) + hashOf(header_.valueSize) +
                                    hashOf(header_.slotSize) + hashOf(header_.maxSlots) + hashOf(header_.flags));
        EXPECT_LE(header_.occupiedSlots, header_.numSlots.value);
        EXPECT_LE(header_.numSlots.value, header_.mostSlots);
        EXPECT_LE(header_.numSlots.value, header_.maxSlots);
        EXPECT_GE(slots_.size(), slotOffset(header_.numSlots.value));

        EXPECT_EQ(bucketHeader_.magic, Halyx::Layout::kBucketTableMagic);
        EXPECT_EQ(bucketHeader_.version, Halyx::Layout::kBucketTableVersion);
        EXPECT_EQ(bucketHeader_.fenix, header_.fenix);
        EXPECT_GE(buckets_.size(), Halyx::Layout::kBucketTableHeaderSize +
                                       std::size_t{Halyx::Layout::kBucketEntrySize} * bucketHeader_.numBuckets.value);

        const auto fenix = Fixtures::fromBytes<Halyx::Layout::FenixFile>(Fixtures::readFile(path_ + "/fenix"));
        EXPECT_EQ(fenix.magic, Halyx::Layout::kFenixMagic);
        EXPECT_EQ(fenix.fenix, header_.fenix);
        EXPECT_NE(header_.fenix.instance(), 0);

        for (const auto& [number, bytes] : slabs_) {
            const auto slab = slabHeader(number);
            EXPECT_EQ(slab.magic, Plask::Layout::kSlabMagic);
            EXPECT_EQ(slab.version, Plask::Layout::kSlabVersion);
            EXPECT_EQ(slab.fenix, header_.fenix);
            EXPECT_EQ(slab.checksum, hashOf(slab.entrySize));
            EXPECT_EQ(slab.entrySize % 8, 0U);
            EXPECT_LE(slab.numOccupied, slab.numEntries.value);
            EXPECT_GE(bytes.size(),
                      Plask::Layout::kSlabHeaderSize + std::size_t{slab.entrySize} * slab.numEntries.value);
            std::uint32_t occupied = 0;
            for (std::uint32_t entry = 0; entry < slab.numEntries.value; ++entry) {
                const auto head = Fixtures::fromBytes<Plask::Layout::SlabEntry>(
                    bytes, Plask::Layout::kSlabHeaderSize + std::size_t{slab.entrySize} * entry);
                occupied += head.payloadSize >= 0 ? 1 : 0;
            }
            EXPECT_EQ(occupied, slab.numOccupied) << "slab " << number;
        }
    }

    [[nodiscard]] std::string value(std::uint32_t index) const {
        const std::size_t at = slotOffset(index) + Halyx::Layout::kSlotValueOffset;
        EXPECT_EQ(slot(index).state & 3U, 0U) << "slot " << index;
        if (!dynamic()) {
            return slots_.substr(at, header_.valueSize);
        }
        const Plask::Layout::SlabOffset offset(Fixtures::fromBytes<std::uint32_t>(slots_, at));
        const auto file = slabs_.find(offset.slab());
        if (file == slabs_.end() || offset.index() >= slabHeader(offset.slab()).numEntries.value) {
            ADD_FAILURE() << "slot " << index << " names slab " << offset.slab() << " entry " << offset.index();
            return {};
        }
        const std::size_t entry =
            Plask::Layout::kSlabHeaderSize + std::size_t{slabHeader(offset.slab()).entrySize} * offset.index();
        const auto head = Fixtures::fromBytes<Plask::Layout::SlabEntry>(file->second, entry);
        EXPECT_GE(head.payloadSize, 0);
        EXPECT_LE(head.payloadSize,
                  static_cast<std::int32_t>(slabHeader(offset.slab()).entrySize - Plask::Layout::kSlabEntryHeaderSize));
        return file->second.substr(entry + Plask::Layout::kSlabEntryHeaderSize,
                                   static_cast<std::size_t>(std::max(head.payloadSize, 0)));
    }

    void walk() {
        for (std::uint32_t bucket = 0; bucket < bucketHeader_.numBuckets.value; ++bucket) {
            std::int32_t index = head(bucket).index;
            while (index >= 0) {
                const auto at = static_cast<std::uint32_t>(index);
                if (at >= header_.numSlots.value || !bucketOfSlot_.emplace(at, bucket).second) {
                    ADD_FAILURE() << "bucket " << bucket << " leads to slot " << at << " wrongly";
                    return;
                }
                values_.push_back(value(at));
                if (dynamic()) {
                    const auto offset =
                        Fixtures::fromBytes<std::uint32_t>(slots_, slotOffset(at) + Halyx::Layout::kSlotValueOffset);
                    EXPECT_TRUE(slabOffsets_.insert(offset).second) << "two slots share " << offset;
                }
                index = slot(at).next.index;
            }
            EXPECT_EQ(index, Halyx::kEndOfChain);
        }
        EXPECT_EQ(values_.size(), header_.occupiedSlots);
    }

    /// All slots that no bucket leads to, and no other, are on the free list, once.
    void checkFreeList() const {
        std::set<std::uint32_t> seen;
        for (std::uint32_t index = header_.freeSlots; index != Halyx::Layout::kNoFreeSlot;) {
            if (index >= header_.numSlots.value || !seen.insert(index).second || bucketOfSlot_.count(index) != 0) {
                ADD_FAILURE() << "the free list has slot " << index;
                return;
            }
            const std::int32_t next = slot(index).next.index;
            index = next < 0 ? Halyx::Layout::kNoFreeSlot : static_cast<std::uint32_t>(next);
        }
        EXPECT_EQ(seen.size() + values_.size(), header_.numSlots.value);
    }

    std::string path_;
    std::string slots_;
    std::string buckets_;
    std::map<unsigned, std::string> slabs_;
    Halyx::Layout::SlotTableHeader header_{};
    Halyx::Layout::BucketTableHeader bucketHeader_{};
    std::vector<std::string> values_;
    std::map<std::uint32_t, std::uint32_t> bucketOfSlot_;
    std::set<std::uint32_t> slabOffsets_;
};
