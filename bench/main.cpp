// Measures `halyx`, by topics: each says at the top of its file what it measures. Whole processes by the wall clock, output to
// /dev/null, sides in turn in one run; medians of the rounds with the lowest and highest, and the ratios of sides that were run
// next to each other. Goals are printed beside them, and nothing is judged.

#include "Topics.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <unistd.h>

namespace {

using namespace Bench;

struct Topic {
    const char* name;
    void (*measure)(Context&);
};

constexpr Topic kTopics[] = {
    {"walk", walk},       {"values", values}, {"growth", growth}, {"queues", queues},
    {"clients", clients}, {"lookup", lookUp}, {"start", startUp}, {"beside", beside},
};

/// False, and said on standard error, in a build whose figures would mean nothing.
bool optimised() {
#if !defined(__OPTIMIZE__) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    std::fputs("halyx_bench: built without optimisation or with a sanitizer: the figures would mean nothing\n", stderr);
    return false;
#else
    return true;
#endif
}

/// A directory for what is measured; removed at the end.
class Scratch {
public:
    explicit Scratch(const std::string& parent)
        : path_(parent + "/halyx-bench." + std::to_string(::getpid())), owner_(::getpid()) {
        std::filesystem::create_directories(path_);
    }
    ~Scratch() {
        if (::getpid() == owner_) {
            std::error_code ignored;
            std::filesystem::remove_all(path_, ignored);
        }
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    [[nodiscard]] const std::string& path() const { return path_; }

private:
    std::string path_;
    pid_t owner_;
};

} // namespace

int main(int argc, char** argv) {
    if (!optimised()) {
        return 1;
    }
    std::vector<std::string> names;
    for (const Topic& topic : kTopics) {
        names.emplace_back(topic.name);
    }
    const Settings settings = parse(argc, argv, names);
    throwWhenInterrupted();
    try {
        Report report(settings.markdown);
        const Scratch scratch(settings.directory);
        ::setenv("Q7_CHROOT", scratch.path().c_str(), 1);
        report.machine();
        for (const Topic& topic : kTopics) {
            for (const std::string& name : settings.topics) {
                if (name == topic.name) {
                    Context context{settings, report, scratch.path()};
                    topic.measure(context);
                    std::filesystem::remove_all(scratch.path());
                    break;
                }
            }
        }
        report.save();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "halyx_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
