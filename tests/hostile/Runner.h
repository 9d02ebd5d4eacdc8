#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Hostile {

/// How one run went.
struct Run {
    int status = -1; ///< -1 when a signal ended it
    int signal = 0;  ///< 0 also when it was killed for its time
    bool hung = false;
    double seconds = 0;
    std::uint64_t peakKiB =
        0;               ///< never less than what this process itself has had: the kernel hands that on with a start
    bool outCut = false; ///< more was written than is kept
    bool errCut = false;
    std::string out;
    std::string err;
};

/// Starts programs without a shell or a copy of this process, reads both streams with a bound, and ends what does not end.
class Runner {
public:
    /// `self`: this program, which gives up root's rights for an unprivileged run.
    Runner(std::string self, std::string program, double limitSeconds);

    [[nodiscard]] Run run(const std::vector<std::string>& arguments, const std::string& root, bool unprivileged) const;

    /// Kept of each stream of a run.
    static constexpr std::size_t kKept = std::size_t{4} << 20;

private:
    std::string self_;
    std::string program_;
    double limit_;
};

/// The first argument that turns this program into one that becomes "nobody" and then runs the rest of its arguments.
inline constexpr const char* kAsNobody = "--as-nobody";
int runAsNobody(char** arguments);

} // namespace Hostile
