#pragma once

#include "Norvu/Debug.h"

#include <string>

namespace Norvu::Util {

/// A process's command line, its arguments separated by blanks; empty when it cannot be read. A process may make it as long as it
/// likes: no more than its first 131072 bytes are read, which is as long as one argument can be. `proc` is where the process
/// table is.
std::string readPidCmdline(Platform::DebugHandler& handler, int pid, const std::string& proc = "/proc");

/// Whether the real user is root.
bool isRoot();

} // namespace Norvu::Util
