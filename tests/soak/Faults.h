#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace Soak {

enum class Fault : unsigned {
    Torn,            ///< bytes of more than one version, or of none
    Misplaced,       ///< in a slot or bucket where it was not
    Duplicated,      ///< twice, though it was there once
    Invented,        ///< not there at any time of the run
    Missing,         ///< there all the time, and not printed
    FalseCorruption, ///< a line that says that something sound is broken
    Hang,
    Failed,  ///< a signal, a status, a complaint, a sanitizer's report, or a line that has no business there
    Unnamed, ///< a live writer that was not named, or a process that was not its writer
    Writer   ///< a writer that could not be started, or ended by itself
};
inline constexpr unsigned kFaults = 10;

const char* nameOf(Fault fault);

/// What one run of the tool was found guilty of. Says the first few in full.
class Faults {
public:
    void add(Fault fault, const std::string& text) {
        if (++counts_[static_cast<unsigned>(fault)] <= kShown) {
            texts_.push_back(std::string(nameOf(fault)) + ": " + text);
        }
    }
    void add(const Faults& others) {
        for (unsigned fault = 0; fault < kFaults; ++fault) {
            counts_[fault] += others.counts_[fault];
        }
        texts_.insert(texts_.end(), others.texts_.begin(), others.texts_.end());
        unverifiable += others.unverifiable;
    }
    [[nodiscard]] std::uint64_t count(Fault fault) const { return counts_[static_cast<unsigned>(fault)]; }
    [[nodiscard]] std::uint64_t total() const {
        std::uint64_t sum = 0;
        for (const std::uint64_t count : counts_) {
            sum += count;
        }
        return sum;
    }
    [[nodiscard]] const std::vector<std::string>& texts() const { return texts_; }

    std::uint64_t unverifiable = 0; ///< what the journal could not tell any more

private:
    static constexpr std::uint64_t kShown = 3; ///< of a kind
    std::array<std::uint64_t, kFaults> counts_{};
    std::vector<std::string> texts_;
};

} // namespace Soak
