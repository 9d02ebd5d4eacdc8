// Lets the tool report on collections that processes change at full speed, for as long as one likes, and holds every element
// against a journal of what was true when. Status 0: nothing was found.

#include "soak/Runner.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <getopt.h>
#include <random>

namespace {

constexpr const char* kUsage =
    "halyx_soak [OPTIONS]\n"
    "  --seconds N      how long; default 5\n"
    "  --scenario NAME  static, dynamic, queues, restarts, or all of them in turn; default all\n"
    "  --round N        seconds until a new collection is begun; default 3\n"
    "  --seed N         of the random numbers; default: another one each time\n"
    "  --keep DIR       where to put what a faulty run printed; default: nowhere\n"
    "  --faults N       faulty runs after which it gives up; default 10\n"
    "  --tool PROGRAM   what to run in place of the tool of this build\n";

bool addScenario(Soak::Settings& settings, const char* name) {
    settings.scenarios.clear();
    for (const Soak::Scenario scenario : Soak::kScenarios) {
        if (std::strcmp(name, "all") == 0 || std::strcmp(name, Soak::nameOf(scenario)) == 0) {
            settings.scenarios.push_back(scenario);
        }
    }
    return !settings.scenarios.empty();
}

bool parse(int argc, char** argv, Soak::Settings& settings) {
    static const option options[] = {
        {"seconds", required_argument, nullptr, 't'}, {"scenario", required_argument, nullptr, 'n'},
        {"round", required_argument, nullptr, 'r'},   {"seed", required_argument, nullptr, 's'},
        {"faults", required_argument, nullptr, 'f'},  {"keep", required_argument, nullptr, 'k'},
        {"tool", required_argument, nullptr, 'p'},    {nullptr, 0, nullptr, 0}};
    addScenario(settings, "all");
    for (int letter = 0; (letter = ::getopt_long(argc, argv, "", options, nullptr)) != -1;) {
        switch (letter) {
        case 't':
            settings.seconds = std::atof(optarg);
            break;
        case 'n':
            if (!addScenario(settings, optarg)) {
                return false;
            }
            break;
        case 'r':
            settings.round = std::atof(optarg);
            break;
        case 's':
            settings.seed = static_cast<std::uint32_t>(std::strtoul(optarg, nullptr, 10));
            break;
        case 'f':
            settings.mostFaultyRuns = std::strtoull(optarg, nullptr, 10);
            break;
        case 'k':
            settings.keep = optarg;
            break;
        case 'p':
            settings.tool = optarg;
            break;
        default:
            return false;
        }
    }
    return optind == argc && settings.seconds > 0 && settings.round > 0;
}

} // namespace

int main(int argc, char** argv) {
    Soak::Settings settings;
    settings.tool = HALYX_BINARY;
    settings.seed = std::random_device{}();
    if (!parse(argc, argv, settings)) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    try {
        return Soak::Runner(settings).run() ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "halyx_soak: %s\n", error.what());
        return 2;
    }
}
