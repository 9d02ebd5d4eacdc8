#include "soak/Runner.h"

#include "fixtures/QueueOutput.h"
#include "soak/QueueCheck.h"
#include "soak/Value.h"
#include "soak/WalkCheck.h"
#include "soak/Writers.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace Soak {

namespace {

// Sanitizers make the tool many times slower.
constexpr double kHangSeconds = sizeof(HALYX_SANITIZE) > 1 ? 60 : 10;
constexpr double kLineSeconds = 10;
// How the report on all clients ends when a program of somebody else's, anywhere on this machine, has mapped a file of a
// collection's name whose path is shorter than our collections' root.
constexpr const char* kForeignFiles = "halyx: basic_string::substr: __pos ";
constexpr const char* kCollections = "/var/shmem/halyxes/";

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

Style styleOf(const std::string& name) {
    return name == "-p" ? Style::Pretty : name == "-j" ? Style::Json : Style::Plain;
}

} // namespace

Runner::Runner(Settings settings) : settings_(std::move(settings)), random_(settings_.seed), begin_(now()) {}

double Runner::elapsed() const {
    return now() - begin_;
}

const std::vector<Runner::Report>& Runner::reports() {
    static const std::vector<Report> all{
        {"walk", {}, 6},   {"-e", {"-e"}, 2}, {"-p", {"-p"}, 2}, {"-j", {"-j"}, 2},          {"-x", {"-x"}, 1},
        {"-w", {"-w"}, 1}, {"-a", {"-a"}, 1}, {"-q", {"-q"}, 6}, {"-q -v", {"-q", "-v"}, 4},
    };
    return all;
}

const Runner::Report& Runner::choose(const Plan& plan) {
    for (;;) {
        const Report& report = reports()[random_() % reports().size()];
        if ((plan.conquer || report.name[1] != 'q') && random_() % 6 < report.weight) {
            return report;
        }
    }
}

/// One collection can be named in several ways.
std::string Runner::expression(const Plan& plan, const std::string& chroot) {
    switch (random_() % 4) {
    case 0:
        return chroot + kCollections + plan.collection;
    case 1:
        return plan.collection.substr(0, 2) + "*";
    default:
        return plan.collection;
    }
}

Faults Runner::check(const Plan& plan, const Report& report, const Fixtures::Outcome& outcome,
                     const std::string& chroot, History& history, const Fates& before, bool stopped) {
    const std::string name = report.name;
    const bool queues = name[1] == 'q';
    const bool clients = name == "-w" || name == "-a";
    const bool walk = !queues && !clients && name != "-x";
    const std::vector<View>& views = history.endRun();
    const std::string path = chroot + kCollections + plan.collection;
    const ClientsMet met{path, before, Fates::now(journal_), stopped, name == "-a"};
    Faults best;
    if (outcome.hung) {
        best.add(Fault::Hang, "ended after " + std::to_string(kHangSeconds) + " seconds");
        return best;
    }
    if (name == "-a" && outcome.status == 1 && outcome.err.find(kForeignFiles) != std::string::npos) {
        ++totals_.foreign;
        return best;
    }
    Fixtures::QueueOutput output;
    if (walk) {
        text_.parse(outcome.out, styleOf(name), plan.dynamic);
        totals_.elements += text_.elements.size() + text_.abandoned.size();
        totals_.resizes += text_.resizes;
        totals_.chainRestarts += static_cast<std::uint64_t>(std::max(text_.chainRestarts, 0LL));
        totals_.lookasideHits += static_cast<std::uint64_t>(std::max(text_.lookasideHits, 0LL));
    } else if (queues) {
        output = Fixtures::QueueOutput::parse(outcome.out);
        totals_.queueRestarts += output.restarts.value_or(0);
        for (const auto& queue : output.queues) {
            totals_.elements += queue.records.size();
        }
    }
    const bool well = outcome.clean() && outcome.status == 0 && outcome.err.empty();
    if (clients) {
        if (!well) {
            best.add(Fault::Failed, outcome.describe());
        }
        checkClients(outcome.out, views, met, best);
        return best;
    }
    const bool gone = walk && endedForGoneSlab(outcome, path);
    // It reports on one incarnation, whichever it met.
    for (std::size_t i = 0; i < views.size(); ++i) {
        const View& view = views[i];
        Faults faults;
        // A later one was put in place while it ran.
        const bool replaced = i + 1 < views.size() && views.back().from > history.from();
        if (!well && !(gone && replaced)) {
            faults.add(Fault::Failed, outcome.describe());
        }
        if (walk) {
            WalkCheck(history, view, text_, outcome.out).run(name == "-e", gone, faults);
        } else if (queues) {
            QueueCheck(history, view, plan).run(output, name == "-q -v", faults);
        } else {
            checkHeaders(outcome.out, view, faults);
        }
        if (i == 0 || faults.total() < best.total()) {
            best = std::move(faults);
        }
    }
    totals_.goneSlabs += gone && best.total() == 0 ? 1U : 0U;
    return best;
}

void Runner::note(const Plan& plan, const Report& report, const Fixtures::Outcome& outcome, const Faults& faults) {
    totals_.unverifiable += faults.unverifiable;
    if (faults.total() == 0) {
        return;
    }
    for (unsigned fault = 0; fault < kFaults; ++fault) {
        totals_.faults[fault] += faults.count(static_cast<Fault>(fault));
    }
    ++totals_.faultyRuns;
    std::printf("\nFAULT in run %llu, %s, of %s; seed %u\n", static_cast<unsigned long long>(totals_.allRuns()),
                report.name, plan.describe().c_str(), settings_.seed);
    for (const std::string& text : faults.texts()) {
        std::printf("%s\n", text.c_str());
    }
    if (!settings_.keep.empty()) {
        const std::string file = settings_.keep + "/halyx-soak." + std::to_string(::getpid()) + "." +
                                 std::to_string(totals_.faultyRuns) + ".txt";
        Fixtures::writeFile(file, outcome.out);
        std::printf("what it printed is kept in %s\n", file.c_str());
    }
    std::fflush(stdout);
}

/// A fault like any other, and the end of that collection only.
void Runner::noteWriter(const Plan& plan, const std::string& reason) {
    ++totals_.faults[static_cast<unsigned>(Fault::Writer)];
    ++totals_.faultyRuns;
    std::printf("\nFAULT: a writer failed: %s; of %s; seed %u\n", reason.c_str(), plan.describe().c_str(),
                settings_.seed);
    std::fflush(stdout);
}

/// Makes the tool wait here and there, so that much is changed between one of its looks and the next. Returns how long it waited.
double Runner::disturb(const Fixtures::Process& process) {
    constexpr double longestStop = 0.01;
    const auto upTo = [this](double seconds) {
        return static_cast<useconds_t>(static_cast<double>(random_() % 1000) * seconds * 1000);
    };
    double waited = 0;
    for (auto turns = 1 + random_() % 6; turns != 0; --turns) {
        ::usleep(upTo(usualRun_));
        const double begin = now();
        process.signal(SIGSTOP);
        ::usleep(upTo(longestStop));
        process.signal(SIGCONT);
        waited += now() - begin;
    }
    return waited;
}

void Runner::runOne(const Plan& plan, const Report& report, const std::string& chroot, History& history, bool stopped) {
    std::vector<std::string> arguments = report.options;
    if (std::string(report.name) != "-a") {
        arguments.push_back(expression(plan, chroot));
    }
    Fixtures::Process process(settings_.tool, arguments);
    process.environment("Q7_CHROOT", chroot).environment("HALYX_TYPE_PATH", chroot).limitSeconds(kHangSeconds);
    // For a stand-in of the tool.
    const char* const spoil = std::getenv("SOAK_SPOIL");
    process.environment("SOAK_SPOIL", spoil != nullptr ? spoil : "");
    process.environment("SOAK_DYNAMIC", plan.dynamic ? "1" : "0").keepAtMost(std::size_t{1} << 30);
    const bool disturbed = random_() % 2 == 0;
    if (disturbed) {
        process.stoppable();
    }
    history.beginRun();
    const Fates before = Fates::now(journal_);
    const double start = now();
    process.start();
    const double waited = disturbed ? disturb(process) : 0;
    const Fixtures::Outcome outcome = process.wait();
    if (waited == 0) {
        usualRun_ += (std::min(now() - start, 0.2) - usualRun_) / 16;
    }
    totals_.longestRun = std::max(totals_.longestRun, now() - start);
    ++totals_.runs[report.name];
    const Faults faults = check(plan, report, outcome, chroot, history, before, stopped);
    // What a writer that failed was doing is in doubt.
    if (!writerFailed()) {
        note(plan, report, outcome, faults);
    }
}

void Runner::round(const Plan& plan) {
    const Fixtures::ScratchRoot root;
    for (const bool dynamic : {false, true}) {
        Fixtures::writeFile(root.file(std::string(typeName(dynamic)) + ".h"), typeDescription(dynamic));
    }
    journal_.reset();
    History history(journal_, plan.keys);
    Writers writers(root.path(), journal_, plan);
    const double begin = now();
    const auto goesOn = [&] {
        return !writerFailed() && totals_.faultyRuns < settings_.mostFaultyRuns && elapsed() < settings_.seconds &&
               now() - begin < settings_.round;
    };
    do {
        runOne(plan, choose(plan), root.path(), history, false);
        if (elapsed() - lastLine_ >= kLineSeconds) {
            lastLine_ = elapsed();
            totals_.printLine(elapsed(), nameOf(plan.scenario));
        }
    } while (goesOn());
    history.beginRun(); // makes room for what the writers do until they stop
    const bool ended = writers.stop();
    totals_.add(journal_);
    if (!ended) {
        noteWriter(plan, journal_.counts().failure);
        return;
    }
    // Nobody writes any more: now all is known to the last byte.
    for (const Report& report : reports()) {
        if (plan.conquer || report.name[1] != 'q') {
            runOne(plan, report, root.path(), history, true);
        }
    }
}

bool Runner::run() {
    std::printf("seed %u\n", settings_.seed);
    std::fflush(stdout);
    for (std::size_t i = 0; i == 0 || (elapsed() < settings_.seconds && totals_.faultyRuns < settings_.mostFaultyRuns);
         ++i) {
        const Plan plan = randomPlan(settings_.scenarios[i % settings_.scenarios.size()], random_);
        try {
            round(plan);
        } catch (const WritersNotReady& error) {
            noteWriter(plan, error.what());
        }
    }
    totals_.printSummary(elapsed());
    const std::string excused = totals_.tooMuchExcused();
    if (!excused.empty()) {
        std::printf("not enough was checked: %s\n", excused.c_str());
    }
    return totals_.allFaults() == 0 && excused.empty();
}

} // namespace Soak
