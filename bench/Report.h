#pragma once

#include "Measure.h"

#include <cstdio>
#include <string>

namespace Bench {

/// Prints the figures as they come, and keeps them as Markdown when a file is named. Judges nothing: goals stand beside.
class Report {
public:
    /// Throws std::runtime_error when `markdown` cannot be written. Empty: no such file.
    explicit Report(const std::string& markdown);
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;

    /// The processor, the system and the build, on one line.
    void machine();
    /// Begins a table.
    void table(const std::string& title);
    /// A row of it: the figures are in `unit`.
    void row(const std::string& what, const Spread& figures, const std::string& unit, const std::string& goal = "");
    /// A row of one figure that has no spread.
    void row(const std::string& what, double figure, const std::string& unit, const std::string& goal = "");
    /// A row of words.
    void note(const std::string& what, const std::string& words);
    /// Writes what there is to the file, between its two marks when it has them. Throws std::runtime_error when it cannot be written.
    void save() const;

private:
    void print(const std::string& what, const std::string& median, const std::string& spread, const std::string& unit,
               const std::string& goal);

    std::string path_;
    std::string markdown_;
};

} // namespace Bench
