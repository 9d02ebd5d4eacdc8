// Stands in for the tool in the soak's own tests: runs it, and spoils its output as SOAK_SPOIL says, in every fourth run or
// so that can be spoilt that way. What the soak then finds must be that fault, and no other.

#include "fixtures/Process.h"
#include "soak/Value.h"

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Soak::Style;

/// An element in a bucket's line of plain text.
struct Place {
    std::size_t slot;  ///< where its slot stands, behind the blank
    std::size_t value; ///< where its value's text stands
    std::size_t end;   ///< of the value's text
};

/// Every element behind the last line that says that the walk began again.
std::vector<Place> elements(const std::string& text) {
    std::vector<Place> found;
    const std::size_t again = text.rfind("Resize detected");
    for (std::size_t arrow = text.find("-->", again == std::string::npos ? 0 : again); arrow != std::string::npos;
         arrow = text.find("-->", arrow + 3)) {
        if (text[arrow - 1] == ' ') {
            continue; // the end of a chain
        }
        const std::size_t value = arrow + (text[arrow + 3] == '*' ? 4 : 3);
        found.push_back({text.rfind(' ', arrow) + 1, value, text.find(' ', value)});
    }
    return found;
}

/// Ends the walk at some line, as if a slab file had gone with its incarnation.
void cut(Fixtures::Outcome& outcome, std::mt19937& random) {
    outcome.out.resize(outcome.out.find("Lookaside hits: "));
    outcome.out.resize(outcome.out.rfind('\n', random() % outcome.out.size()) + 1);
    outcome.err =
        std::string("halyx: SlabReader-7-?::attach() ") + std::getenv("Q7_CHROOT") +
        "/var/shmem/halyxes/soak/slab7 is gone: a new incarnation took the collection's place, or it was removed\n";
    outcome.status = 1;
}

/// Names nobody where somebody was named, and a process that never was the writer where nobody was.
void spoilClients(std::string& text) {
    const std::size_t nobody = text.find("Clients: None\n");
    if (nobody != std::string::npos) {
        text.resize(nobody);
        text += "Writer: halyx_soak-1(halyx_soak) \nShadow: \nKeyshadow: \nReader: \n\n";
    } else {
        text.resize(text.find("Writer: "));
        text += "Clients: None\n\n";
    }
}

bool spoil(Fixtures::Outcome& outcome, const std::string& how, bool dynamic, std::mt19937& random) {
    std::string& text = outcome.out;
    const std::vector<Place> all = elements(text);
    if (all.empty()) {
        return false;
    }
    const Place& place = all[random() % all.size()];
    const std::string whole = " " + text.substr(place.slot, place.end - place.slot);
    if (how == "torn") {
        // One digit of the filler, if it has any.
        const std::size_t filler = place.value + 2 * std::size_t{Soak::kHeadBytes};
        if (place.end <= filler) {
            return false;
        }
        char& digit = text[filler + random() % (place.end - filler)];
        digit = digit == '0' ? '1' : '0';
    } else if (how == "invented") {
        std::string value;
        Soak::appendText(value, Style::Plain, random() % 8, (std::uint64_t{1} << 40) + random() % 1000, dynamic);
        text.insert(place.end, " " + text.substr(place.slot, place.value - place.slot) + value);
    } else if (how == "duplicated") {
        text.insert(place.end, whole);
    } else if (how == "missing") {
        text.erase(place.slot - 1, whole.size());
    } else if (how == "misplaced") {
        char& digit = text[place.slot];
        digit = digit == '7' ? '6' : '7';
    } else if (how == "failed") {
        cut(outcome, random);
    } else if (how == "false corruption") {
        constexpr std::string_view end = " 7fffffff --> none\n";
        text.replace(text.find(end, place.end), end.size(),
                     " --> [corrupted] SlotReaderGenericTable::getSlot() out-of-range index:99 numSlots:16\n");
    } else {
        std::fprintf(stderr, "spoil: '%s'?\n", how.c_str());
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    Fixtures::Process process(HALYX_BINARY, arguments);
    for (const char* const name : {"Q7_CHROOT", "HALYX_TYPE_PATH"}) {
        process.environment(name, std::getenv(name));
    }
    Fixtures::Outcome outcome = process.run();
    std::mt19937 random(std::random_device{}());
    const std::string how = std::getenv("SOAK_SPOIL");
    // A plain walk without options, or the report on one collection's clients, and nothing else.
    if (how == "unnamed") {
        if (arguments[0] == "-w" && random() % 4 == 0) {
            spoilClients(outcome.out);
        }
    } else if (arguments.size() == 1 && arguments[0] != "-a" && random() % 4 == 0) {
        spoil(outcome, how, std::getenv("SOAK_DYNAMIC")[0] == '1', random);
    }
    std::fwrite(outcome.out.data(), 1, outcome.out.size(), stdout);
    std::fwrite(outcome.err.data(), 1, outcome.err.size(), stderr);
    return outcome.signal != 0 ? 128 + outcome.signal : outcome.status;
}
