#include "live/QueueWriter.h"

#include "writer/CollectionDirectory.h"
#include "writer/ConquerQueues.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <poll.h>
#include <random>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kReadyMilliseconds = 60000;

} // namespace

QueueWriter::QueueWriter(const std::string& chroot, const std::string& collection, const Plan& plan,
                         std::uint32_t seed) {
    void* const memory = ::mmap(nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    int ready[2];
    if (memory == MAP_FAILED || ::pipe(ready) != 0) {
        throw std::runtime_error("cannot prepare a writer");
    }
    counts_ = new (memory) Counts{};
    std::fflush(nullptr);
    pid_ = ::fork();
    if (pid_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::close(ready[0]);
        ::setenv("Q7_CHROOT", chroot.c_str(), 1);
        try {
            Halyx::Writer::Options options;
            options.notifications = plan.records;
            options.maxNotifications = plan.most;
            Halyx::Writer::CollectionDirectory directory(collection, 0755);
            Halyx::Writer::ConquerQueues queues(
                directory, options, SharedMem::FenixId(static_cast<std::uint16_t>(::getpid()), std::uint16_t{1}));
            directory.publish();
            if (::write(ready[1], "!", 1) != 1) {
                ::_exit(1);
            }
            std::mt19937 random(seed);
            for (std::uint64_t sequence = 0;;) {
                for (std::uint64_t left = 1 + random() % plan.longestBurst; left != 0; --left) {
                    counts_->begun.store(++sequence, std::memory_order_release);
                    queues.append(slotOf(sequence));
                    counts_->appended.store(sequence, std::memory_order_release);
                }
                counts_->switches.store(queues.switches(), std::memory_order_relaxed);
                if (plan.longestPause != 0) {
                    ::usleep(static_cast<useconds_t>(random() % (plan.longestPause + 1)));
                }
            }
        } catch (const std::exception& exception) {
            std::fprintf(stderr, "the writer failed: %s\n", exception.what());
        }
        ::_exit(1);
    }
    ::close(ready[1]);
    pollfd waiting{ready[0], POLLIN, 0};
    char byte = 0;
    const bool good = pid_ > 0 && ::poll(&waiting, 1, kReadyMilliseconds) == 1 && ::read(ready[0], &byte, 1) == 1;
    ::close(ready[0]);
    if (!good) {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        ::munmap(memory, sizeof(Counts));
        throw std::runtime_error("the writer is not ready");
    }
}

QueueWriter::~QueueWriter() {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    ::munmap(counts_, sizeof(Counts));
}

bool QueueWriter::running() const {
    siginfo_t information{};
    return ::waitid(P_PID, static_cast<id_t>(pid_), &information, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           information.si_pid == 0;
}

void QueueWriter::pause() const {
    ::kill(pid_, SIGSTOP);
    int status = 0;
    while (::waitpid(pid_, &status, WUNTRACED) != pid_ && errno == EINTR) {
    }
}

void QueueWriter::resume() const {
    ::kill(pid_, SIGCONT);
}
