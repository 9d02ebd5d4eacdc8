#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Mem {

/// One mapped range in which a fault of the kernel (SIGBUS: the file was cut short under the mapping, or cannot be read)
/// must not end the process. The page that faulted is replaced by zeros, the fault is noted, and the read goes on; whoever
/// read asks afterwards and throws away what it got. Faults outside every range go to whoever handled them before.
///
/// The process-wide handler is installed while any range exists, and the signal is unblocked in the thread that makes a range.
/// Ranges may be used by several threads, each its own.
class FaultRange {
public:
    /// Claims a place among the guarded ranges. ok() is false when all are taken.
    FaultRange();
    ~FaultRange();
    FaultRange(const FaultRange&) = delete;
    FaultRange& operator=(const FaultRange&) = delete;

    [[nodiscard]] bool ok() const { return entry_ != nullptr; }

    /// Guards [base, base + size) from now on, instead of what was guarded before. A null base guards nothing.
    void guard(void* base, std::size_t size);

    [[nodiscard]] bool faulted() const { return entry_->firstFault.load(std::memory_order_relaxed) != kNone; }

    /// The pages replaced since the last call, as the lowest and one past the highest address.
    struct Fault {
        std::uintptr_t begin;
        std::uintptr_t end;
        std::uintptr_t address; ///< of the first read that faulted
    };
    Fault take();

    struct Entry {
        std::atomic<bool> used{false};
        std::atomic<std::uintptr_t> begin{0};
        std::atomic<std::uintptr_t> end{0};
        std::atomic<std::uintptr_t> firstFault{kNone};
        std::atomic<std::uintptr_t> lowestPage{0};
        std::atomic<std::uintptr_t> endPage{0};
    };
    static constexpr std::uintptr_t kNone = ~std::uintptr_t{0};

private:
    Entry* entry_;
};

} // namespace Mem
