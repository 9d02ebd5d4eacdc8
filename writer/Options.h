#pragma once

#include <halyx/Options.h>

namespace Halyx::Writer {

using halyx::KeyOf;
using halyx::Options;

/// Throws RefusedException when the options contradict themselves, their description or a format; fills in what 0 and empty
/// stand for.
void complete(Options& options);

} // namespace Halyx::Writer
