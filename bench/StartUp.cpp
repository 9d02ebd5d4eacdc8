// What a start costs: `halyx -h` beside /bin/true. One start is too short to be timed: each figure is that of many, one after the
// other.

#include "Topics.h"

#include <sys/wait.h>
#include <unistd.h>

namespace Bench {

namespace {

/// Runs `program` `times` times, one after the other.
Program repeated(const Program& program, int times) {
    return [program, times](int) {
        for (int i = 0; i < times; ++i) {
            (void)timed(program);
        }
    };
}

} // namespace

void startUp(Context& context) {
    const int times = context.settings.quick ? 10 : 200;
    Report& report = context.report;
    report.table("Start: " + std::to_string(times) + " one after the other");
    std::vector<Side> sides{
        {"halyx -h", repeated(halyx({"-h"}), times)},
        {"/bin/true", repeated(command({"/bin/true"}), times)},
    };
    alternate(sides, context.settings.rounds);
    for (const Side& side : sides) {
        report.row(side.name, spreadOf(quotients(milliseconds(side), std::vector<double>(side.seconds.size(), times))),
                   "ms each");
    }
    report.row("halyx -h / /bin/true, time", spreadOf(quotients(sides[0].seconds, sides[1].seconds)), "times",
               "at most 2");
}

} // namespace Bench
