#pragma once

#include "Digest.h"

// How everything here is measured: whole processes by the wall clock, sides in turn, medians and spreads.

namespace Bench {

/// One of the programs that are run in turn.
struct Side {
    std::string name;
    Program program;
    int status = 0;
    std::vector<double> seconds{}; ///< of each round
};

/// Runs all sides `rounds` times, one after the other, in every second round backwards. A round before that warms up.
void alternate(std::vector<Side>& sides, int rounds);

struct Spread {
    double median;
    double least;
    double most;
};

Spread spreadOf(std::vector<double> values);
/// Of each round.
std::vector<double> milliseconds(const Side& side);
/// Of each round, `amount` a second.
std::vector<double> rates(const Side& side, double amount);
/// Of each round, one by the other: rounds were run next to each other, so what the machine did besides is in both.
std::vector<double> quotients(const std::vector<double>& dividends, const std::vector<double>& divisors);

} // namespace Bench
