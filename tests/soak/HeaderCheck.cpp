#include "soak/HeaderCheck.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <optional>
#include <string_view>
#include <vector>

namespace Soak {

namespace {

/// What stands behind each line's label, up to the line's end.
std::vector<std::string_view> behind(std::string_view text, std::string_view label) {
    std::vector<std::string_view> found;
    for (std::size_t at = text.find(label); at != std::string_view::npos; at = text.find(label, at)) {
        at += label.size();
        found.push_back(text.substr(at, text.find('\n', at) - at));
    }
    return found;
}

std::optional<std::uint64_t> number(std::string_view text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} ? std::optional(value) : std::nullopt;
}

/// One line "label" with a number in these bounds, behind the last ":" when it has one.
void checkNumber(const std::string& output, std::string_view label, std::uint64_t least, std::uint64_t most,
                 Faults& faults) {
    const auto lines = behind(output, label);
    std::optional<std::uint64_t> value;
    if (lines.size() == 1) {
        const std::size_t colon = lines[0].find(':');
        value = number(lines[0].substr(colon == std::string_view::npos ? 0 : colon + 1));
    }
    if (!value || *value < least || *value > most) {
        faults.add(Fault::Failed, "'" + std::string(label) + "' has not " + std::to_string(least) + " to " +
                                      std::to_string(most) + ":\n" + output);
    }
}

/// The incarnation whose writer alone is named as a client, views.size() when there is none. What a process was called is asked
/// after its map was read, so one that has ended meanwhile has no command.
std::size_t namedWriter(const std::string& block, const std::vector<View>& views, bool lived) {
    const std::string name = ::program_invocation_short_name;
    for (std::size_t i = 0; i < views.size(); ++i) {
        const std::string process = "-" + std::to_string(views[i].life->process) + "(" + name + ") ";
        for (const std::string& command : {name, std::string()}) {
            const std::string clients = "\nWriter: " + command + process + "\nShadow: \nKeyshadow: \nReader: \n";
            if ((command == name || !lived) && block.find(clients) != std::string::npos) {
                return i;
            }
        }
    }
    return views.size();
}

/// The fewest and most elements that there were.
std::pair<std::uint64_t, std::uint64_t> occupation(const View& view) {
    const std::uint64_t steps = view.to - view.from + (view.life->doubtful != 0 ? 1 : 0);
    const std::uint64_t there = view.life->occupied;
    return {there > steps ? there - steps : 0, there + steps};
}

} // namespace

Fates Fates::now(const Journal& journal) {
    const Journal::Counts& counts = journal.counts();
    return {counts.deaths.load(), counts.living.load()};
}

void checkHeaders(const std::string& output, const View& view, Faults& faults) {
    const auto fenixes = behind(output, "\tFenix: ");
    const std::string process = "(pid: " + std::to_string(view.life->process) + " ";
    if (fenixes.size() < 2 ||
        std::count(fenixes.begin(), fenixes.end(), fenixes[0]) != std::ptrdiff_t(fenixes.size()) ||
        fenixes[0].find(process) == std::string_view::npos) {
        faults.add(Fault::Invented,
                   "the headers are not all of process " + std::to_string(view.life->process) + ":\n" + output);
    }
    for (const char* const word : {"failed", "corrupt", "rror"}) {
        if (output.find(word) != std::string::npos) {
            faults.add(Fault::FalseCorruption, output);
        }
    }
    checkNumber(output, "\tNumBuckets: ", view.life->buckets, view.mostBuckets, faults);
    checkNumber(output, "\tMapped slots: ", view.life->slots, view.mostSlots, faults);
    const auto [least, most] = occupation(view);
    checkNumber(output, "\tOccupied slots: ", least, most, faults);
}

void checkClients(const std::string& output, const std::vector<View>& views, const ClientsMet& met, Faults& faults) {
    const Fates& before = met.before;
    const bool lived = before.living != Journal::kNobody && before.living != Journal::kComing &&
                       before.living == met.after.living && before.deaths == met.after.deaths;
    // Other tests have collections of their own on this machine.
    const std::string heading = "Halyx table \"" + met.path + "\"\n";
    const std::size_t begin = output.find(heading);
    if (begin == std::string::npos) {
        // Without a client it is left out where all are told of, if it has no queues.
        if (lived || !met.all) {
            faults.add(Fault::Unnamed, "nothing about " + met.path + ":\n" + output);
        }
        return;
    }
    if (output.find(heading, begin + 1) != std::string::npos) {
        faults.add(Fault::Unnamed, "told of twice:\n" + output);
    }
    const std::string block = output.substr(begin, output.find("\n\n", begin) + 1 - begin);
    std::size_t first = 0; // of the incarnations whose counts it can be
    if (block.find("\nClients: None\n") != std::string::npos) {
        if (lived) {
            faults.add(Fault::Unnamed, "process " + std::to_string(before.living) + " lived:\n" + block);
        }
    } else if (met.stopped) {
        faults.add(Fault::Unnamed, "no process lived:\n" + block);
    } else {
        first = namedWriter(block, views, lived);
        if (first == views.size() || (lived && views[first].life->process != before.living)) {
            faults.add(Fault::Unnamed,
                       (lived ? "process " + std::to_string(before.living) + " lived:\n" : "nobody's writer:\n") +
                           block);
            return;
        }
    }
    Faults best;
    for (std::size_t i = first; i < views.size(); ++i) {
        Faults counts;
        const auto [least, most] = occupation(views[i]);
        checkNumber(block, "Occupied slots: ", least, most, counts);
        if (i == first || counts.total() < best.total()) {
            best = std::move(counts);
        }
    }
    faults.add(best);
}

} // namespace Soak
