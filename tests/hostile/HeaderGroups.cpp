// Every byte, every word and every length of every file.

#include "hostile/CollectionFiles.h"
#include "hostile/Generator.h"

#include <array>

using namespace Fixtures;

namespace Hostile {

namespace {

/// What a byte becomes.
struct ByteChange {
    const char* name;
    unsigned char mask;
    unsigned char value; ///< new byte: (old & mask) ^ value
};
constexpr std::array<ByteChange, 5> kByteChanges = {{{"lowest bit flipped", 0xff, 0x01},
                                                     {"highest bit flipped", 0xff, 0x80},
                                                     {"all bits flipped", 0xff, 0xff},
                                                     {"set to 0", 0, 0},
                                                     {"set to ff", 0, 0xff}}};

/// What a word becomes. Some of the numbers make a size wrap: 12, 24 and 72 times as much is little in 32 bits.
constexpr std::array<std::uint32_t, 18> kWords = {
    0,          1,          2,          0xffffffff, 0xfffffffe, 0x7fffffff, 0x80000000, 0x80000001, 0x40000000,
    0x15555550, 0x55555556, 0x0aaaaaab, 0x038e38e4, 0x20000000, 0x08000000, 0xffffff38, 0x00010000, 0x00001000};
constexpr std::size_t kWordChanges = kWords.size() + 4; // and the true value -1, +1, -8, +8

std::uint32_t changedWord(std::uint32_t word, std::size_t change) {
    switch (change) {
    case 0:
        return word - 1;
    case 1:
        return word + 1;
    case 2:
        return word - 8;
    case 3:
        return word + 8;
    default:
        return kWords.at(change - 4);
    }
}

void write(const ScratchRoot& root, Case& made, Files files, bool fitted, const std::string& what) {
    if (fitted) {
        fitChecksums(files);
    }
    made.what = what + (fitted ? ", checksums made to fit" : "");
    writeFiles(root, "c", files);
}

void addBytes(std::vector<Group>& groups, Kind kind, const std::string& file, std::size_t size, bool fitted) {
    groups.push_back(
        {"byte of " + file, size * kByteChanges.size(), [=](std::size_t i, const ScratchRoot& root, Case& made) {
             const ByteChange& change = kByteChanges.at(i % kByteChanges.size());
             const std::size_t offset = i / kByteChanges.size();
             Files files = soundFiles(kind);
             auto byte = static_cast<unsigned char>(files[file].at(offset));
             byte = static_cast<unsigned char>((byte & change.mask) ^ change.value);
             files[file][offset] = static_cast<char>(byte);
             write(root, made, files, fitted, file + " byte " + std::to_string(offset) + " " + change.name);
         }});
}

void addWords(std::vector<Group>& groups, Kind kind, const std::string& file, std::size_t size, bool fitted) {
    groups.push_back(
        {"word of " + file, size / 4 * kWordChanges, [=](std::size_t i, const ScratchRoot& root, Case& made) {
             const std::size_t offset = i / kWordChanges * 4;
             Files files = soundFiles(kind);
             const std::uint32_t word = changedWord(wordAt(files[file], offset), i % kWordChanges);
             storeWord(files[file], offset, word);
             write(root, made, files, fitted,
                   file + " word at " + std::to_string(offset) + " set to " + std::to_string(word));
         }});
}

/// Lengths from 0 to the whole file, and past it up to what a page and 4 bytes more hold.
void addLengths(std::vector<Group>& groups, Kind kind, const std::string& file, std::size_t size) {
    static constexpr std::array<std::size_t, 9> kLonger = {1, 4, 8, 12, 24, 100, 4095, 4096, 4100};
    groups.push_back(
        {"length of " + file, size + kLonger.size(), [=](std::size_t i, const ScratchRoot& root, Case& made) {
             Files files = soundFiles(kind);
             files[file].resize(i < size ? i : size + kLonger.at(i - size), '\xee');
             write(root, made, files, false, file + " is " + std::to_string(files[file].size()) + " bytes long");
         }});
}

} // namespace

void addHeaderGroups(std::vector<Group>& groups) {
    for (const Kind kind : {Kind::Static, Kind::Dynamic}) {
        for (const auto& [file, bytes] : soundFiles(kind)) {
            if (kind == Kind::Dynamic && file != "slots" && file.rfind("slab", 0) != 0) {
                continue; // the same as in the static kind
            }
            addBytes(groups, kind, file, bytes.size(), false);
            addWords(groups, kind, file, bytes.size(), false);
            addLengths(groups, kind, file, bytes.size());
            if (file == "slots") {
                addBytes(groups, kind, file, Halyx::Layout::kSlotTableHeaderSize, true);
                addWords(groups, kind, file, Halyx::Layout::kSlotTableHeaderSize, true);
            } else if (file.rfind("slab", 0) == 0) {
                addBytes(groups, kind, file, Plask::Layout::kSlabHeaderSize, true);
                addWords(groups, kind, file, Plask::Layout::kSlabHeaderSize, true);
            }
        }
    }
}

} // namespace Hostile
