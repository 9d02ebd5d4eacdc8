#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Bench {

/// What the command line asks for.
struct Settings {
    std::vector<std::string> topics;
    std::vector<std::uint32_t> elements; ///< empty: each topic's own sizes
    int rounds = 5;
    int processes = 1000;
    int collections = 10000;
    std::string directory = "/dev/shm";
    std::string markdown; ///< a file that the figures are written to as Markdown, too; empty: none
    bool quick = false;
    bool verify = false;

    /// The sizes asked for; otherwise `quickly` or `usually`.
    [[nodiscard]] std::vector<std::uint32_t> sizes(const std::vector<std::uint32_t>& usually,
                                                   const std::vector<std::uint32_t>& quickly) const {
        if (!elements.empty()) {
            return elements;
        }
        return quick ? quickly : usually;
    }
};

/// Reads the command line. Ends the program after --help, and with status 2 when it does not understand.
Settings parse(int argc, char** argv, const std::vector<std::string>& topics);

} // namespace Bench
