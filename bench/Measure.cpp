#include "Measure.h"

#include <algorithm>

namespace Bench {

void alternate(std::vector<Side>& sides, int rounds) {
    for (int round = -1; round < rounds; ++round) {
        for (std::size_t i = 0; i < sides.size(); ++i) {
            Side& side = sides[round % 2 != 0 ? i : sides.size() - 1 - i];
            const double seconds = timed(side.program, side.status);
            if (round >= 0) {
                side.seconds.push_back(seconds);
            }
        }
    }
}

Spread spreadOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return {values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2, values.front(),
            values.back()};
}

std::vector<double> milliseconds(const Side& side) {
    std::vector<double> values;
    for (const double seconds : side.seconds) {
        values.push_back(seconds * 1e3);
    }
    return values;
}

std::vector<double> rates(const Side& side, double amount) {
    std::vector<double> values;
    for (const double seconds : side.seconds) {
        values.push_back(amount / seconds);
    }
    return values;
}

std::vector<double> quotients(const std::vector<double>& dividends, const std::vector<double>& divisors) {
    std::vector<double> values;
    for (std::size_t i = 0; i < dividends.size(); ++i) {
        values.push_back(dividends[i] / divisors[i]);
    }
    return values;
}

} // namespace Bench
