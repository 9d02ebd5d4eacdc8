#pragma once

namespace Mem {

/// How a mapping may be used. Readers use this one only.
enum class Mode : unsigned { ReadOnlyShared = 1 };

} // namespace Mem
