#pragma once

#include <string>
#include <vector>

namespace Halyx::Writer {

/// Reads the process table below a directory like /proc.
class ProcTable {
public:
    explicit ProcTable(std::string root);

    /// The values (see writer/ProcessRecord.h) of all processes there are now. A process that goes while it is read is left
    /// out. Throws as throwSystemError does when the directory itself cannot be read.
    [[nodiscard]] std::vector<std::string> read() const;

private:
    bool readProcess(const std::string& pid, std::string& value) const;

    std::string root_;
    unsigned long long bootTime_ = 0; ///< seconds since 1970; 0 when the root does not tell
    unsigned long long ticks_;        ///< a second
    unsigned long long pageBytes_;
};

} // namespace Halyx::Writer
