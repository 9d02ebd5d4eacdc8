#pragma once

namespace Halyx {

/// Says on standard error that the report behind `option` is not built yet; the exit status of a failure.
int reportNotBuilt(const char* option);

} // namespace Halyx
