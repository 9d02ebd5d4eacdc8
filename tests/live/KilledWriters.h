#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <sys/ptrace.h>
#include <sys/types.h>

/// Writers of one collection that are killed, one after the other. Each is a process of its own, which makes the collection anew
/// or goes on with what the last one left, changes it, and notes every step in memory that outlives it: what the collection must
/// hold is therefore known to the byte whenever it is killed.
class KilledWriters {
public:
    static constexpr std::uint32_t kKeys = 1500; ///< 0 to kKeys - 1, which come and go

    struct Plan {
        bool dynamic = false;
        bool restart = false;        ///< goes on with the elements that are there
        std::uint32_t firstSize = 1; ///< of every table
        std::uint32_t mostNotifications = 4;
        std::uint32_t seed = 1;
    };

    enum class Step : std::uint32_t {
        Starting,   ///< has not done anything yet
        Making,     ///< the files of a new incarnation
        Filling,    ///< it, beside the collections' root
        Publishing, ///< it, in place of the one before
        Restarting, ///< all of these, with the elements of the one before
        Changing,   ///< the collection in place
        Failed,     ///< with failure() to tell why
    };
    static constexpr unsigned kSteps = 7;

    /// What the collection holds: of each key the sequence number of its value, 0 when it has none.
    using Contents = std::atomic<std::uint64_t>[kKeys];

    /// Below this chroot.
    KilledWriters(std::string chroot, std::string collection);
    ~KilledWriters();
    KilledWriters(const KilledWriters&) = delete;
    KilledWriters& operator=(const KilledWriters&) = delete;

    void start(const Plan& plan);
    /// Wherever it is; returns when it has gone.
    void kill();

    // Where a process may not be stepped through, these kill at once. Whether it came as far as asked for:

    /// Lets it go on, one instruction at a time, until `reached` and then `more` instructions further, and kills it there; at the
    /// latest after `most` of them.
    bool killWhen(const std::function<bool()>& reached, unsigned more, unsigned most);
    /// Lets it begin and end calls of the system, `stops` in all, and go on for `more` instructions.
    bool killAtCall(unsigned stops, unsigned more);
    [[nodiscard]] pid_t pid() const { return pid_; }

    [[nodiscard]] Step step() const { return journal_->step.load(); }
    [[nodiscard]] const char* failure() const { return journal_->failure; }
    /// The last sequence number that was given to a value, stored or not.
    [[nodiscard]] std::uint64_t lastSequence() const { return journal_->sequence.load(); }

    // Between a kill and the next start:

    /// Tells which incarnation is in place, by the process id that it carries (16 bits); false when that was none of ours.
    bool foundInPlace(std::uint16_t writer);
    /// Whether these, kKeys of them, may be the contents of the collection in place. What could not be known, whether the last
    /// change came before the kill, is known from them by then.
    bool settle(const std::uint64_t* sequences);
    /// Whether this may be the number of that incarnation's notifications: one for every change, the last of which may not have
    /// come to it.
    [[nodiscard]] bool mayHaveNotified(std::uint64_t count) const {
        return count == table().changes || count == table().changes + 1;
    }

private:
    struct Table {
        Contents sequences;
        std::atomic<std::uint64_t> changes;
        std::atomic<pid_t> writer;
        // The change that is under way:
        std::atomic<std::uint32_t> underWay;
        std::atomic<std::uint32_t> key;
        std::atomic<std::uint64_t> sequence;
    };
    struct Journal {
        std::atomic<Step> step;
        std::atomic<std::uint64_t> sequence;
        std::atomic<unsigned> current; ///< which of the tables is in place; the other is in the making
        Table tables[2];
        char failure[256];
    };

    class Life;

    bool interrupt();
    bool goOn(__ptrace_request how, unsigned times);

    [[nodiscard]] Table& table() const { return journal_->tables[journal_->current.load()]; }

    std::string chroot_;
    std::string collection_;
    Journal* journal_;
    pid_t pid_ = -1;
};
