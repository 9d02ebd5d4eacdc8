#include "soak/Writers.h"

#include "soak/Incarnation.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Soak {

namespace {

constexpr useconds_t kPollMicroseconds = 500;
constexpr unsigned kReadyPolls = 120000; ///< a minute

/// Runs in a process of its own, and never returns.
[[noreturn]] void writeOne(Journal& journal, const Plan& plan, std::uint32_t seed) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    try {
        Incarnation(journal, plan, seed).run();
        ::_exit(0);
    } catch (const std::exception& exception) {
        std::snprintf(journal.counts().failure, sizeof Journal::Counts::failure, "%s", exception.what());
    }
    ::_exit(1);
}

enum class End { Ended, Killed, Failed };

/// One incarnation.
End writeUntilEnd(Journal& journal, const Plan& plan, std::mt19937& random) {
    Journal::Counts& counts = journal.counts();
    const std::uint32_t seed = static_cast<std::uint32_t>(random());
    const std::uint32_t before = counts.incarnations.load();
    counts.leave.store(0);
    counts.living.store(Journal::kComing);
    const pid_t pid = ::fork();
    if (pid < 0) {
        std::snprintf(counts.failure, sizeof counts.failure, "no process for a writer");
        return End::Failed;
    }
    if (pid == 0) {
        writeOne(journal, plan, seed);
    }
    bool killed = false;
    if (plan.longestLife != 0) {
        // Now and then in the middle of making it.
        const bool early = random() % 16 == 0;
        for (unsigned polls = 0; !early && polls < kReadyPolls && counts.incarnations.load() == before; ++polls) {
            ::usleep(kPollMicroseconds);
        }
        ::usleep(static_cast<useconds_t>(random() % (1000 * plan.longestLife)));
        counts.living.store(Journal::kNobody);
        counts.deaths.fetch_add(1);
        killed = before != 0 && random() % 2 == 0;
        if (killed) {
            ::kill(pid, SIGKILL);
        } else {
            counts.leave.store(1);
        }
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    counts.living.store(Journal::kNobody);
    if (WIFEXITED(status)) {
        return WEXITSTATUS(status) == 0 ? End::Ended : End::Failed;
    }
    if (killed && WTERMSIG(status) == SIGKILL) {
        return End::Killed;
    }
    std::snprintf(counts.failure, sizeof counts.failure, "ended by signal %d", WTERMSIG(status));
    return End::Failed;
}

} // namespace

Writers::Writers(const std::string& chroot, Journal& journal, const Plan& plan) : journal_(&journal) {
    std::fflush(nullptr);
    pid_ = ::fork();
    if (pid_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::setenv("Q7_CHROOT", chroot.c_str(), 1);
        std::mt19937 random(plan.seed);
        // The last one is never a killed one: what that was doing would stay in doubt.
        for (End end = End::Ended; end == End::Killed || journal.counts().stop.load() == 0;) {
            end = writeUntilEnd(journal, plan, random);
            if (end == End::Failed) {
                journal.counts().failed.store(1);
                ::_exit(1);
            }
        }
        ::_exit(0);
    }
    for (unsigned polls = 0; journal.counts().incarnations.load() == 0; ++polls) {
        if (pid_ < 0 || polls == kReadyPolls || journal.counts().failed.load() != 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
            throw WritersNotReady(journal.counts().failed.load() != 0 ? journal.counts().failure
                                                                      : "the collection is not in place in time");
        }
        ::usleep(kPollMicroseconds);
    }
}

Writers::~Writers() {
    if (pid_ > 0) {
        // Their parent's end is theirs.
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
}

bool Writers::stop() {
    journal_->counts().stop.store(1);
    if (pid_ > 0) {
        int status = 0;
        ::waitpid(pid_, &status, 0);
        pid_ = -1;
        Journal::Counts& counts = journal_->counts();
        if (status != 0 && counts.failed.exchange(1) == 0) {
            std::snprintf(counts.failure, sizeof counts.failure, "their parent ended with wait status %d", status);
        }
    }
    return journal_->counts().failed.load() == 0;
}

} // namespace Soak
