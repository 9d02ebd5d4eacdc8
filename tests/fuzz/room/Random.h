#pragma once

#include <cstddef>
#include <cstdint>

namespace Fuzz {

/// The choices of one mutation: all follow from the seed that libFuzzer gives, so that a run can be repeated.
class Random {
public:
    explicit Random(unsigned seed) : state_(seed * 0x9e3779b97f4a7c15U + 0x1234567) {}

    std::uint64_t word() {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return state_;
    }
    /// A number below `end`; 0 when there is none.
    std::size_t below(std::size_t end) { return end == 0 ? 0 : static_cast<std::size_t>((word() >> 11) % end); }
    /// True once in `times`.
    bool once(std::size_t times) { return below(times) == 0; }

private:
    std::uint64_t state_;
};

} // namespace Fuzz
