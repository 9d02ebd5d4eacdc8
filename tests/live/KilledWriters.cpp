#include "live/KilledWriters.h"

#include "writer/ChurnValue.h"
#include "writer/Collection.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <random>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Halyx::Writer;

/// What one writer does, in its own process.
class KilledWriters::Life {
public:
    Life(Journal& journal, std::string collection, const Plan& plan)
        : journal_(journal), name_(std::move(collection)), plan_(plan), random_(plan.seed) {}

    [[noreturn]] void run() {
        begin();
        journal_.step = Step::Changing;
        for (;;) {
            change();
        }
    }

private:
    void begin() {
        Options options;
        options.valueType = plan_.dynamic ? kDynamicChurnType : kChurnType;
        options.classType = "Killed";
        options.valueSize = plan_.dynamic ? kChurnMostBytes : kChurnHeadSize;
        options.dynamic = plan_.dynamic;
        options.conquer = true;
        options.buckets = options.slots = options.slabEntries = plan_.firstSize;
        options.notifications = 1;
        options.maxNotifications = plan_.mostNotifications;
        options.keyOf = churnKeyOf;
        table_ = &journal_.tables[1 - journal_.current.load()];
        table_->writer = ::getpid();
        table_->underWay = 0;
        table_->changes = 0;
        for (std::uint32_t key = 0; key < kKeys; ++key) {
            const std::uint64_t kept =
                plan_.restart ? journal_.tables[journal_.current.load()].sequences[key].load() : 0;
            table_->sequences[key] = kept;
            table_->changes += kept != 0 ? 1U : 0U;
        }
        if (plan_.restart) {
            journal_.step = Step::Restarting;
            collection_ = Collection::restart(name_, options);
        } else {
            journal_.step = Step::Making;
            collection_ = std::make_unique<Collection>(name_, options);
            journal_.step = Step::Filling;
            for (std::uint32_t key = 0; key < 100; ++key) {
                put(key);
            }
            journal_.step = Step::Publishing;
            collection_->publish();
        }
    }

    void change() {
        const auto key = static_cast<std::uint32_t>(random_() % kKeys);
        if (random_() % 4 == 0 && table_->sequences[key] != 0) {
            const std::uint64_t wide = key;
            char bytes[sizeof wide];
            std::memcpy(bytes, &wide, sizeof wide);
            noted(key, 0, [&] { collection_->erase({bytes, sizeof bytes}); });
        } else {
            put(key);
        }
    }

    void put(std::uint32_t key) {
        char buffer[kChurnMostBytes];
        const auto length = static_cast<std::uint32_t>(
            plan_.dynamic ? 24 + random_() % (random_() % 4 == 0 ? kChurnMostBytes - 23 : 40) : kChurnHeadSize);
        const std::uint64_t sequence = ++journal_.sequence;
        const std::string_view value = makeChurnValue(buffer, key, sequence, length, plan_.dynamic);
        noted(key, sequence, [&] { collection_->put(churnKeyOf(value), value); });
    }

    template <typename Change>
    void noted(std::uint32_t key, std::uint64_t sequence, const Change& change) {
        table_->key = key;
        table_->sequence = sequence;
        table_->underWay = 1;
        change();
        table_->sequences[key] = sequence;
        ++table_->changes;
        table_->underWay = 0;
    }

    Journal& journal_;
    std::string name_;
    Plan plan_;
    std::mt19937 random_;
    Table* table_ = nullptr;
    std::unique_ptr<Collection> collection_;
};

KilledWriters::KilledWriters(std::string chroot, std::string collection)
    : chroot_(std::move(chroot)), collection_(std::move(collection)) {
    void* const memory = ::mmap(nullptr, sizeof(Journal), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::runtime_error("no memory for what the writers note");
    }
    journal_ = new (memory) Journal{};
}

KilledWriters::~KilledWriters() {
    kill();
    ::munmap(journal_, sizeof(Journal));
}

void KilledWriters::start(const Plan& plan) {
    journal_->step = Step::Starting;
    std::fflush(nullptr);
    pid_ = ::fork();
    if (pid_ < 0) {
        throw std::runtime_error("cannot fork a writer");
    }
    if (pid_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::setenv("Q7_CHROOT", chroot_.c_str(), 1);
        try {
            Life(*journal_, collection_, plan).run();
        } catch (const std::exception& exception) {
            std::snprintf(journal_->failure, sizeof journal_->failure, "%s", exception.what());
            journal_->step = Step::Failed;
        }
        ::_exit(1);
    }
}

void KilledWriters::kill() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
}

bool KilledWriters::interrupt() {
    int status = 0;
    return ::ptrace(PTRACE_SEIZE, pid_, nullptr, PTRACE_O_TRACESYSGOOD) == 0 &&
           ::ptrace(PTRACE_INTERRUPT, pid_, nullptr, nullptr) == 0 && ::waitpid(pid_, &status, 0) == pid_ &&
           WIFSTOPPED(status);
}

/// To the next instruction or call, so many times; false when it has ended, or does not come to one.
bool KilledWriters::goOn(__ptrace_request how, unsigned times) {
    for (; times != 0; --times) {
        if (::ptrace(how, pid_, nullptr, nullptr) != 0) {
            return false;
        }
        // An instruction ends; a call may never come.
        const bool endless = how != PTRACE_SINGLESTEP;
        int status = 0;
        pid_t ended = 0;
        for (unsigned tries = 0; (ended = ::waitpid(pid_, &status, endless ? WNOHANG : 0)) == 0; ++tries) {
            constexpr unsigned most = 1000;
            if (tries == most) {
                return false;
            }
            ::usleep(20);
        }
        if (ended != pid_ || !WIFSTOPPED(status)) {
            return false;
        }
    }
    return true;
}

bool KilledWriters::killWhen(const std::function<bool()>& reached, unsigned more, unsigned most) {
    bool met = interrupt();
    if (met) {
        while (most != 0 && !reached() && goOn(PTRACE_SINGLESTEP, 1)) {
            --most;
        }
        met = reached() && goOn(PTRACE_SINGLESTEP, more);
    }
    kill();
    return met;
}

bool KilledWriters::killAtCall(unsigned stops, unsigned more) {
    const bool met = interrupt() && goOn(PTRACE_SYSCALL, stops) && goOn(PTRACE_SINGLESTEP, more);
    kill();
    return met;
}

bool KilledWriters::foundInPlace(std::uint16_t writer) {
    for (unsigned index = 0; index < 2; ++index) {
        if (static_cast<std::uint16_t>(journal_->tables[index].writer.load()) == writer) {
            journal_->current = index;
            return true;
        }
    }
    return false;
}

bool KilledWriters::settle(const std::uint64_t* sequences) {
    Table& settled = table();
    for (std::uint32_t key = 0; key < kKeys; ++key) {
        const bool open = settled.underWay != 0 && settled.key == key && settled.sequence == sequences[key];
        if (sequences[key] != settled.sequences[key] && !open) {
            return false;
        }
        settled.sequences[key] = sequences[key];
    }
    settled.underWay = 0;
    return true;
}
