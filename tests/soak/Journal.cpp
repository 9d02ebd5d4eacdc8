#include "soak/Journal.h"

#include <cstring>
#include <new>
#include <stdexcept>
#include <sys/mman.h>

namespace Soak {

namespace {

constexpr std::size_t kEventBytes = Journal::kCapacity * sizeof(Event);
constexpr std::size_t kLastBytes = Journal::kMostKeys * sizeof(std::uint64_t);

void* shared(std::size_t bytes) {
    void* const memory = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::runtime_error("no memory for the journal");
    }
    return memory;
}

} // namespace

Journal::Journal()
    : counts_(new (shared(sizeof(Counts))) Counts{}), events_(static_cast<Event*>(shared(kEventBytes))),
      last_(static_cast<std::uint64_t*>(shared(kLastBytes))) {}

Journal::~Journal() {
    ::munmap(counts_, sizeof(Counts));
    ::munmap(events_, kEventBytes);
    ::munmap(last_, kLastBytes);
}

void Journal::reset() {
    new (counts_) Counts{};
    std::memset(last_, 0, kLastBytes);
}

} // namespace Soak
