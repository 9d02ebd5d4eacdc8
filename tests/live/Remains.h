#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

/// In the midst of what a writer was killed, as the files tell that it left: none when between two changes. `shmem` is the
/// directory that holds the collections' root.
std::vector<std::string> unfinishedWork(const std::string& shmem, const std::string& collectionPath, pid_t writer);
