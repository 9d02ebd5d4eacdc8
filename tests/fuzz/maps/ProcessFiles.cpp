#include "fuzz/maps/ProcessFiles.h"

#include "fixtures/ScratchRoot.h"

#include <algorithm>
#include <filesystem>
#include <iterator>

namespace Fuzz {

namespace {

/// No link leads further.
constexpr std::size_t kMostTarget = 4095;

std::string mapsOf(const std::string& text, const std::string& root) {
    std::string maps;
    for (const char byte : text) {
        if (byte == kRootMark) {
            maps += root;
        } else {
            maps += byte;
        }
    }
    return maps;
}

} // namespace

std::vector<ProcessFiles> processesOf(const Archive& archive, const std::string& root) {
    std::vector<ProcessFiles> processes;
    for (std::size_t process = 0; process < std::size(kProcesses); ++process) {
        const auto file = [&](unsigned char kind) {
            const auto found = archive.files.find(static_cast<unsigned char>(process * kKinds + kind));
            return found == archive.files.end() ? std::string() : found->second;
        };
        ProcessFiles files{kProcesses[process], mapsOf(file(kMaps), root), file(kCommandLine), file(kExecutable)};
        files.executable.resize(std::min({files.executable.find('\0'), files.executable.size(), kMostTarget}));
        processes.push_back(std::move(files));
    }
    return processes;
}

void placeProcesses(Sandbox& sandbox, const std::vector<ProcessFiles>& processes) {
    for (const ProcessFiles& process : processes) {
        const std::string directory = sandbox.proc() + "/" + process.pid;
        sandbox.fill(directory, {{"maps", process.maps}, {"cmdline", process.commandLine}});
        const std::filesystem::path link = directory + "/exe";
        std::error_code none;
        if (std::filesystem::read_symlink(link, none).string() != process.executable) {
            std::filesystem::remove(link);
            if (!process.executable.empty()) {
                std::filesystem::create_symlink(process.executable, link);
            }
        }
    }
}

} // namespace Fuzz
