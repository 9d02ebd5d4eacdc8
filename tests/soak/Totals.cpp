#include "soak/Totals.h"

#include <cstdio>
#include <numeric>

namespace Soak {

namespace {

unsigned long long wide(std::uint64_t number) {
    return number;
}

} // namespace

void Totals::add(const Journal& journal) {
    const Journal::Counts& counts = journal.counts();
    changes += counts.done.load();
    incarnations += counts.incarnations.load();
    growths += counts.growths.load();
    slabGrowths += counts.slabGrowths.load();
    switches += counts.switches.load();
    waits += counts.waits.load();
}

std::uint64_t Totals::allRuns() const {
    return std::accumulate(runs.begin(), runs.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const auto& entry) { return sum + entry.second; });
}

std::uint64_t Totals::allFaults() const {
    return std::accumulate(faults.begin(), faults.end(), std::uint64_t{0});
}

std::string Totals::tooMuchExcused() const {
    const auto clients = runs.find("-a");
    // A few runs of a short soak may all fall into the time of another test's files.
    if (clients != runs.end() && foreign >= 50 && foreign == clients->second) {
        return "not one run of -a could be, for other programs' files on this machine";
    }
    if (unverifiable > elements / 1000) {
        return "of every thousand records more than one had left the journal";
    }
    return "";
}

void Totals::printLine(double seconds, const char* scenario) const {
    std::printf(
        "%6.0f s  %-8s  runs %llu, elements %llu, changes %llu, incarnations %llu, switches %llu, faults %llu\n",
        seconds, scenario, wide(allRuns()), wide(elements), wide(changes), wide(incarnations), wide(switches),
        wide(allFaults()));
    std::fflush(stdout);
}

void Totals::printSummary(double seconds) const {
    std::printf("\n%.0f seconds, %llu runs:", seconds, wide(allRuns()));
    for (const auto& [name, count] : runs) {
        std::printf(" %s %llu", name.c_str(), wide(count));
    }
    std::printf("\n%llu elements and records checked\n", wide(elements));
    std::printf(
        "%llu changes, %llu incarnations, %llu slabs grown, %llu other growths, %llu switches; the writers waited "
        "%llu times for the checker\n",
        wide(changes), wide(incarnations), wide(slabGrowths), wide(growths), wide(switches), wide(waits));
    std::printf(
        "met: %llu chain restarts, %llu lookaside hits, %llu walks begun again, %llu copies of queues begun again; the "
        "longest run took %.3f seconds\n",
        wide(chainRestarts), wide(lookasideHits), wide(resizes), wide(queueRestarts), longestRun);
    if (goneSlabs != 0) {
        std::printf("%llu walks ended where a slab file had gone with its incarnation\n", wide(goneSlabs));
    }
    for (unsigned fault = 0; fault < kFaults; ++fault) {
        std::printf("%llu %s, ", wide(faults[fault]), nameOf(static_cast<Fault>(fault)));
    }
    std::printf("unverifiable %llu\n", wide(unverifiable));
    if (foreign != 0) {
        std::printf("%llu runs of -a could not be, for other programs' files on this machine\n", wide(foreign));
    }
    std::fflush(stdout);
}

} // namespace Soak
