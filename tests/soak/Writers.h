#pragma once

#include "soak/Journal.h"
#include "soak/Plan.h"

#include <stdexcept>
#include <string>
#include <sys/types.h>

namespace Soak {

/// A collection was not put in place.
class WritersNotReady : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The processes that write one collection, one incarnation after the other. Some are told to end, some are killed.
class Writers {
public:
    /// Starts them and waits until the collection is in place; throws WritersNotReady when that fails.
    Writers(const std::string& chroot, Journal& journal, const Plan& plan);
    /// Ends them.
    ~Writers();
    Writers(const Writers&) = delete;
    Writers& operator=(const Writers&) = delete;

    /// Ends the writing; false when a writer had failed. The collection stays. The journal must have room for the last steps.
    bool stop();

private:
    Journal* journal_;
    pid_t pid_ = -1;
};

} // namespace Soak
