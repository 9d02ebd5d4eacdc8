#include "hostile/Tally.h"

#include <iomanip>
#include <iostream>

namespace Hostile {

namespace {

/// Shown one by one; the rest is counted.
constexpr std::uint64_t kMostShown = 25;

} // namespace

void Tally::addCase(const Case& made) {
    const std::lock_guard lock(mutex_);
    Counts& counts = categories_[made.category];
    ++counts.cases;
    if (!made.skipped.empty()) {
        ++counts.skipped;
        ++skips_[made.skipped];
    }
}

void Tally::addRun(const Case& made, const std::string& options, const Run& run, bool open, const std::string& fault) {
    const std::lock_guard lock(mutex_);
    Counts& counts = categories_[made.category];
    ++counts.runs;
    counts.open += open ? 1U : 0U;
    const std::string name = std::to_string(made.index) + " (" + made.category + ": " + made.what + ") " + options;
    if (run.seconds > slowest_.value) {
        slowest_ = {run.seconds, name};
    }
    if (static_cast<double>(run.peakKiB) > largest_.value) {
        largest_ = {static_cast<double>(run.peakKiB), name};
    }
    if (!fault.empty()) {
        report(made.category,
               "case " + name + "\n    " + fault + "\n    repeat: " + repeat_ + std::to_string(made.index));
    }
}

void Tally::addBroken(std::uint64_t index, const std::string& why) {
    const std::lock_guard lock(mutex_);
    report("not built", "case " + std::to_string(index) + " cannot be built: " + why);
}

void Tally::report(const std::string& category, const std::string& text) {
    ++categories_[category].failures;
    if (++failures_ <= kMostShown) {
        std::cout << "FAILED " << text << std::endl;
    }
}

void Tally::print(std::ostream& out, double seconds) const {
    Counts all;
    out << std::left << std::setw(28) << "category" << std::right << std::setw(9) << "cases" << std::setw(9)
        << "skipped" << std::setw(10) << "runs" << std::setw(10) << "open" << std::setw(10) << "failed"
        << "\n";
    const auto line = [&](const std::string& name, const Counts& counts) {
        out << std::left << std::setw(28) << name << std::right << std::setw(9) << counts.cases << std::setw(9)
            << counts.skipped << std::setw(10) << counts.runs << std::setw(10) << counts.open << std::setw(10)
            << counts.failures << "\n";
    };
    for (const auto& [name, counts] : categories_) {
        line(name, counts);
        all.cases += counts.cases;
        all.skipped += counts.skipped;
        all.runs += counts.runs;
        all.open += counts.open;
        all.failures += counts.failures;
    }
    line("all", all);
    for (const auto& [why, count] : skips_) {
        out << "skipped " << count << ": " << why << "\n";
    }
    out << std::fixed << std::setprecision(3) << "slowest: " << slowest_.value << " s, case " << slowest_.of << "\n"
        << "largest: " << std::setprecision(1) << largest_.value / 1024 << " MiB, case " << largest_.of << "\n"
        << "took: " << seconds << " s, " << std::setprecision(3)
        << (all.runs == 0 ? 0 : seconds * 1000 / static_cast<double>(all.runs)) << " ms a run\n";
}

} // namespace Hostile
