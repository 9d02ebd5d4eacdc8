#include <halyx/Errors.h>

namespace halyx {

// Here, so that each class has its type information in this library only and is caught wherever it was thrown.
Error::~Error() = default;
RefusedError::~RefusedError() = default;
FullError::~FullError() = default;
DamagedError::~DamagedError() = default;
SystemError::~SystemError() = default;

} // namespace halyx
