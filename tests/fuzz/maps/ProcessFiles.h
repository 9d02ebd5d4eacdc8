#pragma once

#include "fuzz/room/Archive.h"
#include "fuzz/room/Sandbox.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Fuzz {

/// A process table as an archive: the name of a file is that of its process times 4, and one of these.
enum : unsigned char { kMaps = 0, kCommandLine = 1, kExecutable = 2, kKinds = 4 };

/// The processes that there may be. None whose number is 0: no kernel has it, and the tool ends where it meets it.
inline constexpr const char* kProcesses[] = {
    "1", "4711", "007", "12x", "2147483647", "4294967295", "999999999999999999999"};

/// Stands in a map for the collections' root, which is another one in every process that fuzzes.
inline constexpr char kRootMark = '@';

/// What the archive says of a process.
struct ProcessFiles {
    std::string pid;
    std::string maps; ///< with the root in place of its mark
    std::string commandLine;
    std::string executable; ///< where its link leads, empty for none
};

std::vector<ProcessFiles> processesOf(const Archive& archive, const std::string& root);

/// Puts the process table where Sandbox::proc() says.
void placeProcesses(Sandbox& sandbox, const std::vector<ProcessFiles>& processes);

} // namespace Fuzz
