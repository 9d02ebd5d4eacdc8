#include "Norvu/Process.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace Norvu::Util {

std::string readPidCmdline(Platform::DebugHandler& handler, int pid, const std::string& proc) {
    const std::string path = proc + "/" + std::to_string(pid) + "/cmdline";
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (file < 0) {
        if (handler.enabled(5)) {
            handler.log("file " + path + " no longer exists", 5, "Process", __LINE__, "readPidCmdline");
        }
        return {};
    }
    constexpr std::size_t most = 131072;
    std::string line;
    char piece[4096];
    while (line.size() < most) {
        const ssize_t got = ::read(file, piece, sizeof piece);
        if (got > 0) {
            line.append(piece, static_cast<std::size_t>(got));
        } else if (got == 0 || errno != EINTR) {
            break;
        }
    }
    ::close(file);
    line.erase(line.find_last_not_of('\0') + 1);
    for (char& byte : line) {
        byte = byte == '\0' ? ' ' : byte;
    }
    return line;
}

bool isRoot() {
    return ::getuid() == 0;
}

} // namespace Norvu::Util
