#include "live/ChangeWords.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace ChangeWords {

namespace {

/// What may be said where bytes go but never change, and which of its numbers tell how much a file has and where its reader needed
/// more: that one is greater, or as great where it is the offset of a byte.
struct Shortage {
    const char* kind;
    int has = -1;
    int needs = -1;
    bool offset = false;
};

constexpr Shortage kShortages[] = {
    {kUnreadable, 1, 0, true},
    {"SlotReaderGeneric::doResize() requesting to map @ # slots. Requested file resize to # but real file size is #", 2,
     1},
    {"SlotReaderGeneric::doResize() header validation failed. Reason: SlotTable::Header::validate() bad shmem size:# "
     "wanted:# for # slots",
     0, 1},
    {"BucketReader::doResize() requesting to map @ # buckets. Requested file resize to # but real file size is #", 2,
     1},
    {"ConquerReaderGeneric::resizeConquer() requesting to map @ # conquer notifications. Requested file resize to # "
     "but real file size is #",
     2, 1},
    {"SlabReader-#-?::attach() no shared memory region"},
    {"SlabReader-#-?::attach() cannot attach to shmem size:#"},
    {"SlabReader-#-#::validate() failed: SlabHeader::validate() bad shmem size: # wanted: # for # entries", 2, 3},
    {"SlabReader-#-#::doResize() bad shmem size:# wanted:#", 2, 3},
    {"SlotTable::Header::validate() bad shmem size:# wanted:# for # slots", 0, 1},
    {"BucketTable::Header::validate() bad shmem size:# wanted:# for # buckets", 0, 1},
    {"ConquerTable::validate() bad shmem size:# wanted:# for # notifications", 0, 1},
};

/// What a reason may begin with where bytes become zeros.
constexpr const char* kSources[] = {"Mem::Shared::checkRead() cannot read @ ",
                                    "Mem::View::",
                                    "HalyxReaderGeneric::scan() chain does not end, link: ",
                                    "HalyxReaderGeneric::scan() values of one chain have: ",
                                    "SlotReaderGenericTable::",
                                    "SlotReaderGeneric::",
                                    "SlotReader::",
                                    "SlabReader-#-",
                                    "BucketReader::",
                                    "BucketReaderTable::",
                                    "ConquerReaderGeneric::",
                                    "HalyxTest::",
                                    "SlotTable::",
                                    "BucketTable::",
                                    "ConquerTable::"};

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// The kind of a text, and the numbers in it.
std::string reduce(const std::string& text, const std::string& path, std::vector<std::uint64_t>& numbers) {
    std::string kind;
    for (std::size_t at = 0; at < text.size();) {
        if (text.compare(at, path.size(), path) == 0) {
            kind += '@';
            at = std::min(text.find(' ', at), text.size());
        } else if (isDigit(text[at])) {
            numbers.push_back(0);
            for (; at < text.size() && isDigit(text[at]); ++at) {
                numbers.back() = numbers.back() * 10 + static_cast<unsigned>(text[at] - '0');
            }
            kind += '#';
        } else {
            kind += text[at++];
        }
    }
    return kind;
}

/// Takes `prefix` off the front.
bool strip(std::string& text, const std::string& prefix) {
    if (text.compare(0, prefix.size(), prefix) != 0) {
        return false;
    }
    text.erase(0, prefix.size());
    return true;
}

} // namespace

std::string kindOfReason(const std::string& reason, const std::string& path, Zeros zeros) {
    std::vector<std::uint64_t> numbers;
    const std::string kind = reduce(reason, path, numbers);
    if (zeros == Zeros::Sometimes) {
        return std::any_of(std::begin(kSources), std::end(kSources),
                           [&](const char* source) { return kind.rfind(source, 0) == 0; })
                   ? kind
                   : "";
    }
    for (const Shortage& shortage : kShortages) {
        if (kind == shortage.kind) {
            if (shortage.has < 0) {
                return kind;
            }
            const std::uint64_t has = numbers.at(static_cast<unsigned>(shortage.has));
            const std::uint64_t needs = numbers.at(static_cast<unsigned>(shortage.needs));
            return has < needs || (shortage.offset && has == needs) ? kind : "";
        }
    }
    return {};
}

std::string kindOfLine(const std::string& line, const std::string& name, const std::string& path, Zeros zeros) {
    for (const std::string& whole :
         {std::string("No table was found."), "Error attaching to Halyx " + name,
          "Error attaching Halyx reader for " + name, "Error attaching Conquer reader for " + name}) {
        if (line == whole) {
            return line;
        }
    }
    std::string reason = line;
    if (strip(reason, "halyx: ") || strip(reason, "Halyx " + path + " validation failed: ")) {
        return kindOfReason(reason, path, zeros);
    }
    return {};
}

} // namespace ChangeWords
