#include "Settings.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string_view>

namespace Bench {

namespace {

[[noreturn]] void usage(const std::vector<std::string>& topics, std::FILE* to, int status) {
    std::string names;
    for (const std::string& topic : topics) {
        names += topic + "|";
    }
    std::fprintf(to,
                 "Usage: halyx_bench [OPTION...] [TOPIC...]\n"
                 "TOPIC, one of %sall (default all)\n"
                 "  --rounds N            rounds of every measurement (default 5)\n"
                 "  --elements N[,N...]   sizes of collections and queues (default: each topic's own)\n"
                 "  --processes N         processes among which clients are looked for (default 1000, at most 4000)\n"
                 "  --collections N       collections among which one is looked up (default 10000)\n"
                 "  --dir DIR             where collections and stores are made (default /dev/shm)\n"
                 "  --markdown FILE       writes the figures to FILE as Markdown, too\n"
                 "  --verify              first compares what is printed with what the bare loops print\n"
                 "  --quick               two rounds of small sizes: shows that everything works, measures nothing\n",
                 names.c_str());
    std::exit(status);
}

[[noreturn]] void refuse(const std::string& what) {
    std::fprintf(stderr, "halyx_bench: %s; --help tells more\n", what.c_str());
    std::exit(2);
}

template <typename Number>
Number number(std::string_view option, std::string_view text, Number most) {
    Number value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < 1 || value > most) {
        refuse(std::string(option) + " does not take '" + std::string(text) + "'");
    }
    return value;
}

std::vector<std::uint32_t> numbers(std::string_view option, std::string_view text) {
    // Slot indexes are signed.
    constexpr std::uint32_t most = std::numeric_limits<std::int32_t>::max();
    std::vector<std::uint32_t> values;
    for (std::size_t comma = 0; comma != std::string_view::npos;) {
        comma = text.find(',');
        values.push_back(number(option, text.substr(0, comma), most));
        text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
    }
    return values;
}

} // namespace

Settings parse(int argc, char** argv, const std::vector<std::string>& topics) {
    constexpr int mostRounds = 1000;
    constexpr int mostProcesses = 4000;
    constexpr int mostCollections = 1000000;
    Settings settings;
    bool roundsGiven = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view name = argv[i];
        if (name == "--help") {
            usage(topics, stdout, 0);
        }
        if (name == "--quick") {
            settings.quick = true;
            continue;
        }
        if (name == "--verify") {
            settings.verify = true;
            continue;
        }
        if (name.substr(0, 1) != "-") {
            if (name != "all" && std::find(topics.begin(), topics.end(), name) == topics.end()) {
                refuse("there is no topic '" + std::string(name) + "'");
            }
            settings.topics.emplace_back(name);
            continue;
        }
        if (i + 1 == argc) {
            refuse(std::string(name) + " is not an option, or lacks its value");
        }
        const std::string_view value = argv[++i];
        if (name == "--rounds") {
            settings.rounds = number(name, value, mostRounds);
            roundsGiven = true;
        } else if (name == "--elements") {
            settings.elements = numbers(name, value);
        } else if (name == "--processes") {
            settings.processes = number(name, value, mostProcesses);
        } else if (name == "--collections") {
            settings.collections = number(name, value, mostCollections);
        } else if (name == "--dir") {
            settings.directory = value;
        } else if (name == "--markdown") {
            settings.markdown = value;
        } else {
            refuse("there is no option " + std::string(name));
        }
    }
    if (settings.topics.empty() ||
        std::find(settings.topics.begin(), settings.topics.end(), "all") != settings.topics.end()) {
        settings.topics = topics;
    }
    if (settings.quick) {
        settings.rounds = roundsGiven ? settings.rounds : 2;
        settings.processes = std::min(settings.processes, 50);
        settings.collections = std::min(settings.collections, 500);
    }
    return settings;
}

} // namespace Bench
