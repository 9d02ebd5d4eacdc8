// What nobody thought of: several changes at once, of bytes, words, lengths and whole files.

#include "hostile/CollectionFiles.h"
#include "hostile/Generator.h"

#include <array>
#include <random>

using namespace Fixtures;

namespace Hostile {

namespace {

/// Draws from one stream of numbers that follows from the case's seed.
class Dice {
public:
    explicit Dice(std::uint64_t seed) : random_(seed) {}
    std::uint64_t any() { return random_(); }
    std::size_t below(std::size_t limit) { return limit == 0 ? 0 : static_cast<std::size_t>(any() % limit); }
    bool oneIn(std::size_t n) { return below(n) == 0; }

    /// A word as a broken writer might leave it: near the truth, at an extreme, small, or anything.
    std::uint32_t word(std::uint32_t truth) {
        static constexpr std::array<std::uint32_t, 8> extremes = {0,          0xffffffff, 0x80000000, 0x7fffffff,
                                                                  0xfffffffe, 0x55555556, 0x15555555, 0x0aaaaaab};
        switch (below(5)) {
        case 0:
            return truth + static_cast<std::uint32_t>(below(17)) - 8;
        case 1:
            return extremes.at(below(extremes.size()));
        case 2:
            return static_cast<std::uint32_t>(below(40));
        case 3:
            return truth ^ (std::uint32_t{1} << below(32));
        default:
            return static_cast<std::uint32_t>(any());
        }
    }

    std::string noise(std::size_t size) {
        std::string bytes(size, '\0');
        for (char& c : bytes) {
            c = static_cast<char>(any());
        }
        return bytes;
    }

private:
    std::mt19937_64 random_;
};

/// A sound collection of a random shape.
CollectionBuilder randomBuilder(Dice& dice, Kind kind) {
    const auto buckets = static_cast<std::uint32_t>(1 + dice.below(12));
    const auto slots = static_cast<std::uint32_t>(1 + dice.below(20));
    CollectionBuilder builder(buckets, slots);
    builder.fillNumbers().conquer();
    builder.slotsHeader.occupiedSlots = static_cast<std::uint32_t>(dice.below(slots + 1));
    for (std::uint64_t i = dice.below(6); i > 0; --i) {
        builder.notify(static_cast<unsigned>(dice.below(2)), dice.any(), dice.word(3));
    }
    if (dice.oneIn(2)) {
        builder.activate(1);
    }
    if (dice.oneIn(3)) {
        builder.slotsHeader.flags &= ~Halyx::Layout::kSlotFlagConquer;
    }
    for (std::uint32_t slot = 0; slot < slots; ++slot) {
        if (dice.oneIn(6)) {
            builder.state(slot, dice.word(2));
        }
    }
    if (kind == Kind::Static) {
        return builder;
    }
    builder.dynamic().valueType("Payload", static_cast<std::uint32_t>(dice.below(100)));
    for (const unsigned slab : {0U, 3U}) {
        std::vector<std::optional<std::string>> payloads;
        const std::size_t most = dice.below(80);
        for (std::uint64_t entry = 1 + dice.below(8); entry > 0; --entry) {
            payloads.push_back(dice.oneIn(6) ? std::nullopt : std::optional(dice.noise(dice.below(most + 1))));
        }
        builder.slab(slab, static_cast<std::uint32_t>(8 + most + 4 * dice.below(3)), payloads);
    }
    for (std::uint32_t slot = 0; slot < slots; ++slot) {
        builder.offset(slot, dice.oneIn(3) ? 3 : 0, static_cast<std::uint32_t>(dice.below(5)));
    }
    return builder;
}

/// Changes one thing of one file and says what.
std::string change(Dice& dice, Files& files) {
    auto at = files.begin();
    std::advance(at, static_cast<std::ptrdiff_t>(dice.below(files.size())));
    auto& [name, bytes] = *at;
    switch (dice.below(12)) {
    case 0:
        bytes.resize(dice.below(bytes.size() + 20));
        return name + " cut";
    case 1: {
        const std::size_t offset = dice.below(bytes.size());
        bytes.insert(offset, dice.noise(1 + dice.below(8)));
        return name + " shifted";
    }
    case 2: {
        const std::size_t offset = dice.below(bytes.size());
        bytes.erase(offset, 1 + dice.below(8));
        return name + " closed up";
    }
    case 3: {
        const std::string noise = dice.noise(1 + dice.below(40));
        const std::size_t offset = dice.below(bytes.size());
        bytes.replace(offset, std::min(noise.size(), bytes.size() - offset), noise);
        return name + " noise";
    }
    case 4:
        if (dice.oneIn(4)) {
            bytes = dice.noise(dice.below(6000));
            return name + " all noise";
        }
        [[fallthrough]];
    default: {
        // Words of headers and links decide most: they are aligned, and near the beginning.
        const std::size_t words = bytes.size() / 4;
        const std::size_t offset =
            4 * (dice.oneIn(2) ? dice.below(std::min<std::size_t>(words, 60)) : dice.below(words));
        const std::uint32_t word = dice.word(wordAt(bytes, offset));
        storeWord(bytes, offset, word);
        return name + "[" + std::to_string(offset) + "]=" + std::to_string(word);
    }
    }
}

} // namespace

void makeRandom(std::uint64_t seed, const ScratchRoot& root, Case& made) {
    Dice dice(seed);
    const Kind kind = dice.oneIn(2) ? Kind::Static : Kind::Dynamic;
    Files files = dice.oneIn(3) ? soundFiles(kind) : filesOf(randomBuilder(dice, kind), kind);
    for (std::uint64_t changes = 1 + dice.below(8); changes > 0; --changes) {
        made.what += (made.what.empty() ? "" : ", ") + change(dice, files);
    }
    if (!dice.oneIn(3)) {
        fitChecksums(files);
        made.what += ", checksums made to fit";
    }
    if (dice.oneIn(12)) {
        auto gone = files.begin();
        std::advance(gone, static_cast<std::ptrdiff_t>(dice.below(files.size())));
        made.what += ", no " + gone->first;
        files.erase(gone);
    }
    writeFiles(root, "c", files);
}

} // namespace Hostile
