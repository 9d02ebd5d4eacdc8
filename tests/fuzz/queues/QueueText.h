#pragma once

#include <string>

namespace Fuzz {

/// What the queue report is to be for two files, worked out from their bytes alone.
struct QueueText {
    /// Nothing: the report is an exception, since a file is shorter than its count needs.
    bool throws = false;
    std::string out; ///< with "0" for the seconds
    std::string err;
    int status = 0;
};

/// For a sound collection `name` in the directory `path`, which has queues.
QueueText expectedQueues(const std::string& primary, const std::string& secondary, bool validOnly,
                         const std::string& path, const std::string& name);

} // namespace Fuzz
