#pragma once

#include <cstddef>

/// Gives every shared mapping of a file in this process the same address.
///
/// The thread sanitizer knows memory by its address: a reader that maps the file its own way, as it does, touches other
/// addresses than the writer thread does, and no race between the two is ever seen. So this program's calls of mmap, mremap and
/// munmap come here first (the linker wraps them): the first mapping of a file gets a range of addresses with room to grow, and
/// every further one of the same file is told the first one's address. What is private, anonymous or at a fixed place passes.
namespace OneAddress {

/// Mappings that were told the address of another.
std::size_t shared();

/// Mappings that were made longer where another one was in the same range.
std::size_t grown();

} // namespace OneAddress
