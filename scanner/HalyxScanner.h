#pragma once

namespace Halyx {

/// The whole tool: runs what the arguments ask for and returns the exit status. Reports go to standard output, complaints to
/// standard error. What the readers throw, passes.
__attribute__((visibility("default"))) int main(int argc, char** argv);

} // namespace Halyx
