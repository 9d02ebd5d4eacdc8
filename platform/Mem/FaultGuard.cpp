#include "Mem/FaultGuard.h"

#include "Mem/Page.h"

#include <array>
#include <csignal>
#include <mutex>
#include <sys/mman.h>

namespace Mem {

namespace {

using Entry = FaultRange::Entry;

// A reader holds 36 ranges at most: buckets, slots, 32 slabs and two queues.
constexpr std::size_t kMostRanges = 512;

std::array<Entry, kMostRanges> entries;
std::mutex installMutex;
unsigned installed = 0;
struct sigaction before {};

/// Whatever was to happen without us: the handler that was there, or the end of the process with the fault as its cause.
void passOn(int signal, siginfo_t* info, void* context) {
    if ((before.sa_flags & SA_SIGINFO) != 0 && before.sa_sigaction != nullptr) {
        before.sa_sigaction(signal, info, context);
        return;
    }
    if (before.sa_handler != SIG_DFL && before.sa_handler != SIG_IGN) {
        before.sa_handler(signal);
        return;
    }
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    ::sigaction(signal, &standard, nullptr);
    if (info->si_code <= 0) {
        ::raise(signal); // sent by a process: nothing will fault again on return
    }
}

/// Async-signal-safe: atomics and mmap only. It runs on the thread that faulted, in the middle of a read.
void onFault(int signal, siginfo_t* info, void* context) {
    if (info->si_code > 0) {
        const auto address = reinterpret_cast<std::uintptr_t>(info->si_addr);
        const std::uintptr_t page = address & ~(static_cast<std::uintptr_t>(pageSize_) - 1);
        for (Entry& entry : entries) {
            if (address < entry.begin.load(std::memory_order_acquire) ||
                address >= entry.end.load(std::memory_order_acquire)) {
                continue;
            }
            if (::mmap(reinterpret_cast<void*>(page), pageSize_, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1,
                       0) == MAP_FAILED) {
                break;
            }
            if (entry.firstFault.load(std::memory_order_relaxed) == FaultRange::kNone) {
                entry.lowestPage.store(page, std::memory_order_relaxed);
                entry.endPage.store(page + pageSize_, std::memory_order_relaxed);
                entry.firstFault.store(address, std::memory_order_relaxed);
            } else if (page < entry.lowestPage.load(std::memory_order_relaxed)) {
                entry.lowestPage.store(page, std::memory_order_relaxed);
            } else if (page + pageSize_ > entry.endPage.load(std::memory_order_relaxed)) {
                entry.endPage.store(page + pageSize_, std::memory_order_relaxed);
            }
            std::atomic_signal_fence(std::memory_order_seq_cst);
            return;
        }
    }
    passOn(signal, info, context);
}

void install() {
    const std::lock_guard<std::mutex> lock(installMutex);
    if (installed++ == 0) {
        struct sigaction action {};
        action.sa_sigaction = onFault;
        action.sa_flags = SA_SIGINFO | SA_ONSTACK;
        ::sigemptyset(&action.sa_mask);
        ::sigaction(SIGBUS, &action, &before);
    }
    // A fault of a thread that blocks the signal ends the process whatever its handler is, and a mask is inherited.
    sigset_t faults;
    ::sigemptyset(&faults);
    ::sigaddset(&faults, SIGBUS);
    ::pthread_sigmask(SIG_UNBLOCK, &faults, nullptr);
}

void uninstall() {
    const std::lock_guard<std::mutex> lock(installMutex);
    if (--installed == 0) {
        struct sigaction now {};
        if (::sigaction(SIGBUS, nullptr, &now) == 0 && (now.sa_flags & SA_SIGINFO) != 0 &&
            now.sa_sigaction == onFault) {
            ::sigaction(SIGBUS, &before, nullptr);
        }
    }
}

} // namespace

FaultRange::FaultRange() : entry_(nullptr) {
    for (Entry& entry : entries) {
        bool unused = false;
        if (entry.used.compare_exchange_strong(unused, true, std::memory_order_acq_rel)) {
            entry_ = &entry;
            entry.firstFault.store(kNone, std::memory_order_relaxed);
            install();
            return;
        }
    }
}

FaultRange::~FaultRange() {
    if (entry_ != nullptr) {
        guard(nullptr, 0);
        entry_->used.store(false, std::memory_order_release);
        uninstall();
    }
}

void FaultRange::guard(void* base, std::size_t size) {
    const auto begin = reinterpret_cast<std::uintptr_t>(base);
    // The kernel maps whole pages, and the last one may lie past the end of the file.
    const std::uintptr_t whole = (size + pageSize_ - 1) & ~(static_cast<std::uintptr_t>(pageSize_) - 1);
    entry_->end.store(0, std::memory_order_release);
    entry_->begin.store(begin, std::memory_order_release);
    entry_->end.store(base == nullptr ? 0 : begin + whole, std::memory_order_release);
    entry_->firstFault.store(kNone, std::memory_order_relaxed);
}

FaultRange::Fault FaultRange::take() {
    const Fault fault{entry_->lowestPage.load(std::memory_order_relaxed),
                      entry_->endPage.load(std::memory_order_relaxed),
                      entry_->firstFault.load(std::memory_order_relaxed)};
    entry_->firstFault.store(kNone, std::memory_order_relaxed);
    return fault;
}

} // namespace Mem
