#include "fuzz/Targets.h"
#include "fuzz/maps/ProcessFiles.h"
#include "fuzz/room/Pieces.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace Fuzz {

namespace {

/// A line's words and the blanks between them.
Pieces columnsOf(const std::string& text) {
    Pieces pieces;
    for (std::size_t begin = 0; begin < text.size();) {
        const bool blank = text[begin] == ' ';
        std::size_t end = begin + 1;
        while (end < text.size() && (text[end] == ' ') == blank && text[end] != '\n') {
            ++end;
        }
        pieces.push_back(text.substr(begin, end - begin));
        begin = end;
    }
    return pieces;
}

/// What a "/" ends.
Pieces componentsOf(const std::string& text) {
    Pieces pieces(1);
    for (const char byte : text) {
        pieces.back() += byte;
        if (byte == '/') {
            pieces.emplace_back();
        }
    }
    return pieces;
}

constexpr const char* kLines[] = {
    "7f0000-7f1000 r--s 00000000 00:13 12345                 @/c/slots\n",
    "7f0000-7f1000 rw-s 00000000 00:13 12345                 @/c/slots\n",
    "7f0000-7f1000 r--s 00000000 00:13 12345                 @/c/conquer.1\n",
    "7f0000-7f1000 r--s 00000000 00:13 12345                 @/c/fenix\n",
    "7f0000-7f1000 rw-s 00000000 00:13 12345                 @/d/e/fenix\n",
    "7f0000-7f1000 r--s 00000000 00:13 12345 @/d/e/slots (deleted)\n",
    "7f0000-7f1000 r--s 00000000 00:13 12345 slots\n",
    "7f0000-7f1000 r--s 00000000 00:13 12345 /slots\n",
    "7f0000-7f1000 rw-p 00000000 00:00 0 \n",
    "7f0000-7f1000 r-xp 00000000 00:00 0                          [vdso]\n",
    "ffffffffff600000-ffffffffff601000 --xp 00000000 00:00 0  [vsyscall]\n",
    "\n",
};
constexpr const char* kColumns[] = {
    " ",  "  ", "r--s",   "rw-s",  "-w-s",          "@/c/slots",     "@/c/fenix", "(deleted)",
    "\n", "\t", "[heap]", "r-xp|", "@/c/conquer.1", "@/c/conquer.2", "slots",     "@/a\\040b/slots"};
constexpr const char* kComponents[] = {"@/",   "c/",  "d/", "slots", "conquer.1", "fenix", "slotsslots",
                                       "lots", "../", "./", "/",     "\x1b[2J",   "|"};
constexpr Grain kMapGrains[] = {{linesOf, kLines}, {columnsOf, kColumns}, {componentsOf, kComponents}};
constexpr const char* kNames[] = {"/usr/bin/reader", "a b",     "/", " (deleted)", "\x1b[2J", "|", "x",
                                  "--name",          "\xc3\xa4"};
constexpr Grain kNameGrains[] = {{componentsOf, kNames}, {columnsOf, kNames}};

std::span<const Grain> grainsOf(unsigned char name) {
    return name % kKinds == kMaps ? std::span<const Grain>(kMapGrains) : std::span<const Grain>(kNameGrains);
}

/// One of the archive's files, or one that a process does not have yet.
unsigned char pick(const Archive& archive, Random& random) {
    if (archive.files.empty() || random.once(6)) {
        return static_cast<unsigned char>(random.below(std::size(kProcesses)) * kKinds + random.below(kKinds - 1));
    }
    return std::next(archive.files.begin(), static_cast<std::ptrdiff_t>(random.below(archive.files.size())))->first;
}

} // namespace

std::size_t mutateMaps(unsigned char* data, std::size_t size, std::size_t room, unsigned seed) {
    Random random(seed);
    Archive archive(Bytes(data, size));
    const unsigned char name = pick(archive, random);
    if (random.once(16)) {
        archive.files.erase(name);
    } else {
        std::string& text = archive.files[name];
        text = changeText(std::move(text), grainsOf(name), random);
        const auto process = static_cast<unsigned char>(name - name % kKinds);
        // A process without a name is passed over.
        archive.files.try_emplace(static_cast<unsigned char>(process + kExecutable), "/usr/bin/reader");
    }
    const std::size_t stored = archive.store(data, room);
    return stored != 0 ? stored : LLVMFuzzerMutate(data, size, room);
}

std::size_t crossMaps(Bytes one, Bytes other, unsigned char* out, std::size_t room, unsigned seed) {
    Random random(seed);
    Archive crossed(one);
    for (const auto& [name, text] : Archive(other).files) {
        if (random.once(2)) {
            std::string& mine = crossed.files[name];
            mine = random.once(2) ? text : crossText(mine, text, grainsOf(name), random);
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
