// usage: halyx_hostile [[--first I] --count N | --stride K --random N | --only INDEX] [--seed N] [--jobs N] [--binary PATH]
//                      [--seconds S] [--memory MIB] [--list]
//
// Puts --count broken collections through every report of the tool, from number --first on: the systematic ones come first,
// then random ones without end; or every K-th systematic one and N random ones. A case follows from the seed and its index:
// --only repeats one and keeps its directory. The exit status is 1 when any run went wrong.

#include "fixtures/ReachableProgram.h"
#include "hostile/Generator.h"
#include "hostile/Judge.h"
#include "hostile/Oracle.h"
#include "hostile/Place.h"
#include "hostile/Tally.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <optional>
#include <random>
#include <thread>
#include <unistd.h>

using namespace Hostile;

namespace {

struct Settings {
    std::string binary = HALYX_BINARY;
    std::uint64_t seed = std::random_device{}();
    std::uint64_t first = 0;
    std::uint64_t count = 100000;
    std::uint64_t stride = 0; ///< 0: as many as --count says
    std::uint64_t random = 0;
    std::optional<std::uint64_t> only;
    unsigned jobs = std::max(1U, std::thread::hardware_concurrency());
    Limits limits;
    bool list = false;
};

volatile std::sig_atomic_t stopped = 0;
void stop(int) {
    stopped = 1;
}

std::uint64_t number(const char* text) {
    char* end = nullptr;
    const unsigned long long value = std::strtoull(text, &end, 10);
    if (end == text || *end != '\0') {
        throw std::invalid_argument(std::string("not a number: ") + text);
    }
    return value;
}

Settings parse(int argc, char** argv) {
    Settings settings;
    if (std::strlen(HALYX_SANITIZE) > 0) {
        settings.limits.memoryMiB = 1024; // shadow memory and quarantine are counted as well
    }
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--list") {
            settings.list = true;
            continue;
        }
        if (i + 1 == argc) {
            throw std::invalid_argument("an argument is missing: " + option);
        }
        const char* const value = argv[++i];
        if (option == "--binary") {
            settings.binary = value;
        } else if (option == "--seed") {
            settings.seed = number(value);
        } else if (option == "--first") {
            settings.first = number(value);
        } else if (option == "--count") {
            settings.count = number(value);
        } else if (option == "--stride") {
            settings.stride = number(value);
        } else if (option == "--random") {
            settings.random = number(value);
        } else if (option == "--only") {
            settings.only = number(value);
        } else if (option == "--jobs") {
            settings.jobs = std::max(1U, static_cast<unsigned>(number(value)));
        } else if (option == "--seconds") {
            settings.limits.seconds = static_cast<double>(number(value));
        } else if (option == "--memory") {
            settings.limits.memoryMiB = number(value);
        } else {
            throw std::invalid_argument("unknown option: " + option);
        }
    }
    return settings;
}

/// The indices of all cases to run, one after the other.
class Indices {
public:
    Indices(const Settings& settings, std::uint64_t systematic) : settings_(settings), systematic_(systematic) {
        if (settings.only) {
            total_ = 1;
        } else if (settings.stride > 0) {
            begin_ = settings.seed % settings.stride;
            fromSystematic_ = begin_ < systematic ? (systematic - begin_ - 1) / settings.stride + 1 : 0;
            total_ = fromSystematic_ + settings.random;
        } else {
            total_ = settings.count;
        }
    }

    bool next(std::uint64_t& index) {
        const std::uint64_t i = taken_++;
        if (i >= total_ || stopped != 0) {
            return false;
        }
        if (settings_.only) {
            index = *settings_.only;
        } else if (settings_.stride > 0) {
            index = i < fromSystematic_ ? begin_ + i * settings_.stride : systematic_ + (i - fromSystematic_);
        } else {
            index = settings_.first + i;
        }
        return true;
    }

private:
    const Settings& settings_;
    std::uint64_t systematic_;
    std::uint64_t begin_ = 0;
    std::uint64_t fromSystematic_ = 0;
    std::uint64_t total_ = 0;
    std::atomic<std::uint64_t> taken_{0};
};

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

void runCase(const Case& made, const Place& place, const Runner& runner, const Judge& judge, Tally& tally) {
    const Oracle oracle(place.root(), made);
    for (const ReportOptions& report : allReports()) {
        std::vector<std::string> arguments = report.options;
        arguments.push_back(made.expression);
        const Run run = runner.run(arguments, place.root().path(), made.unprivileged);
        if (stopped != 0) {
            return; // what stopped us may have met the run as well
        }
        const Expectation expected = oracle.of(report.report);
        tally.addRun(made, joined(report.options), run, expected.open, judge.fault(report.report, expected, run));
    }
}

void work(const Settings& settings, const Generator& generator, const Runner& runner, Indices& indices, Tally& tally) {
    const Judge judge(settings.limits);
    Place place;
    std::uint64_t index = 0;
    while (indices.next(index)) {
        try {
            place.empty();
            const Case made = generator.make(index, place.root());
            tally.addCase(made);
            if (settings.list) {
                std::cout << index << ": " << made.category << ": " << made.what << "\n";
            } else if (made.skipped.empty()) {
                runCase(made, place, runner, judge, tally);
            }
            if (settings.only) {
                std::cout << made.category << ": " << made.what << "\nkept: Q7_CHROOT="
                          << place.keep(std::to_string(settings.seed) + "-" + std::to_string(index)) << "\n";
                return;
            }
        } catch (const std::exception& failure) {
            tally.addBroken(index, failure.what());
        }
    }
    place.empty();
}

int runAll(const Settings& settings) {
    const Generator generator(settings.seed);
    std::cout << "seed: " << settings.seed << ", " << generator.systematicCases() << " systematic cases, "
              << settings.jobs << " jobs, limits: " << settings.limits.seconds << " s, " << settings.limits.memoryMiB
              << " MiB" << std::endl;
    // "nobody" must be able to start both.
    const Runner runner(Fixtures::reachable("/proc/self/exe"), Fixtures::reachable(settings.binary),
                        settings.limits.seconds);
    Tally tally("halyx_hostile --seed " + std::to_string(settings.seed) +
                (settings.binary == HALYX_BINARY ? "" : " --binary " + settings.binary) + " --only ");
    Indices indices(settings, generator.systematicCases());
    const auto begin = std::chrono::steady_clock::now();
    std::vector<std::thread> jobs;
    for (unsigned job = 0; job < (settings.only ? 1 : settings.jobs); ++job) {
        jobs.emplace_back([&] { work(settings, generator, runner, indices, tally); });
    }
    for (std::thread& job : jobs) {
        job.join();
    }
    tally.print(std::cout, std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
    if (stopped != 0) {
        std::cout << "stopped before the end\n";
    }
    std::cout << (tally.failures() == 0 ? "no failures" : std::to_string(tally.failures()) + " failures") << std::endl;
    return tally.failures() == 0 && stopped == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::strcmp(argv[1], kAsNobody) == 0) {
        return runAsNobody(argv + 2);
    }
    std::signal(SIGINT, stop);
    std::signal(SIGTERM, stop);
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return runAll(parse(argc, argv));
    } catch (const std::exception& failure) {
        std::cerr << "halyx_hostile: " << failure.what() << "\n";
        return 2;
    }
}
