#pragma once

namespace Halyx {

/// Writes the description and the usage to standard output; the exit status, 0.
int displayHelp();

} // namespace Halyx
